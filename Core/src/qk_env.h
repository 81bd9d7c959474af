// The environment and the version of the running program, for the script host.
//
// SYS_getenv reads one environment variable as UTF-8. qk_module_version gives the version that a
// program file carries, and qk_app_version that of the process's own executable (the host
// application inside the plug-in, never the plug-in's file); the Lua host publishes it as
// `_APP_VERSION`.
//
// On Linux a program carries its version as an ELF note that the build embeds (owner "QK", type 1,
// two 32-bit words of four 16-bit numbers; cmake/EmbedVersion.cmake adds it to an executable and
// platform/posix/ElfVersionNote.h reads it back). A file without that note, or one that can't be
// read, has the version "2.99.0.INTERNAL", which marks a build without a version.
//
// All three may be called from any thread. SYS_getenv uses about 128 KiB of stack, so it must not
// run on a thread with a small stack. qk_app_version keeps no lock: two first calls write the same
// text.
#pragma once

#include <cstddef>

// 1 when the variable `name` exists with a non-empty value and that value, as UTF-8 with its
// terminator, is stored in `value`; otherwise 0. An unset or empty variable answers 0 with no line.
// A name that can't be converted (longer than 32,767 characters) logs "SYS_getenv(\"%s\"): bad
// encoding."; a value of 65,536 units or more, or one that doesn't fit `value_size`, logs
// "SYS_getenv(\"%s\"): variable value is too big." (ERROR, QKCORESTATIC). Bytes of the value that
// aren't UTF-8 come out as U+FFFD, as the platform's conversion gives them.
int SYS_getenv(const char* name, char* value, size_t value_size);

// The version text of the process's executable, filled once into a static buffer of 64 bytes.
const char* qk_app_version();

// The version of the program file at `path` (UTF-16) as "%d.%d.%d.%d", or "2.99.0.INTERNAL" when it
// carries none, into `target` (cut to `target_size` - 1 bytes and terminated). Nothing happens for
// a null target or a size of 0; a null path stores the empty text.
void qk_module_version(const char16_t* path, char* target, unsigned target_size);
