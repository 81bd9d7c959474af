// The entry functions of the file system that the rest of the system calls.
//
// A path that is non-empty and begins with "/" is virtual: it names a file in the tree of mounted
// sources. Any other path is a real path of the operating system. Safe from any thread.
#pragma once

#include <string_view>

#include "qk/IBuffer.h"

// The whole file as a shared buffer, or null. Unless `silent`, a miss is logged at ERROR.
qk::RefPtr<qk::IBuffer> qk_vfs_read_file(std::string_view path, bool silent);
