#include "ToolFiles.h"

#include <utility>

namespace {

constexpr size_t kReadPiece = size_t(1) << 20;

}  // namespace

std::string systemReason(qk_platform_error code) {
  std::string text = qk_system_error_text(code);
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}

bool readFileBytes(const std::string& path, std::string& bytes, std::string& reason) {
  bytes.clear();
  qk_platform_error error = 0;
  const qk_platform_file file =
      qk_fs_open(path, QK_FS_READ, QK_FS_OPEN_EXISTING, QK_FS_SEQUENTIAL_SCAN, &error);
  if (!file.valid()) {
    reason = systemReason(error);
    return false;
  }
  for (;;) {
    const size_t at = bytes.size();
    bytes.resize(at + kReadPiece);
    size_t done = 0;
    error = qk_platform_read_fully(file, &bytes[at], kReadPiece, done);
    bytes.resize(at + done);
    if (error != 0 || done < kReadPiece) break;
  }
  qk_platform_close(file);
  if (error != 0) {
    reason = systemReason(error);
    return false;
  }
  return true;
}

std::string unreadableReason(const std::string& path) {
  qk_platform_error error = 0;
  const qk_platform_file file = qk_fs_open(path, QK_FS_READ, QK_FS_OPEN_EXISTING, 0, &error);
  if (!file.valid()) return systemReason(error);
  qk_platform_close(file);
  return std::string();
}

FileReplacement::FileReplacement(std::string path) : path_(std::move(path)) {
  fail(qk_fs_replace_begin(path_, replacement_));
  in_place_ = error_.empty() && replacement_.temporary.empty();
}

FileReplacement::~FileReplacement() { qk_fs_replace_abandon(replacement_); }

bool FileReplacement::fail(qk_platform_error code) {
  if (code == 0) return true;
  if (error_.empty()) error_ = path_ + ": can't be written: " + systemReason(code);
  qk_fs_replace_abandon(replacement_);
  return false;
}

bool FileReplacement::write(std::string_view bytes) {
  if (!error_.empty()) return false;
  size_t done = 0;
  return fail(qk_platform_write_fully(replacement_.file, bytes.data(), bytes.size(), done));
}

bool FileReplacement::commit() {
  if (!error_.empty()) return false;
  return fail(qk_fs_replace_commit(replacement_));
}

std::string replaceFile(const std::string& path, std::string_view bytes) {
  FileReplacement file(path);
  file.write(bytes);
  file.commit();
  return file.error();
}
