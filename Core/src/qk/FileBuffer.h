// Whole files as shared buffers: the one place that decides how a file's bytes reach memory.
//
// Small files are read into a recycled MemBuffer; files of kFileMapThreshold bytes and more are
// mapped (qkvfs::MappedFileBuffer), as is every non-empty file when the caller asks for a map. An
// empty file is the EmptyBuffer. Paths are real paths of the system (platform/qk_fs.h says how
// they are passed). Nothing here logs: callers decide whether a miss is worth a message.
// Safe from any thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "qk/IBuffer.h"
#include "qk/MemBuffer.h"

namespace qk {

// Files of this size and more are mapped, not read.
inline constexpr uint64_t kFileMapThreshold = 1048576;

}  // namespace qk

// The whole file at `path`. `opened` tells whether it could be opened at all.
//   - can't be opened (missing, a folder, no permission): null, `opened` false;
//   - size 0, or a size the system can't tell: the EmptyBuffer, `opened` true;
//   - below 1 MiB and `alwaysMap` false: one read of the whole size into a MemBuffer. A read that
//     fails or comes short answers null and leaves the file open: that descriptor stays open until
//     the process ends;
//   - otherwise a mapping of the whole file; null if the mapping can't be made. A view that can't be
//     made gives an empty MappedFileBuffer.
qk::RefPtr<qk::IBuffer> qk_load_file_buffer(std::string_view path, bool& opened, bool alwaysMap);

// Reads the whole file at `path` into `reusable`'s buffer, resized to the file's size (see
// MemBuffer::reuse: `reusable` is left empty), or into a new MemBuffer when `reusable` is empty.
// Null when the file can't be opened, its size can't be told, or the read fails or comes short;
// `reusable` is left as it was when the file couldn't be opened. An empty file gives the buffer
// with size 0.
qk::RefPtr<qk::IBuffer> qk_fs_read_into(std::string_view path, qk::RefPtr<qk::MemBuffer>& reusable);
