// What tests ask of the system beyond the core's platform layer: the process environment, file
// times, thread names and the calendar. CMake builds one implementation (support/posix/ or
// support/win32/), so that the tests themselves stay free of the platform's headers.
#pragma once

#include <ctime>
#include <string>

// Sets (or, for qk_test_unsetenv, removes) a variable of the process's environment, as the
// system's own calls and the C runtime both see it. `value` is UTF-8.
void qk_test_setenv(const char* name, const char* value);
void qk_test_unsetenv(const char* name);

// Sets a file's modification (and access) time, in seconds of Unix time.
bool qk_test_set_file_time(const std::string& path, time_t seconds);

// The calling thread's own name as the system keeps it ("" when it has none), and a name set
// straight through the system, behind the core's back.
std::string qk_test_thread_name();
void qk_test_set_thread_name(const char* name);

// The number of descriptors the process has open (/proc/self/fd), or on Windows its handles of
// files (not events, sections or keys, which the system opens and keeps on its own).
int qk_test_open_handle_count();

// Failures whose error number differs between the systems; qk_test_error gives the system's own,
// which the file classes log (qk_system_error_text gives its words).
enum class qk_test_failure {
  missing_file,     // a file that isn't there: ENOENT; ERROR_FILE_NOT_FOUND
  missing_folder,   // a path through a folder that isn't there: ENOENT; ERROR_PATH_NOT_FOUND
  folder_as_file,   // a folder opened or deleted as a file: EISDIR; ERROR_ACCESS_DENIED
  wrong_direction,  // a read of a file opened only for writing: EBADF; ERROR_ACCESS_DENIED
  negative_seek,    // a seek before the start: EINVAL; ERROR_NEGATIVE_SEEK
};
int qk_test_error(qk_test_failure failure);

// What the C runtime's system() answers for a shell that exits with `exit_code`: the wait status
// on POSIX (the code times 256), the code itself on Windows.
int qk_test_shell_status(int exit_code);

// Makes a link to the folder `target` (relative to the link's folder) at `link`: a symbolic link
// (on Windows one the unprivileged may make, where the system allows it). False when none was made.
bool qk_test_folder_link(const char* target, const char* link);

// True where a file may be removed while it is mapped or open (POSIX); Windows refuses.
bool qk_test_open_files_can_be_removed();

// The error a thread's join of itself answers: EDEADLK on POSIX, ERROR_POSSIBLE_DEADLOCK on
// Windows (where the wait itself would never end).
int qk_test_self_join_error();

// The calendar time in UTC of `seconds`, as the C runtime's gmtime gives it.
tm qk_test_utc(time_t seconds);
