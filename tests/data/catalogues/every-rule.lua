local long = string.rep("x", 600)
local nested = { b = "deep", c = { d = 5 } }
materials = {
  default = { shader_name = 12.5, uniforms = { a = 1, b = 0.1, c = -0, d = 1e14, e = 1e15, f = 123456789012345, g = -7, h = 1/0, i = -1/0, j = 0/0, k = 2^53, l = "text", m = true, n = {}, [true] = 3, [4] = "four", [2.5] = "half", long = long, [long] = 1 } },
  metal = { uniforms = { [false] = 1, x = false, y = 2 } },
  ["with.dot.key"] = nil,
  tex = { textures = {
      a = { tex = "Diffuse Color", channel = 1.9, uniforms = { s = 2, t = { } , [1] = 10 } },
      b = { tex = "Bump", channel = -1.9 },
      c = { tex = "Bump" },
      d = { channel = 2 },
      e = "x",
      [7] = { tex = 5, channel = "3", uniforms = { ["q.r"] = 1 } },
      ["f.g"] = { tex = "x", channel = 1 },
      [true] = { tex = "T", channel = 0 },
    },
    misc = { normals = 0, opacity = "sum_blend", depthBias = "1", shadowCaster = "x", onlyShadowCaster = {} },
    allowed_nodes = { "a", 5, 2.5, "b", true, "c" },
    allowed_objects = { "Mesh", "Nope", "Line", "Spline", "Mesh" },
    default_user_defines = { A = "1", B = 2, C = true, [3] = "three", D = { }, ["E.x"] = 1 },
  },
  odd = { uniforms = { [{}] = 1, a = {} }, default_user_defines = { [false] = "f" } },
  dotted = { uniforms = nested, textures = { n = nested } },
  Grass = {}, Concrete = { misc = { opacity = "blend" } },
  arr = { allowed_nodes = { "x", nil, "y" } },
  meta = setmetatable({}, { __index = { shader_name = "inherited", uniforms = { z = 1 } } }),
}
for i = 1, 50 do materials["m" .. i] = { uniforms = { ["k" .. i] = i * 0.37, w = i }, textures = { t = { tex = "Diffuse Color", channel = i } } } end
