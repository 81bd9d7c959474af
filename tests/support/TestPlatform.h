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

// The number of descriptors the process has open (/proc/self/fd), or on Windows its handles.
int qk_test_open_handle_count();

// The error a thread's join of itself answers: EDEADLK on POSIX, ERROR_POSSIBLE_DEADLOCK on
// Windows (where the wait itself would never end).
int qk_test_self_join_error();

// The calendar time in UTC of `seconds`, as the C runtime's gmtime gives it.
tm qk_test_utc(time_t seconds);
