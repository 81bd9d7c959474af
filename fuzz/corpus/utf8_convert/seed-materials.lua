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
-- Editing this file needs a restart of the host. Check it first with:  qkmt catalogue FILE
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
--   * A texture entry must be a table. A number or boolean there stops the host with a Lua panic.
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
  -- What every new attribute starts with: an o