// The report of texture uniforms: for each texture of a material kind, whether its uniforms take
// effect on the host's material that carries the attribute.
//
// A texture is used when a map slot of the material, switched on, has the texture's `tex` as its
// name (ASCII case ignored; the first such slot counts) and holds a map; and then, for a map with
// sub-maps, when the map has sub-map 2 * channel and it isn't empty (two sub-maps to a layer), or,
// for a map without sub-maps, when the channel is 0. The report lists the used textures' uniforms,
// then, under a header that stands even when nothing is under it, the unused ones.
#pragma once

#include <string>

#include "MaterialDesc.h"
#include "Mtl.h"

// The report's text (UTF-8, lines ending in "\r\n") for `desc` on `owner`.
std::string textureUniformsReport(ISubMap& owner, const IMaterialDesc& desc);
