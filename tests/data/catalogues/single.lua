-- One material that exercises the odd rules of the schema; its JSON is in single.json.
materials = {
  odd = {
    shader_name = 7,                                   -- a number is taken in its string form
    uniforms = { long = string.rep("x", 600) },        -- cut to 511 bytes, without its line end
    textures = {
      t = { tex = "Diffuse Color", channel = -2.7, uniforms = { u = 0.5 } },  -- channel cut to -2
      dropped = { tex = "Bump" },                      -- no channel
    },
    misc = { opacity = "sum_blend", shadowCaster = 0, normals = "0", depthBias = "yes" },
    allowed_nodes = { "b", "a", "b", nil, "c" },       -- stops at the gap; a set
    allowed_objects = { "Line", "Teapot", "Mesh" },    -- unknown kinds skipped
    default_user_defines = { Q = "hi" },
  },
}
