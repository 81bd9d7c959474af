// qkmt catalogue: what the plug-in makes of a catalogue script, and the error box an artist would
// see if it is broken.
#pragma once

#include <functional>

#include <CLI/CLI.hpp>

// Adds the subcommand to `app`; `run` is set to the function that runs it after parsing. The exit
// status is 0 when the load succeeded, 1 when it failed.
CLI::App* addCatalogueCommand(CLI::App& app, std::function<int()>& run);
