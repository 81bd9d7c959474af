// qkmt run SCRIPT [ARGS...]: runs a Lua script in a state of the script host, with the built-in
// module "host" (HostModule.h) that drives the whole plug-in as the host would.
//
// The state is made by qk_lua_newstate and qk_lua_openlibs. The script's arguments are in the
// global `arg` as the stock interpreter puts them (arg[0] the script, arg[1]... its arguments, the
// words before the script at negative indexes) and are also passed to the chunk as `...`. An error
// ends the run with its message on standard error and exit status 1.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

CLI::App* addRunCommand(CLI::App& app, std::function<int()>& run);
