// Places to look at: the process-wide list of named locations and the three directory texts of
// the file system layer.
//
// Locations are pairs of UTF-8 texts (name, path): first those an embedder added, in order, then
// the file system's roots. On Linux there is one root, "/", listed with the name "/" (the drive's
// name with its volume label where the system has drives). The list is guarded by a recursive
// lock of its own, made at load, so a callback may add or remove while it is called.
//
// The directory texts start as "./", "./" and "./Temp/". Nothing in the library changes them; an
// embedder (a tool) may set them once with VFS_set_directories, at start-up, before any other thread
// or any script reads them: they are read without a lock. They are read by the Manager's mount (a
// missing source), the script sandbox and the `lfs` library. All other functions may be called
// from any thread.
#pragma once

// One location as a callback sees it: terminated UTF-8 texts, valid during the call. A root's
// texts are at most 255 bytes.
struct VFS_LocationInfo {
  const char* name;
  const char* path;
};

using VFS_location_callback = void (*)(void* context, VFS_LocationInfo* location);

// Calls `callback` for each added pair, in order, then for each root, under the list's lock.
void VFS_get_locations(VFS_location_callback callback, void* context);
// Appends the pair unless a pair with the same name exists. 1 if added, 0 if not.
int VFS_add_location(const char* name, const char* path);
// Removes the first pair whose *path* equals `text` (not its name), the pairs behind it moving up.
// 1 if one was removed, 0 if none matched.
int VFS_del_location(const char* text);

// The current, write and temporary directories: "./", "./" and "./Temp/".
const char* VFS_current_dir();
const char* VFS_write_dir();
const char* VFS_temp_dir();

// Sets the current, write and temporary directories, for embedders; a null text leaves that one as
// it is, and a text is cut to 255 bytes. Call it before any other thread or script reads them.
void VFS_set_directories(const char* current, const char* write, const char* temp);
