// Whole files as shared buffers.
#pragma once

#include <string_view>

#include "qk/IBuffer.h"

// Reads the whole file at the real path `path` into a shared buffer. `opened` tells whether the
// file could be opened at all. Null when the file can't be opened or read; the caller decides
// whether that is worth a message. `alwaysMap` asks for a mapped view where the platform has one;
// this build reads every file into memory.
qk::RefPtr<qk::IBuffer> qk_load_file_buffer(std::string_view path, bool& opened, bool alwaysMap);
