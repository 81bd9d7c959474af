-- A catalogue with every kind of mistake the lint knows.
materials = {
  rock = {
    shader_name = true,                                    -- wrong type
    textrues = {},                                         -- unknown field: textures
    opacity = "blend",                                     -- belongs in misc
    decal = 3,                                             -- no such key
    uniforms = {
      wet = false,                                         -- value isn't text
      long = string.rep("x", 600),                         -- cut at 511 bytes
      ["a.b"] = 1,                                         -- dotted key
      [1] = "one",                                         -- numeric key
    },
    textures = {
      detail = { tex = "Diffuse Color" },                  -- no channel
      bump = { channel = 1 },                              -- no tex
      glow = { tex = "Self-Illumination", channel = 1.5, uniforms = 7, texx = 1 },
      broken = 1,                                          -- panic
      fn = function() end,                                 -- panic
      text = "just text",                                  -- dropped
    },
    misc = { opactiy = "blend", opacity = "Blend", depthBias = "yes", shader_name = "x" },
    allowed_nodes = { "a", nil, "b", x = "y" },
    allowed_objects = { "mesh", "Teapot", "Line" },
    default_user_defines = { A = "1", B = {}, ["C.d"] = "2" },
  },
  panicky = {
    uniforms = { a = 1, ["a.b"] = 2 },                     -- dotted key over a number: panic
    default_user_defines = { q = true, ["q.r"] = "s" },    -- panic too
    textures = { t = { tex = "x", channel = 1, uniforms = { u = 1, ["u.v"] = 2 } } },
  },
  zero = {
    shader_name = "lit\0hidden",                           -- cut at the zero byte
    uniforms = { [false] = "x" },                          -- a key that isn't a text
  },
  metal = {},                                              -- retired
  ["\240\159\152\128smile"] = {},                          -- beyond BMP
  ["B\233ton"] = {},                                       -- Latin-1
  stop = 1,                                                -- not a table: load stops
}
