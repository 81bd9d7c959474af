// Files as the tool reads and writes them, with the system's reason in every failure.
//
// Reading takes a whole file. Writing replaces a file whole (platform/qk_fs.h, "Replacing a file
// whole"): the content goes to a temporary file beside it, is flushed to the disk and renamed over
// the old file, so that a failure (a full disk, a file-size limit, a missing folder) leaves the old
// file untouched and no temporary file behind. Scenes are saved so; any command that writes a file
// uses FileReplacement or replaceFile. Failure texts read "PATH: can't be written: REASON". Main
// thread only.
#pragma once

#include <string>
#include <string_view>

#include "platform/qk_fs.h"

// The system's words for an error number as one line of the tool's own messages: the line end
// that Windows' texts carry ("File not found.\r\n") is cut off; other texts stay as they are.
std::string systemReason(qk_platform_error code);

// Reads the file at `path` into `bytes`; false with the system's words ("Is a directory",
// "Permission denied", "No such file or directory") in `reason`.
bool readFileBytes(const std::string& path, std::string& bytes, std::string& reason);

// Why the file at `path` can't be opened for reading; empty when it can.
std::string unreadableReason(const std::string& path);

// A file being replaced: begin, write any number of times, commit. Destroyed without a commit, or
// after a failure, it removes its temporary file and the old file stays as it was.
class FileReplacement {
 public:
  explicit FileReplacement(std::string path);
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  // False once anything failed; error() then says what.
  bool write(std::string_view bytes);
  bool commit();
  const std::string& error() const { return error_; }
  // True when the target is a device or a pipe, written in place: there is no temporary file, and
  // what was written before a failure has gone out.
  bool inPlace() const { return in_place_; }

 private:
  bool fail(qk_platform_error code);

  std::string path_;
  qk_fs_replacement replacement_;
  std::string error_;
  bool in_place_ = false;
};

// Replaces the file at `path` with `bytes`; empty on success, else the failure text.
std::string replaceFile(const std::string& path, std::string_view bytes);
