#include "log/LogBackup.h"

#include <algorithm>
#include <cctype>
#include <vector>

#include "platform/qk_fs.h"
#include "platform/qk_platform.h"

namespace qk {

namespace {

constexpr size_t kLongestPath = 256;
constexpr size_t kStampLength = 19;  // YYYY-MM-DD_hh-mm-ss

struct SplitPath {
  std::string_view folder;  // empty for the working directory
  std::string_view stem;
  std::string_view extension;  // with its ".", or empty
};

SplitPath split(std::string_view path) {
  SplitPath parts;
  const size_t slash = path.rfind('/');
  std::string_view name = path;
  if (slash != std::string_view::npos) {
    parts.folder = path.substr(0, slash == 0 ? 1 : slash);
    name = path.substr(slash + 1);
  }
  const size_t dot = name.rfind('.');
  parts.stem = name;
  if (dot != std::string_view::npos && dot != 0) {
    parts.stem = name.substr(0, dot);
    parts.extension = name.substr(dot);
  }
  return parts;
}

bool is_stamp(std::string_view text) {
  if (text.size() < kStampLength) return false;
  static const char kShape[] = "dddd-dd-dd_dd-dd-dd";
  for (size_t i = 0; i < kStampLength; ++i) {
    const bool digit = std::isdigit(static_cast<unsigned char>(text[i])) != 0;
    if (kShape[i] == 'd' ? !digit : text[i] != kShape[i]) return false;
  }
  text.remove_prefix(kStampLength);
  if (text.empty()) return true;
  if (text.size() < 2 || text[0] != '-') return false;
  return std::all_of(text.begin() + 1, text.end(),
                     [](char c) { return std::isdigit(static_cast<unsigned char>(c)); });
}

std::string in_folder(std::string_view folder, std::string_view name) {
  if (folder.empty()) return std::string(name);
  std::string path(folder);
  if (path.back() != '/') path += '/';
  path += name;
  return path;
}

struct Backup {
  std::string name;
  uint64_t size;
  int64_t time;
};

struct Listing {
  std::string_view name;  // the file's own name
  std::vector<Backup> backups;
};

void collect(void* user, std::string_view, std::string_view name, const fs_entry& entry) {
  auto* listing = static_cast<Listing*>(user);
  if (entry.kind == 1 && is_log_backup_name(name, listing->name))
    listing->backups.push_back({std::string(name), entry.size, int64_t(entry.modification_time)});
}

void prune(std::string_view path, const log::limits& limits, int64_t now) {
  if (limits.max_age == 0 && limits.max_total_size == 0) return;
  const SplitPath parts = split(path);
  const size_t slash = path.rfind('/');
  Listing listing{slash == std::string_view::npos ? path : path.substr(slash + 1), {}};
  qk_fs_list(parts.folder, collect, &listing);
  std::vector<Backup>& backups = listing.backups;
  std::sort(backups.begin(), backups.end(), [](const Backup& a, const Backup& b) {
    return a.time != b.time ? a.time > b.time : a.name > b.name;  // newest first
  });
  uint64_t total = 0;
  for (const Backup& backup : backups) {
    const bool too_old = limits.max_age != 0 && now - backup.time > int64_t(limits.max_age);
    if (!too_old) total += backup.size;
    const bool too_much = limits.max_total_size != 0 && total > limits.max_total_size;
    if (too_old || too_much) qk_fs_delete(in_folder(parts.folder, backup.name), false);
  }
}

}  // namespace

std::string log_file_path(std::string_view name, std::string_view folder, std::string_view default_name) {
  if (name.empty()) name = default_name;
  std::string path;
  if (!name.empty() && name[0] == '/') {
    path = name;
  } else {
    path = in_folder(folder.empty() ? std::string_view(".") : folder, name);
    if (name.find('.', 1) == std::string_view::npos) path += ".log";
  }
  if (path.size() > kLongestPath) path.resize(kLongestPath);
  return path;
}

std::string log_backup_name(std::string_view path, int64_t time, unsigned attempt) {
  const SplitPath parts = split(path);
  qk_platform_calendar date{};
  if (!qk_platform_utc_time(time, date)) date = {70, 0, 1, 0, 0, 0};
  char stamp[48];
  int length = qk_snprintf(stamp, sizeof stamp, "%04d-%02d-%02d_%02d-%02d-%02d", date.year + 1900,
                           date.month + 1, date.day, date.hour, date.minute, date.second);
  if (attempt > 1) qk_snprintf(stamp + length, sizeof stamp - size_t(length), "-%u", attempt);
  std::string name(parts.stem);
  name += '.';
  name += stamp;
  name += parts.extension;
  return in_folder(parts.folder, name);
}

bool is_log_backup_name(std::string_view file_name, std::string_view name) {
  const SplitPath parts = split(name);
  const size_t fixed = parts.stem.size() + 1 + parts.extension.size();
  if (file_name.size() <= fixed) return false;
  if (file_name.substr(0, parts.stem.size()) != parts.stem || file_name[parts.stem.size()] != '.')
    return false;
  if (file_name.substr(file_name.size() - parts.extension.size()) != parts.extension) return false;
  return is_stamp(file_name.substr(parts.stem.size() + 1, file_name.size() - fixed));
}

void back_up_log_file(const std::string& path, const log::limits& limits, int64_t now) {
  fs_entry entry;
  if (!qk_fs_stat(path, &entry) || entry.kind != 1 || entry.size == 0) return;  // nothing worth keeping
  fs_entry taken;
  for (unsigned attempt = 1; attempt <= 1000; ++attempt) {
    const std::string backup = log_backup_name(path, int64_t(entry.modification_time), attempt);
    if (qk_fs_stat(backup, &taken)) continue;
    if (!qk_fs_move(path, backup)) return;  // logged by the move; the old file stays
    break;
  }
  prune(path, limits, now);
}

}  // namespace qk
