// The Manager's look-ups: stat, opens, whole reads, copies, sources and listings. Every virtual
// path is normalised and folded into a key on the stack, then probed under the lock.
#include <stdexcept>

#include "PathBuffer.h"
#include "platform/qk_fs.h"
#include "qk_log.h"
#include "qk_path.h"
#include "qkvfs/FileReader.h"
#include "qkvfs/Manager.h"
#include "qkvfs/RealPath.h"

namespace qkvfs {

namespace {

// A path's key: normalised and folded, in 256 bytes on the stack for the usual path.
class Key {
 public:
  explicit Key(std::string_view path) { qk_path_normalize(path, buffer_, true); }
  std::string_view view() const { return buffer_.view(); }
  const char* c_str() const { return buffer_.c_str(); }

 private:
  PathBuffer<256> buffer_;
};

bool is_virtual(std::string_view path) { return !path.empty() && path.front() == '/'; }

const Holder& first(const PathTables::Holders& holders) {
  if (holders.empty()) throw std::out_of_range("Call front() on empty vector.");
  return holders.front();
}

void log_missed_key(const Key& key) {
  qk_log(QKCORESTATIC, qk::log::ERROR, "Can't open file: %s.", key.c_str());
}

}  // namespace

const PathTables::Holders* Manager::holders_of(std::string_view key) const { return tables_.holders(key); }

// ---- Entries ---------------------------------------------------------------------------------

bool Manager::stat(std::string_view path, EntryInfo& out) {
  out = EntryInfo();
  const Key key(path);
  const Lock guard(lock_);
  if (const PathTables::Holders* holders = holders_of(key.view())) {
    const Holder& holder = first(*holders);
    holder.driver->info(holder.entry, out);
    return true;
  }
  if (!tables_.is_directory(key.view())) return false;
  out.type = kDirectory;
  return true;
}

bool Manager::exists(std::string_view path) {
  const Key key(path);
  const Lock guard(lock_);
  return holders_of(key.view()) || tables_.is_directory(key.view());
}

size_t Manager::count_copies(const char* path) {
  const Key key(path ? path : "");
  const Lock guard(lock_);
  const PathTables::Holders* holders = holders_of(key.view());
  return holders ? holders->size() : 0;
}

bool Manager::for_each_source(std::string_view path, SourceCallback callback, void* context) {
  const Key key(path);
  const Lock guard(lock_);
  const PathTables::Holders* holders = holders_of(key.view());
  if (!holders) return false;
  for (const Holder& holder : *holders) callback(holder.driver->source.c_str(), context);
  return true;
}

bool Manager::for_each_source_alias(std::string_view path, SourceCallback callback, void* context) {
  return for_each_source(path, callback, context);
}

bool Manager::for_each_holder(std::string_view path, HolderCallback callback, void* context) {
  const Key key(path);
  const Lock guard(lock_);
  const PathTables::Holders* holders = holders_of(key.view());
  if (!holders) return false;
  for (const Holder& holder : *holders) callback(*holder.driver, holder.entry, context);
  return true;
}

// ---- Opening ---------------------------------------------------------------------------------

IFile* Manager::open_file(std::string_view path, uint32_t mode, bool silent) {
  if (mode != 0) {
    if (!silent)
      qk_log(QKCORESTATIC, qk::log::ERROR,
             "Can't open file not for writing: %.*s. VFS supports only open for reading.", int(path.size()),
             path.data());
    return nullptr;
  }
  const Key key(path);
  IFile* file = nullptr;
  {
    const Lock guard(lock_);
    const PathTables::Holders* holders = holders_of(key.view());
    if (!holders) {
      if (!silent) log_missed_key(key);
      return nullptr;
    }
    const Holder& holder = first(*holders);
    file = holder.driver->open_file(holder.entry);
  }
  if (!file && !silent) log_missed_key(key);
  return file;
}

qk::ReaderPtr<> Manager::open_reader(std::string_view path, bool silent) {
  if (!is_virtual(path)) {
    IFile* file = qk_vfs_open_real(path, 0, silent);
    if (!file) {
      if (!silent)
        qk_log(QKCORESTATIC, qk::log::ERROR, "Can't open file: %.*s", int(path.size()), path.data());
      return nullptr;
    }
    return qk::ReaderPtr<>(new FileReader(file));
  }
  const Key key(path);
  qk::ReaderPtr<> reader;
  {
    const Lock guard(lock_);
    if (const PathTables::Holders* holders = holders_of(key.view())) {
      const Holder& holder = first(*holders);
      reader = holder.driver->open_reader(holder.entry);
    }
  }
  if (!reader && !silent) log_missed_key(key);
  return reader;
}

bool Manager::open_for_write(const char* path, uint64_t, uint64_t, bool silent) {
  if (!silent) qk_log(QKCORESTATIC, qk::log::ERROR, "Trying to open %s on ro vfs.", path ? path : "");
  return false;
}

// ---- Whole reads -----------------------------------------------------------------------------

qk::RefPtr<qk::IBuffer> Manager::read_whole(std::string_view path, qk::RefPtr<qk::MemBuffer>* buffer,
                                            bool silent) {
  if (!is_virtual(path)) return qk_vfs_read_real(path, buffer, silent);
  const Key key(path);
  IBufFuture* future = nullptr;
  {
    const Lock guard(lock_);
    const PathTables::Holders* holders = holders_of(key.view());
    if (!holders) return nullptr;
    const Holder& holder = first(*holders);
    future = holder.driver->open_future(holder.entry);
  }
  if (!future) {
    if (!silent) log_missed_key(key);
    return nullptr;
  }
  // The read itself runs outside the lock.
  qk::RefPtr<qk::IBuffer> bytes = future->get(buffer);
  future->release();
  if (!bytes) {
    if (buffer && *buffer) (*buffer)->resize(0);
    if (!silent) log_missed_key(key);
  }
  return bytes;
}

int Manager::read_into(const char* path, qk::RefPtr<qk::MemBuffer>& buffer, bool silent) {
  if (!buffer) {
    qk_log(QKCORESTATIC, qk::log::ERROR, "Input buffer is empty. File: %s", path ? path : "");
    return 0;
  }
  buffer->resize(0);
  // A whole read refills the buffer it is given and hands it back; keep it in the caller's holder.
  const qk::RefPtr<qk::MemBuffer> kept = buffer;
  const qk::RefPtr<qk::IBuffer> bytes = read_whole(path ? path : "", &buffer, silent);
  buffer = kept;
  if (!bytes) {
    if (!silent) qk_log(QKCORESTATIC, qk::log::ERROR, "Can't open file: %s.", path ? path : "");
    return 0;
  }
  return 1;
}

qk::RefPtr<qk::IBuffer> Manager::read_file(std::string_view path, bool silent) {
  qk::RefPtr<qk::IBuffer> bytes = read_whole(path, nullptr, silent);
  if (!bytes && !silent)
    qk_log(QKCORESTATIC, qk::log::ERROR, "Can't open file: %.*s", int(path.size()), path.data());
  return bytes;
}

void Manager::for_each_copy(const char* path, const CopyCallback& callback, bool silent) {
  const Key key(path ? path : "");
  const Lock guard(lock_);
  const PathTables::Holders* holders = holders_of(key.view());
  if (!holders) {
    if (!silent) log_missed_key(key);
    return;
  }
  for (size_t i = 0; i < holders->size(); ++i) {
    const Holder holder = (*holders)[i];
    IFile* file = holder.driver->open_file(holder.entry);
    if (!file) {
      if (!silent) log_missed_key(key);
      continue;
    }
    const qk::RefPtr<qk::IBuffer> bytes = file->buffer();
    file->release();
    callback(bytes);
  }
}

// ---- Listings --------------------------------------------------------------------------------

void Manager::list_dir(std::string_view path, ListCallback callback, void* context) {
  std::string prefix;
  qk_path_normalize(path, prefix, true);
  if (prefix.empty()) throw std::out_of_range("Expected !empty()");
  if (prefix.back() != '/') prefix.push_back('/');

  const Lock guard(lock_);
  const std::string_view whole(prefix);
  tables_.files().for_each([&](std::string_view key, uint32_t) {
    if (key.size() <= whole.size() || key.compare(0, whole.size(), whole) != 0) return;
    const std::string_view rest = key.substr(whole.size());
    if (rest.find('/') == std::string_view::npos) callback(context, path, rest, kFile);
  });
  // The prefix without its "/": a directory whose name merely begins with the listed one's counts.
  const std::string_view shorter = whole.substr(0, whole.size() - 1);
  tables_.directories().for_each([&](std::string_view key, const std::string& text) {
    if (key.size() <= shorter.size() || key.compare(0, shorter.size(), shorter) != 0) return;
    if (key.substr(shorter.size() + 1).find('/') != std::string_view::npos) return;
    const size_t slash = text.rfind('/');
    if (slash == std::string::npos) return;
    callback(context, path, std::string_view(text).substr(slash + 1), kDirectory);
  });
}

namespace {

// One listing, virtual or real, handed to `add` as (directory, name, type).
template <class Add>
void list_any(Manager& manager, std::string_view path, Add add) {
  auto forward = [](void* context, std::string_view directory, std::string_view name, uint32_t type) {
    (*static_cast<Add*>(context))(directory, name, type);
  };
  if (is_virtual(path)) {
    manager.list_dir(path, forward, &add);
    return;
  }
  qk_fs_list(
      path,
      [](void* context, std::string_view folder, std::string_view name, const fs_entry& entry) {
        (*static_cast<Add*>(context))(folder, name, entry.kind == kDirectory ? uint32_t(kDirectory) : kFile);
      },
      &add);
}

std::string joined(std::string_view directory, std::string_view name, bool names_only) {
  if (names_only) return std::string(name);
  std::string text;
  text.reserve(directory.size() + 1 + name.size());
  return text.append(directory).append("/").append(name);
}

}  // namespace

std::vector<std::string> Manager::list_names(std::string_view path, const NameFilter& filter,
                                             bool names_only) {
  std::vector<std::string> names;
  names.reserve(128);
  list_any(*this, path, [&](std::string_view directory, std::string_view name, uint32_t) {
    if (!filter || filter(name)) names.push_back(joined(directory, name, names_only));
  });
  return names;
}

std::vector<ListEntry> Manager::list_entries(std::string_view path, const EntryFilter& filter,
                                             bool names_only) {
  std::vector<ListEntry> entries;
  entries.reserve(64);
  list_any(*this, path, [&](std::string_view directory, std::string_view name, uint32_t type) {
    if (!filter || filter(name, type))
      entries.push_back(ListEntry{joined(directory, name, names_only), type});
  });
  return entries;
}

}  // namespace qkvfs
