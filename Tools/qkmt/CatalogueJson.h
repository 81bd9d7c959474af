// The catalogue as one JSON document, made with YAJL's generator:
//   {"load_failed":false,"materials":[{"name":..., "shader_name":..., "default_uniforms":...,
//    "default_user_defines":..., "textures":[{"name","tex","channel","uniforms"}], "normals",
//    "opacity", "depth_bias", "shadow_caster", "only_shadow_caster", "decal", "allowed_nodes",
//    "allowed_objects"}]}
// Materials and textures in list order, sets in set order, texts byte for byte.
#pragma once

#include <string>
#include <vector>

#include "MaterialDesc.h"

std::string catalogueJson(const std::vector<MaterialDesc>& materials, bool loadFailed);
