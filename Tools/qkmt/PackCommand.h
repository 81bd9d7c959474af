// qkmt pack DIR OUT.qkpk [--level N] [--store-below BYTES] [--metadata FILE.json]
//                        [--time-from mtime|zero]
//
// Makes a .qkpk archive of a folder: the archive mounts as the folder does. The folder is walked
// as the folder driver walks it (names that begin with "." are left out, links are followed, 64
// levels at most), every file and directory goes in under its path inside the folder with its
// case, in byte order of those names, so the same folder gives the same bytes whatever order the
// system lists it in. The archive file itself is left out when it lies inside the folder. A
// folder (the given one or one below it) that can't be listed fails the pack, and so does a folder
// with nothing to pack: an archive that silently lacks files is worse than no archive.
//
// Per-file metadata comes from the folder's `.metadata.json`, or from FILE.json in its place, in
// the folder's form: file keys are the files' paths as the folder driver opens them (the folder
// as given, normalised, then "/" and the path inside it); the name inside the archive is taken as
// a key too. A key that matches no file is named in a warning; a document that can't be read
// fails the pack.
//
// Compression: zstd at --level (1 to 19, default 9); every file above 1 MiB is compressed (the
// reader needs it), a smaller one when the frame is at least 1/16 smaller, and never one below
// --store-below bytes. Times are the files' and folders' modification times (seconds, through
// local time, as the folder driver gives them), or 0 with --time-from zero for an archive that
// depends on the content alone. The archive replaces OUT only once it is whole (ToolFiles.h), so
// a failed pack leaves any old archive as it was.
//
// Progress goes to standard error when it is a terminal; the result line goes to standard output,
// unless OUT is a pipe or a device (/dev/stdout into a pipe, say), which is written in place: the
// line then goes to standard error so that it can't join the archive's bytes, and a failure can't
// take back what already went out.
// Exit status: 0 made, 1 failed (a file that can't be read, a write error, bad metadata), 2 usage.
#pragma once

#include "ToolCommand.h"

std::unique_ptr<ToolCommand> makePackCommand();
