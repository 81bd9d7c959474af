// qkmt scene FILE [--json | --chunks]: what a scene file holds. Each material and map with its
// slots, and for each attribute of the material plug-in its saved values (version, name, user
// uniforms, opacity, depth bias, shadow flags, decal), read from the chunks without the catalogue.
// --chunks prints the raw chunk tree, so that a broken file can be diagnosed: every intact chunk
// before the break is printed, a cut file's too, then the error.
//
// --json prints one document in every case: the scene with its "file", or {"file":..., "error":...}
// for a file that can't be shown.
//
// One exit rule for all three forms: 0 when the file is a whole, readable scene and was printed;
// 1 when it is missing, unreadable or broken (the reason on standard error; with --chunks after
// the tree, which is still printed), an empty file included; 2 usage error.
#pragma once

#include "ToolCommand.h"

std::unique_ptr<ToolCommand> makeSceneCommand();
