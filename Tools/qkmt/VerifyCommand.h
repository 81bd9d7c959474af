// qkmt verify ARCHIVE.qkpk
//
// Checks a .qkpk archive the way the engine will read it: the archive's index is loaded as the
// archive driver loads it (a path that names no file is tried with ".qkpk", as a mount does; an
// archive by any other name is taken as it is), and every file is read through the driver twice,
// whole (its IFile's buffer) and as a stream (its reader, in 64 KiB pieces). Each way must give the file's
// size in bytes whose BLAKE2b-256 is the archive's digest. For a compressed file the zstd frame's header must
// state that size; a stored file must lie inside the archive's data and be at most 1 MiB (a reader streams
// larger ones as zstd).
//
// The report, on standard output, names each damaged file with what is wrong in plain words
// ("textures/rock.dds: its content doesn't match its digest"), then one line for the whole
// archive. An archive that can't be opened at all gets one line on standard error with the
// reason ("archive is broken: the file is empty", "... it doesn't end with "QKPK": it was cut
// short, or isn't a .qkpk archive", "its index is damaged: Not enough input data"). The driver's own log
// lines stay on standard error. Exit status: 0 every file is good, 1 damaged or unreadable, 2 usage
// error.
#pragma once

#include "ToolCommand.h"

std::unique_ptr<ToolCommand> makeVerifyCommand();
