-- materials.lua: the engine's material catalogue, as the material plug-in reads it.
--
-- The plug-in runs this file once, the first time an artist needs a material, and reads the global
-- table `materials`. Each key is a material name (what the artist picks in the material combo);
-- each value is a table describing that material. Every field is optional. A field of the wrong
-- Lua type is not an error: the default takes its place. A number may stand wherever a string is
-- asked for (it is taken in Lua's own string form), and a numeric string wherever a number is.
--
-- The materials appear in the combo in the order Lua walks the table, which is NOT the order of
-- this file: Lua tables have no order. Don't rely on it.
--
-- Editing this file needs a restart of the host. Check it first with:  qkmt catalogue --lint FILE
-- (what the host would silently drop, change or die on), then look at it:  qkmt catalogue FILE
--
-- Fields of a material:
--   shader_name           the engine's shader (string)
--   uniforms              default uniforms, name = value; written as lines "name=value"
--   textures              texture name = { tex = map slot, channel = layer, uniforms = {...} };
--                         an entry without a string `tex` and a number `channel` is dropped
--   misc.opacity          "blend", "alpha_test" or "sum_blend"; anything else means no blending
--                         (the comparison is exact: "Blend" means no blending)
--   misc.normals          true/false (or a number, 0 is false)             default true
--   misc.depthBias        true/false, the panel's "Z-Bias"                  default false
--   misc.shadowCaster     true/false                                        default true
--   misc.onlyShadowCaster true/false                                        default false
--   allowed_nodes         array of node names the material may be used on; empty means all.
--                         The array is read from [1] up to the first hole.
--   allowed_objects       array of "Mesh", "Spline", "Line"; unknown words are skipped
--   default_user_defines  name = value, written as `name = "value";` one after the other
--
-- Rules worth knowing:
--   * Keys of uniforms, textures and user defines must not contain a dot: a dot walks into a
--     nested table ("a.b" means field b of field a).
--   * A texture entry must be a table. A number, boolean or function there stops the host with a
--     Lua panic, and so does a key with a dot whose first part holds one of those
--     (uniforms = { a = 1, ["a.b"] = 2 }).
--   * A uniform line longer than 511 bytes is cut and loses its line end.
--   * There is no key for the decal order: the artist chooses it in the panel.
--   * The names "metal", "Concrete", "Ground", "Grass" and "billboard" are retired: an entry with
--     one of them becomes another material named "default".

-- Shared pieces: plain Lua, evaluated before the plug-in reads `materials`.
local function detail_maps(scale)
  return {
    diffuse = { tex = "Diffuse Color", channel = 1, uniforms = { uv_scale = scale } },
    normal  = { tex = "Bump",          channel = 1 },
  }
end

materials = {
  -- What every new attribute starts with: an opaque, lit surface.
  default = {
    shader_name = "standard_lit",
    uniforms = { tint = "1 1 1 1", roughness = 0.6 },
    textures = {
      diffuse = { tex = "Diffuse Color", channel = 1 },
    },
  },

  -- Buildings: detail maps, and a user define that switches on the facade lighting path.
  building = {
    shader_name = "standard_lit",
    uniforms = { tint = "1 1 1 1", roughness = 0.8, wetness = 0 },
    textures = detail_maps(4),
    default_user_defines = { FACADE_LIGHTS = 1, QUALITY = "high" },
  },

  -- Glass blends over what is behind it and casts no shadow.
  glass = {
    shader_name = "glass",
    uniforms = { tint = "0.8 0.9 1.0 0.35", fresnel_power = 5 },
    textures = {
      reflection = { tex = "Reflection", channel = 1 },
    },
    misc = { opacity = "blend", shadowCaster = false },
  },

  -- Leaves: alpha-tested, no depth sorting needed, still casting shadows.
  foliage = {
    shader_name = "foliage",
    uniforms = { alpha_ref = 0.5, wind_strength = 0.3 },
    textures = {
      diffuse = { tex = "Diffuse Color", channel = 1 },
      opacity = { tex = "Opacity",       channel = 1 },
    },
    misc = { opacity = "alpha_test" },
    allowed_objects = { "Mesh" },
  },

  -- Terrain blends four layers; each texture has uniforms of its own.
  terrain = {
    shader_name = "terrain_4layer",
    uniforms = { blend_sharpness = 8 },
    textures = {
      splat  = { tex = "Diffuse Color", channel = 1 },
      grass  = { tex = "Diffuse Color", channel = 2, uniforms = { uv_scale = 32, tint = "0.9 1 0.9" } },
      rock   = { tex = "Diffuse Color", channel = 3, uniforms = { uv_scale = 16 } },
      sand   = { tex = "Diffuse Color", channel = 4, uniforms = { uv_scale = 24 } },
      normal = { tex = "Bump",          channel = 1 },
    },
    -- Only the terrain nodes of the level may use it.
    allowed_nodes = { "Terrain", "Terrain_LOD1", "Terrain_LOD2" },
    allowed_objects = { "Mesh" },
  },

  -- Decals sit on other surfaces: they get the depth bias and cast no shadow. The drawing order
  -- (1 first, 8 last) is chosen per material by the artist in the panel.
  decal_dirt = {
    shader_name = "decal",
    uniforms = { fade_distance = 40 },
    textures = {
      diffuse = { tex = "Diffuse Color", channel = 1 },
    },
    misc = { opacity = "blend", depthBias = true, shadowCaster = false },
    allowed_objects = { "Mesh" },
  },

  -- Light shafts add to what is behind them.
  light_shaft = {
    shader_name = "additive",
    uniforms = { intensity = 2.5 },
    misc = { opacity = "sum_blend", shadowCaster = false, normals = false },
  },

  -- Roads and cables drawn from splines and lines only.
  road_marking = {
    shader_name = "spline_strip",
    uniforms = { width = 0.15 },
    allowed_objects = { "Spline", "Line" },
  },

  -- An invisible shadow proxy for detailed meshes.
  shadow_proxy = {
    shader_name = "depth_only",
    misc = { onlyShadowCaster = true },
  },

  -- A retired name kept so that old scenes still load: this entry becomes a second "default".
  metal = {
    shader_name = "standard_lit",
    uniforms = { tint = "0.7 0.7 0.75 1", metalness = 1 },
  },
}
