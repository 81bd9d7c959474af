// File operations of the platform layer: files and folders by UTF-8 path, and the handle calls
// that the file classes and the buffers stand on. CMake picks one implementation
// (platform/posix/qk_fs_posix*.cpp on Linux, platform/win32/qk_fs_win32*.cpp on Windows); callers
// never include a system header for these jobs. Where the two answer differently, both are told.
//
// Path operations (qk_fs_*) report their own failures in the log, at ERROR under QKCORESTATIC with
// the texts given below, and answer a plain success value. "Missing" is quiet where the callers
// need it to be (qk_fs_delete, qk_fs_stat). No exception leaves this layer but out of memory while
// an error text is made. All functions are reentrant, keep no global state (the temporary-file
// table, and on Win32 the read events, aside) and may be called from any thread; sharing of a file
// is left to the system.
//
// Paths. A path goes to the system as it stands, relative to the working directory unless it
// begins with "/"; it is copied to a terminated text on the stack first. A path that doesn't fit
// the system's limit (PATH_MAX bytes with the terminator) is refused with the system's own
// "File name too long" (ENAMETOOLONG) and one with a zero byte inside with "Invalid argument"
// (EINVAL), so that no path is ever cut into the name of another file.
//
// On Win32 a path is relative unless it begins with a drive ("C:\\", or "C:" for that drive's
// working folder) or a separator; "/" and "\\" both separate, and names ignore case. It is
// converted to UTF-16 on the stack by the system's converter into at most 260 units with the
// terminator (MAX_PATH); a longer one is refused with ERROR_FILENAME_EXCED_RANGE and one with a
// zero byte inside with ERROR_INVALID_NAME. Texts from the system end in "\r\n", which stays.
//
// Handles. qk_platform_file (platform/qk_platform.h) holds a descriptor (a HANDLE on Win32); all
// bits set is invalid. Handle calls answer a qk_platform_error: 0 for success, else the system's
// error number (errno on POSIX, the last-error code on Win32), which
// qk_system_error_text turns into words. They don't log; the file classes do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>

#include "platform/qk_platform.h"
#include "qk_utf8.h"

// The system's error number (errno on POSIX, GetLastError or an HRESULT on Win32); 0 is no error.
using qk_platform_error = int;

// ---- Paths -----------------------------------------------------------------------------------

// An entry of a folder walk or of qk_fs_stat.
struct fs_entry {
  uint64_t size = 0;             // 0 for a directory
  time_t modification_time = 0;  // seconds of Unix time, taken through local time; 0 if that failed
  uint32_t kind = 0;             // 1 a file, 2 a directory
};

// Deletes a file. Missing (ENOENT) answers false with no line; any other failure logs
// "Failed to delete %.*s: %s". A directory isn't a file to delete ("Is a directory"). Whether a
// file may be deleted is the folder's permission on POSIX, so a read-only file in a writable folder
// goes. The recycle bin isn't offered here (no caller asks for it): `to_recycle_bin` true deletes
// nothing and logs the line with "Operation not supported".
// Win32: only ERROR_FILE_NOT_FOUND is quiet (a missing folder is logged), and a read-only file or
// one open elsewhere stays, with a line. `to_recycle_bin` true goes through the shell's file
// operation object, silently and with undo; COM must have been initialised on the calling thread
// by the caller. Its creation failing logs "Failed to create IFileOperation: %s"; any later step
// logs the delete line with the text of its HRESULT.
bool qk_fs_delete(std::string_view path, bool to_recycle_bin);

// Moves or renames, replacing an existing file at `new_path`. Failure logs
// "Failed to move %.*s to %.*s: %s". Across file systems it fails ("Invalid cross-device link").
// Win32: MoveFileExW, written through; a target that is read-only or open elsewhere is a failure.
bool qk_fs_move(std::string_view old_path, std::string_view new_path);

// Makes one folder (a missing parent is a failure). An existing name, folder or not, counts as
// success. Failure logs "Failed to mkdir %.*s: %s". The path is made full by text first (as
// qk_fs_full_path does), so ".." resolves lexically: "not-there/../made" makes "made", and
// "link/../x" is "x" beside the link, not beside the link's target. On Win32 the full path must fit
// 260 units.
bool qk_fs_mkdir(std::string_view path);

// Removes an empty folder. A folder with something in it answers false with no line when
// `quiet_if_not_empty`; every other failure logs "Failed to rmdir %.*s: %s". The path is made
// full by text first, as for qk_fs_mkdir.
bool qk_fs_rmdir(std::string_view path, bool quiet_if_not_empty);

// Fills `entry` for a file or folder (links followed). Any failure answers false with no line.
bool qk_fs_stat(std::string_view path, fs_entry* entry);

// Walks one folder ("." for an empty path) without descending. Entries whose name begins with "."
// are skipped (so "." and ".." too: a leading dot is what hidden means here); each other entry goes
// to `callback` with the folder as given, its name (at most 255 bytes) and its fs_entry. A dangling
// link is reported as a file with the link's size. Answers the number of callback calls, or -1 when
// the folder can't be opened (no line). Win32 also skips entries with the hidden or system
// attribute.
using qk_fs_list_callback = void (*)(void* user, std::string_view folder, std::string_view name,
                                     const fs_entry& entry);
