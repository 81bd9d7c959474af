// The part of a temporary file's name that keeps writers apart, the same on every system.
#pragma once

#include <cstdint>
#include <string>

// Eight hex digits that differ between processes (by `process_id`), calls and moments. The
// exclusive creation of the file settles any clash that still comes.
std::string qk_fs_unique_suffix(uint64_t process_id);
