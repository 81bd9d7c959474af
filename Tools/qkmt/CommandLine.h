// The command line of qkmt: `qkmt [--version] [--help] COMMAND [OPTIONS] ...`.
//
// Each command of the list becomes a subcommand; `qkmt help [COMMAND]` shows the tool's or one
// command's help (as `--help` does), and `--version` works before and after any command word. An
// unknown command word is named in the error. A command that takes the rest of the line
// (ToolCommand::takesRest) gets its first free word and everything after it unparsed.
//
// Exit status: what the command answers; 0 for help and version; 2 for a usage error (the reason
// on standard error); and a failure status when standard output couldn't be written, whatever the
// command answered (ToolOutput.h). Main thread only.
#pragma once

#include "ToolCommand.h"

int runCommandLine(int argc, char** argv, ToolCommandList& commands);
