// qkmt ls, stat and cat: the virtual file system as the engine will see it, after the --mount
// options of the command (MountOption.h) are made in order.
//
//   qkmt ls   [--mount M]... [--json] DIR    the names in a virtual directory, with their types
//   qkmt stat [--mount M]... [--json] PATH   type, size, time, winning source, copies, metadata
//   qkmt cat  [--mount M]... PATH            the bytes of the winning copy, to standard output
//
// Paths are virtual: they begin with "/". Exit status: 0 done, 1 not found or a failed mount or
// write (the reason on standard error), 2 usage error.
#pragma once

#include "ToolCommand.h"

std::unique_ptr<ToolCommand> makeLsCommand();
std::unique_ptr<ToolCommand> makeStatCommand();
std::unique_ptr<ToolCommand> makeCatCommand();