int64_t qk_fs_list(std::string_view path, qk_fs_list_callback callback, void* user);

// qk_fs_list for callers that want terminated texts: folder and name each in a PathBuffer of 256
// bytes (longer ones grow on the heap). False when the listing answered -1.
using qk_fs_list_paths_callback = void (*)(void* user, const char* folder, const char* name,
                                           const fs_entry& entry);
bool qk_fs_list_paths(std::string_view path, qk_fs_list_paths_callback callback, void* user);

// Calls `callback` for each drive with its root and label. POSIX has one tree: the root "/" with
// an empty label. Win32 gives each drive letter from A up as "X:\\"; only a fixed drive is asked
// for its label (a removable or network one could keep the caller waiting), the others have none.
void qk_fs_drives(const std::function<void(qk::wstring_view root, qk::wstring_view label)>& callback);

// The absolute form of `path` as UTF-16 units, made by text alone as the platform's full-path call
// does: relative paths are put behind the working directory, "." and empty parts go, ".." takes
// the part before it (never above "/"), a trailing "/" stays. The file needn't exist. Calls
// `callback` with the result and answers true; false (no call) for an empty path, a result beyond
// PATH_MAX bytes, or a working directory that can't be read. Win32 asks GetFullPathNameW, whose
// result has backslashes and must fit 260 units.
bool qk_fs_full_path(std::string_view path, const std::function<void(qk::wstring_view)>& callback);

// The open of qk_fs_open: access, disposition and hints.
enum qk_fs_access : unsigned { QK_FS_READ = 1, QK_FS_WRITE = 2 };
enum qk_fs_disposition : unsigned {
  QK_FS_OPEN_EXISTING = 0,  // the file must exist
  QK_FS_CREATE_ALWAYS = 1,  // made, or emptied if it exists
  QK_FS_OPEN_ALWAYS = 2,    // made if missing, kept as it is otherwise
};
enum qk_fs_flags : unsigned {
  QK_FS_SEQUENTIAL_SCAN = 1,  // read-ahead hint
  QK_FS_RANDOM_ACCESS = 2,    // no read-ahead
  QK_FS_OVERLAPPED = 4,       // positional reads from many threads (see qk_platform_read_at)
};

// Opens a file. A folder can't be opened as a file (EISDIR); a pipe opens without waiting for its
// other end (for writing with no reader that is ENXIO). New files get mode 0666 less the umask.
// Others may read and write the file meanwhile: POSIX has no sharing modes. On failure the
// handle is invalid, and `error` (if given) holds the reason. Nothing is logged.
// Win32: CreateFileW sharing reading only. While a file is open for writing no one else may open
// it, and while it is open for reading others may only read it (ERROR_SHARING_VIOLATION); nor may
// it be moved or deleted. A folder is ERROR_ACCESS_DENIED. A handle opened with QK_FS_OVERLAPPED
// takes positional reads only.
qk_platform_file qk_fs_open(std::string_view path, unsigned access, unsigned disposition, unsigned flags,
                            qk_platform_error* error = nullptr);

// An exclusive lock file that is removed when it is closed. Makes or empties the file at `path`,
// opened for writing, and takes an exclusive lock on it (flock), which a second holder, in this
// process or another, can't take. Stores the handle in `*handle` and answers 0 for a new file,
// EEXIST when a leftover file (one no one holds) was taken over, in which case the handle is live
// too, or the error that stopped it (EWOULDBLOCK while someone else holds the lock; the handle is
// then invalid). -1 for a path that can't be passed to the system. The file is removed by
// qk_fs_close_temp, or at process exit for any still open; a process that dies leaves it behind
// as such a leftover. A lock handle closed the plain way (close) keeps its file, and its
// descriptor number, once reused by another file, never removes the old lock file.
// Win32: the file is made unshared with delete-on-close, so the system removes it when the handle
// closes, at exit or after a crash too. 0 for a new file, ERROR_ALREADY_EXISTS for a leftover
// taken over, ERROR_SHARING_VIOLATION while someone holds it, -1 for an unusable path.
int qk_fs_create_temp(const char* path, qk_platform_file* handle);
// Removes the lock file and closes it. A handle that isn't a lock file is only closed.
void qk_fs_close_temp(qk_platform_file handle);

// Opens `path` with the desktop's handler through `xdg-open`, without waiting for it. Answers 0
// when it was started; 2 (ENOENT, the shell call's "file not found") for a local file that doesn't
// exist or when no `xdg-open` is on PATH; or the error that kept it from starting. A path that
// begins with a URL scheme ("https:", "file:") goes to the opener unchecked.
// Win32: ShellExecuteW with "open", which checks the file itself: 0, or its answer when that is
// below 33 (2 for a missing file).
int qk_shell_open(std::string_view path);

