// Win32 implementation of the handle calls and mappings of platform/qk_fs.h: CreateFileW,
// ReadFile and WriteFile, positional reads through an OVERLAPPED with an event, file pointers,
// sizes and read-only mappings of whole files.
#include <algorithm>
#include <new>

#include "platform/qk_fs.h"
#include "platform/win32/Win32Path.h"
#include "qk/SpinWordStack.h"

using qk_win32::Win32Path;

namespace {

// The most one call moves; ReadFile and WriteFile count in 32 bits.
constexpr DWORD kMaxTransfer = DWORD(1) << 30;

HANDLE handle_of(qk_platform_file file) { return reinterpret_cast<HANDLE>(file.handle); }

// ---- Events of positional reads --------------------------------------------------------------
//
// A positional read waits on an event of its own. Events are taken from a process-wide stack and
// put back after the read, so that a read makes no system object once the stack holds as many as
// there were reads at once; they live until the process ends.

struct EventNode {
  EventNode* link = nullptr;  // the stack's link: the first word
  HANDLE event = nullptr;
};

qk::SpinWordStack& event_stack() {
  static qk::SpinWordStack stack;
  return stack;
}

// An event from the stack or a new manual-reset one; null with the system's error when none can
// be made.
EventNode* take_event(DWORD& error) {
  if (void* node = event_stack().pop()) return static_cast<EventNode*>(node);
  const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (!event) {
    error = GetLastError();
    return nullptr;
  }
  auto* node = new (std::nothrow) EventNode;
  if (!node) {
    CloseHandle(event);
    error = ERROR_NOT_ENOUGH_MEMORY;
    return nullptr;
  }
  node->event = event;
  return node;
}

void give_back(EventNode* node) {
  ResetEvent(node->event);
  event_stack().push(node);
}

// One ReadFile at `offset`, waited for: 0 and `got`, or the system's error. The end of the file is
// no error but a read of 0 bytes.
DWORD read_once_at(HANDLE file, uint64_t offset, void* data, DWORD size, HANDLE event, DWORD& got) {
  OVERLAPPED request{};
  request.Offset = DWORD(offset);
  request.OffsetHigh = DWORD(offset >> 32);
  request.hEvent = event;
  got = 0;
  DWORD error = 0;
  // A read that fails at once (a bad handle, the end of the file) may never signal its event, so
  // only a pending or finished one is waited for.
  if (!ReadFile(file, data, size, nullptr, &request) && (error = GetLastError()) != ERROR_IO_PENDING) {
    return error == ERROR_HANDLE_EOF ? 0 : error;
  }
  if (!GetOverlappedResult(file, &request, &got, TRUE)) {
    error = GetLastError();
    return error == ERROR_HANDLE_EOF ? 0 : error;
  }
  return 0;
}

}  // namespace

// ---- Opening ---------------------------------------------------------------------------------

