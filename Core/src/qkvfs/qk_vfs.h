// The entry functions of the file system that the rest of the system calls, and the process's one
// Manager.
//
// A path that is non-empty and begins with "/" is virtual: it names a file in the tree of mounted
// sources (qkvfs::Manager). Any other path is a real path of the operating system. Safe from any
// thread.
#pragma once

#include <string_view>

#include "qk/IBuffer.h"
#include "qk/Reader.h"

namespace qkvfs {

class Manager;

// The process's Manager, made at first use and destroyed at exit. Nothing in the plug-in mounts
// anything, so there it stays empty; a host or a tool mounts through it.
Manager& manager();

}  // namespace qkvfs

// The whole file as a shared buffer, or null. A virtual path goes to the Manager's read_file (its
// lines); a real one is read whole (mapped from 1 MiB on), and a miss logs "Can't open file
// '%.*s' from fs" at ERROR unless `silent`.
qk::RefPtr<qk::IBuffer> qk_vfs_read_file(std::string_view path, bool silent);

// A reader of the whole file, virtual or real, through the Manager's open_reader; null on failure.
qk::ReaderPtr<> qk_vfs_open_reader(std::string_view path, bool silent);

// The MD5 of RFC 1321 over the whole file, virtual or real, read through the Manager's
// open_reader in blocks of 4096 bytes (a block shorter than that ends it), as 32 lower-case
// hexadecimal digits into `hex`. False, with `hex` untouched, when the file can't be opened (no
// line) or a read fails (logged at ERROR under QKCORESTATIC).
bool qk_vfs_md5sum(std::string_view path, char (&hex)[33]);