// The system's words for an error number (strerror_r; FormatMessageW on Win32, which takes an
// HRESULT too). POSIX texts end without a line break, and none is added; Win32 texts keep theirs.
// "? Error" when the system has no text at all.
std::string qk_system_error_text(int code);

// Error numbers that callers compare with or hand on themselves, in the system's own numbering:
// a file that doesn't exist (ENOENT; ERROR_FILE_NOT_FOUND) and a value out of range (EINVAL;
// ERROR_INVALID_PARAMETER).
qk_platform_error qk_error_not_found();
qk_platform_error qk_error_invalid_argument();

// ---- Handles ---------------------------------------------------------------------------------

// Reads up to `size` bytes at the file's position; `done` is what came, less than `size` only at
// the end of the file or on failure.
qk_platform_error qk_platform_read_fully(qk_platform_file file, void* data, size_t size, size_t& done);
// Writes `size` bytes at the file's position; `done` is what went.
qk_platform_error qk_platform_write_fully(qk_platform_file file, const void* data, size_t size, size_t& done);
// Reads up to `size` bytes at `offset` without moving the file's position; safe from many threads
// on one handle. `done` is less than `size` only at the end of the file or on failure. Win32 reads
// through an OVERLAPPED and waits on an event from a process-wide stack; on a handle opened
// without QK_FS_OVERLAPPED the read does move the position.
qk_platform_error qk_platform_read_at(qk_platform_file file, uint64_t offset, void* data, size_t size,
                                      size_t& done);

enum qk_seek_origin : int { QK_SEEK_SET = 0, QK_SEEK_CURRENT = 1, QK_SEEK_END = 2 };
// Moves the position by `offset` from the origin; `position` gets the new one.
qk_platform_error qk_platform_seek(qk_platform_file file, int64_t offset, qk_seek_origin origin,
                                   uint64_t& position);
// The size of an open file.
qk_platform_error qk_platform_size(qk_platform_file file, uint64_t& size);
// Ends the file at its position.
qk_platform_error qk_platform_set_end(qk_platform_file file);

// ---- Mappings --------------------------------------------------------------------------------
//
// A read-only view of a whole file: create a mapping of the open file, map its view, and at the
// end unmap the view, close the mapping, close the file, in that order. On POSIX a mapping is the
// file's own descriptor (mmap needs nothing else), and closing it does nothing: the descriptor
// closes with the file. On Win32 it is a read-only section object (CreateFileMappingW) of its own;
// a file of 0 bytes can't be mapped.

struct qk_platform_mapping {
  intptr_t handle = -1;
  bool valid() const { return handle != -1; }
};

qk_platform_error qk_platform_mapping_create(qk_platform_file file, uint64_t size,
                                             qk_platform_mapping& mapping);
// The first `size` bytes of the file, read-only; null when they can't be mapped.
const void* qk_platform_map_view(qk_platform_mapping mapping, uint64_t size);
void qk_platform_unmap_view(const void* view, uint64_t size);
void qk_platform_mapping_close(qk_platform_mapping mapping);

// ---- Replacing a file whole ------------------------------------------------------------------
//
// A file that is written is replaced only once its new content is whole. qk_fs_replace_begin
// makes a new file beside the target, in the same folder, under a hidden name nobody else uses
// (".NAME.XXXXXXXX.tmp", the name cut so that it fits); the caller writes the content through
// `file`; qk_fs_replace_commit flushes it to the disk, renames it over the target and flushes the
// folder. Until that rename the old file is untouched, and on any failure the temporary file is
// removed: the target is either the old file or the whole new one. qk_fs_replace_abandon gives up
// (a replacement object not committed must be abandoned).
//
// The new file takes the old one's permission bits (the owner stays the writer's); a new name gets
// 0666 less the umask. A link is followed: the file it names is replaced, and the link stays. A
// folder is refused with EISDIR before anything is made. A target that exists and isn't a regular
// file (a device such as /dev/null or /dev/full, a pipe) can't be replaced: it is opened and
// written in place, and `temporary` stays empty. Nothing is logged; each call answers 0 or the
// system's error number (qk_system_error_text gives its words). One thread per replacement object.
//
// Win32: the temporary file has the hidden attribute while it is written; the commit runs
// FlushFileBuffers, gives it the old file's attributes (read-only, hidden, system, archive) and
// moves it over the target with MoveFileExW (replacing, written through). A read-only target is
// replaced and stays read-only; one open elsewhere can't be replaced, and the old file stays. A
// folder is ERROR_ACCESS_DENIED; a device (NUL, CON) is written in place.
struct qk_fs_replacement {
  qk_platform_file file;  // where the content goes
  std::string target;     // the file that is replaced (a link's destination)
  std::string temporary;  // the temporary file, empty when the target is written in place
};

qk_platform_error qk_fs_replace_begin(std::string_view path, qk_fs_replacement& replacement);
// Flushes, closes and renames; the file is closed whatever the answer.
qk_platform_error qk_fs_replace_commit(qk_fs_replacement& replacement);
// Closes the file and removes the temporary one; nothing for a replacement that is over.
void qk_fs_replace_abandon(qk_fs_replacement& replacement);
