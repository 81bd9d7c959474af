-- Entries the loader reads in a way of its own, without a failure or a panic: the checker's
-- account of each must match what the loader makes of it.
materials = {
  default = {
    uniforms = {
      first = true,                       -- repeats the text before it
      [1] = "one",                        -- looked up as the text "1"
      ["no.such"] = "x",                  -- a dot walks into a nested table
      [true] = "yes",                     -- a key that isn't a text
      plain = 0.5,
    },
    default_user_defines = { A = "1", B = {}, [2] = "two" },
    textures = { t = { tex = "Diffuse Color", channel = 2.9, uniforms = { u = false } } },
  },
}
