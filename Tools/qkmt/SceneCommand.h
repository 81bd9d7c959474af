// qkmt scene FILE [--json | --chunks]: what a scene file holds. Each material and map with its
// slots, and for each attribute of the material plug-in its saved values (version, name, user
// uniforms, opacity, depth bias, shadow flags, decal), read from the chunks without the catalogue.
// --chunks prints the raw chunk tree, so that a broken file can be diagnosed: everything up to the
// broken chunk is printed before the error.
//
// Exit status: 0 printed, 1 the file is missing or broken (the reason on standard error), 2 usage.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

CLI::App* addSceneCommand(CLI::App& app, std::function<int()>& run);
