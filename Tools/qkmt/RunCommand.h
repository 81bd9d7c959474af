// qkmt run [-e CODE]... [--strict] [--sandbox N] [--currentdir D] [--writedir D] [--tempdir D]
// [--mount ...] [--log FILE[:RULES]]... [SCRIPT [ARGS...]]: runs Lua in a state of the script host, with the built-in
// module "host" (HostModule.h) that drives the whole plug-in as the host would.
//
// As the stock interpreter does: each -e CODE runs first, in order (chunk name "(command line)");
// then SCRIPT, or standard input for "-" (chunk name "stdin"; a first line beginning with "#" is
// skipped). SCRIPT and every word after it belong to the script, `--help` included; "--" before
// SCRIPT ends the options. The words are in the global `arg` as the stock interpreter puts them
// (arg[0] the script, arg[1]... its arguments, the words before the script at negative indexes)
// and are passed to the chunk as `...`. A script file is loaded by qk_lua_loadfile, so its chunk
// name is its path as given: messages read [string "tour.lua"]:12: ...
//
// --sandbox stores the level in the state (qk_lua_sandbox.h), so that every check of the level table
// applies to what the script does; the script named on the command line loads whatever the level.
// The three directory options set the process's current, write and temporary directories, which
// the sandbox and lfs read. The script's `print` lines are log lines (DEBUG | RELIABLE) on standard
// error, which the tool shows without -v.
//
// The run starts the log (LogOption.h: IMMEDIATE, real UTC times) for its length, so that the
// outputs of --log and those a script sets with the `log` library write their files; a --log text
// that can't be read is a usage error before anything runs.
//
// The state is made by qk_lua_newstate and qk_lua_openlibs. An uncaught error ends the run with
// "qkmt: " and its message and a stack traceback on standard error, and exit status 1. --strict
// also makes the status 1 when the run showed an error box (an error or warning icon) or warned
// that a loaded scene lost a material name. 2 is a usage error.
#pragma once

#include "ToolCommand.h"

std::unique_ptr<ToolCommand> makeRunCommand();
