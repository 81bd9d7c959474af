// Log file names and backups.
//
// A log name becomes a path by one rule, for outputs and backup requests alike: an empty name is
// the default log name; a name that begins with "/" stands as it is; a name with a "." anywhere
// but at its first position goes into the log folder as "FOLDER/NAME", any other as
// "FOLDER/NAME.log"; the log folder is the working directory (".") when none is set. The path is
// cut to 256 bytes.
//
// A backup of "FOLDER/STEM.EXT" is "FOLDER/STEM.YYYY-MM-DD_hh-mm-ss.EXT", stamped with the time
// of the file's last change in UTC, "-2", "-3", ... added behind the time when that name is taken
// ("FOLDER/STEM.YYYY-MM-DD_hh-mm-ss" for a file without an extension). The extension is what
// follows the last "." of the file's name when that isn't its first character.
//
// Reentrant; the file operations log their own failures (platform/qk_fs.h).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "qk_log.h"

namespace qk {

std::string log_file_path(std::string_view name, std::string_view folder, std::string_view default_name);

// The backup name of `path` for a file last changed at `time` (Unix seconds); `attempt` 1 for the
// first choice, 2 and on for the names with a number.
std::string log_backup_name(std::string_view path, int64_t time, unsigned attempt);

// True when `file_name` (a name in the same folder) is a backup name of the file named `name`.
bool is_log_backup_name(std::string_view file_name, std::string_view name);

// Moves the file at `path`, when it exists and isn't empty, to its backup name, then removes that
// file's backups beyond the limits: those older than max_age seconds at `now` (Unix seconds); and,
// counting sizes from the newest, the first backup that brings the total over max_total_size and
// every older one. 0 is no limit for either; the backup just made counts like the others.
void back_up_log_file(const std::string& path, const log::limits& limits, int64_t now);

}  // namespace qk
