// The catalogue as one JSON document, made with YAJL's generator:
//   {"file":..., "load_failed":false, ["error":..., ["reason":...,]]
//    "materials":[{"name":..., "shader_name":..., "default_uniforms":...,
//    "default_user_defines":..., "textures":[{"name","tex","channel","uniforms"}], "normals",
//    "opacity", "depth_bias", "shadow_caster", "only_shadow_caster", "decal", "allowed_nodes",
//    "allowed_objects"}]}
// "file" is the path the loader was given; "error" the text of the error box when the load failed,
// and "reason" why the file couldn't be opened, when that was the failure. Materials and textures
// in list order, sets in set order. A text that isn't UTF-8 has a member "<name>_bytes" beside it
// with its exact bytes (JsonWriter.h).
#pragma once

#include <string>
#include <vector>

#include "MaterialDesc.h"

struct CatalogueOutcome {
  std::string file;
  bool loadFailed = false;
  std::string error;   // the box's text
  std::string reason;  // the system's words for a file that can't be opened
};

std::string catalogueJson(const CatalogueOutcome& outcome, const std::vector<MaterialDesc>& materials);
