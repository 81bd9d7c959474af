// The real-path functions: how the rest of the system opens and reads files of the operating
// system by a path that doesn't begin with "/" (a path that does is virtual, and is refused here).
//
// Modes: 0 read, 1 rewrite (made or emptied), 2 append (made if missing). Failures are results:
// null, with ERROR "Can't open file '<path>' from real path fs." under QKCORESTATIC unless
// `silent`. In read mode `silent` also spares the file's own "[<path>] CreateFile(RO): ..." line;
// rewrite and append log theirs regardless. Safe from any thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "qk/IBuffer.h"
#include "qk/MemBuffer.h"
#include "qkvfs/IFile.h"

// A WinFileRaw in the given mode; the caller ends it with release().
qkvfs::IFile* qk_vfs_open_real(std::string_view path, uint32_t mode, bool silent);

// As qk_vfs_open_real, but in mode 0 a file below 1 MiB is read whole at once and handed out as a
// MemReader over its bytes (named by the path, cut to 256 bytes), so that its holder keeps no
// descriptor. The caller ends either kind with release(): this MemReader's release ends it.
qkvfs::IFile* qk_vfs_open_real_small(std::string_view path, uint32_t mode, bool silent);

// The whole file at a real path. With `buffer` holding a MemBuffer, that buffer is refilled and
// handed back (`buffer` is left empty); otherwise a new one is made. A virtual path sets the given
// buffer's size to 0 and gives null, with no line.
qk::RefPtr<qk::IBuffer> qk_vfs_read_real(std::string_view path, qk::RefPtr<qk::MemBuffer>* buffer,
                                         bool silent);