qk_platform_file qk_fs_open(std::string_view path, unsigned access, unsigned disposition, unsigned flags,
                            qk_platform_error* error) {
  qk_platform_file file;
  const Win32Path name(path);
  DWORD code = name.error();
  if (code == 0) {
    const DWORD rights =
        ((access & QK_FS_READ) ? GENERIC_READ : 0) | ((access & QK_FS_WRITE) ? GENERIC_WRITE : 0);
    const DWORD how = disposition == QK_FS_CREATE_ALWAYS ? CREATE_ALWAYS
                      : disposition == QK_FS_OPEN_ALWAYS ? OPEN_ALWAYS
                                                         : OPEN_EXISTING;
    DWORD attributes = FILE_ATTRIBUTE_NORMAL;
    if (flags & QK_FS_SEQUENTIAL_SCAN) attributes |= FILE_FLAG_SEQUENTIAL_SCAN;
    if (flags & QK_FS_RANDOM_ACCESS) attributes |= FILE_FLAG_RANDOM_ACCESS;
    if (flags & QK_FS_OVERLAPPED) attributes |= FILE_FLAG_OVERLAPPED;
    const HANDLE handle =
        CreateFileW(name.c_str(), rights, FILE_SHARE_READ, nullptr, how, attributes, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
      code = GetLastError();
    else
      file.handle = reinterpret_cast<intptr_t>(handle);
  }
  if (error) *error = qk_platform_error(code);
  return file;
}

// ---- Reading and writing ---------------------------------------------------------------------

qk_platform_error qk_platform_read_fully(qk_platform_file file, void* data, size_t size, size_t& done) {
  auto* out = static_cast<unsigned char*>(data);
  done = 0;
  while (done < size) {
    const DWORD step = DWORD(std::min<size_t>(size - done, kMaxTransfer));
    DWORD got = 0;
    if (!ReadFile(handle_of(file), out + done, step, &got, nullptr)) {
      const DWORD error = GetLastError();
      if (error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF) break;  // the writer is gone: the end
      return qk_platform_error(error);
    }
    if (got == 0) break;
    done += got;
  }
  return 0;
}

qk_platform_error qk_platform_write_fully(qk_platform_file file, const void* data, size_t size,
                                          size_t& done) {
  const auto* in = static_cast<const unsigned char*>(data);
  done = 0;
  while (done < size) {
    const DWORD step = DWORD(std::min<size_t>(size - done, kMaxTransfer));
    DWORD put = 0;
    if (!WriteFile(handle_of(file), in + done, step, &put, nullptr)) return qk_platform_error(GetLastError());
    if (put == 0) return ERROR_WRITE_FAULT;
    done += put;
  }
  return 0;
}

qk_platform_error qk_platform_read_at(qk_platform_file file, uint64_t offset, void* data, size_t size,
                                      size_t& done) {
  auto* out = static_cast<unsigned char*>(data);
  done = 0;
  if (size == 0) return 0;
  DWORD error = 0;
  EventNode* node = take_event(error);
  if (!node) return qk_platform_error(error);
  while (done < size) {
    if (offset + done > uint64_t(INT64_MAX)) {
      error = ERROR_NEGATIVE_SEEK;
      break;
    }
    const DWORD step = DWORD(std::min<size_t>(size - done, kMaxTransfer));
    DWORD got = 0;
    error = read_once_at(handle_of(file), offset + done, out + done, step, node->event, got);
    if (error != 0 || got == 0) break;
    done += got;  // the next ReadFile resets the event itself when it starts
  }
  give_back(node);
  return qk_platform_error(error);
}

// ---- Position and size -----------------------------------------------------------------------

qk_platform_error qk_platform_seek(qk_platform_file file, int64_t offset, qk_seek_origin origin,
                                   uint64_t& position) {
  const DWORD method = origin == QK_SEEK_SET       ? FILE_BEGIN
                       : origin == QK_SEEK_CURRENT ? FILE_CURRENT
                                                   : FILE_END;
  LARGE_INTEGER distance, result;
  distance.QuadPart = offset;
  if (!SetFilePointerEx(handle_of(file), distance, &result, method)) return qk_platform_error(GetLastError());
  position = uint64_t(result.QuadPart);
  return 0;
}

qk_platform_error qk_platform_size(qk_platform_file file, uint64_t& size) {
  LARGE_INTEGER bytes;
  if (!GetFileSizeEx(handle_of(file), &bytes)) return qk_platform_error(GetLastError());
  size = uint64_t(bytes.QuadPart);
  return 0;
}

qk_platform_error qk_platform_set_end(qk_platform_file file) {
  if (!SetEndOfFile(handle_of(file))) return qk_platform_error(GetLastError());
  return 0;
}

// ---- Mappings --------------------------------------------------------------------------------

qk_platform_error qk_platform_mapping_create(qk_platform_file file, uint64_t size,
                                             qk_platform_mapping& mapping) {
  mapping.handle = -1;
  if (!file.valid()) return ERROR_INVALID_HANDLE;
  if (size > uint64_t(SIZE_MAX)) return ERROR_NOT_ENOUGH_MEMORY;
  // The whole file, read-only; a file of 0 bytes can't be mapped (ERROR_FILE_INVALID).
  const HANDLE section = CreateFileMappingW(handle_of(file), nullptr, PAGE_READONLY, 0, 0, nullptr);
  if (!section) return qk_platform_error(GetLastError());
  mapping.handle = reinterpret_cast<intptr_t>(section);
  return 0;
}

const void* qk_platform_map_view(qk_platform_mapping mapping, uint64_t size) {
  if (!mapping.valid() || size == 0 || size > uint64_t(SIZE_MAX)) return nullptr;
  return MapViewOfFile(reinterpret_cast<HANDLE>(mapping.handle), FILE_MAP_READ, 0, 0, SIZE_T(size));
}

void qk_platform_unmap_view(const void* view, uint64_t) {
  if (view) UnmapViewOfFile(view);
}

void qk_platform_mapping_close(qk_platform_mapping mapping) {
  if (mapping.valid()) CloseHandle(reinterpret_cast<HANDLE>(mapping.handle));
}

// ---- The plain read and close of platform/qk_platform.h --------------------------------------

int64_t qk_platform_read(qk_platform_file file, void* data, size_t size) {
  DWORD got = 0;
  if (ReadFile(handle_of(file), data, DWORD(std::min<size_t>(size, kMaxTransfer)), &got, nullptr)) return got;
  return GetLastError() == ERROR_BROKEN_PIPE ? 0 : -1;
}

void qk_platform_close(qk_platform_file file) {
  if (file.valid()) CloseHandle(handle_of(file));
}
