// The Manager's mount machinery: factories, mount, registration of entries, unmount, remount.
// Look-ups, reads and listings are in ManagerAccess.cpp.
#include "qkvfs/Manager.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <stdexcept>

#include "FixedString.h"
#include "PathBuffer.h"
#include "qk_locations.h"
#include "qk_log.h"
#include "qk_path.h"
#include "qkvfs/Drivers/FSDriver.h"
#include "qkvfs/Drivers/QKPKDriver.h"
#include "qkvfs/Drivers/ZDriver.h"

namespace qkvfs {

namespace {

// Mount ids of the whole process; the first is 1.
std::atomic<uint64_t> last_mount_id{0};

// The factories every Manager starts with, in this order: a folder, a zip file (which ends the
// chain when it mounts), a .qkpk archive.
const DriverFactory kDefaultFactories[] = {&FSDriver::factory, &ZDriver::factory, &QKPKDriver::factory};

// A source as a mount takes it: normalised, and one trailing "/" dropped.
std::string normalised_source(const char* given, bool fold) {
  std::string text;
  qk_path_normalize(given, text, fold);
  if (!text.empty() && text.back() == '/') text.pop_back();
  return text;
}

const char* or_empty(const char* text) { return text ? text : ""; }

// Registration of one driver's entries, as enumerate hands them over.
struct Registration {
  PathTables& tables;
  IDriver& driver;
  bool append;
};

void register_entry(void* context, uint64_t index, std::string_view key, std::string_view path,
                    uint32_t type) {
  auto& reg = *static_cast<Registration*>(context);
  // Every directory on the way: "/" and each non-empty piece, the last piece too unless a file.
  size_t pieces_end = path.size();
  if (type != kDirectory) {
    const size_t slash = path.rfind('/');
    pieces_end = slash == std::string_view::npos ? 0 : slash;
  }
  PathBuffer<256> text, folded;
  for (size_t at = 0; at < pieces_end;) {
    const size_t slash = std::min(path.find('/', at), pieces_end);
    if (slash > at) {
      text.append("/");
      text.append(path.substr(at, slash - at));
      qk_path_fold(text.view(), folded);
      reg.tables.add_directory(folded.view(), text.view());
    }
    at = slash + 1;
  }
  if (type != kDirectory) reg.tables.add_holder(key, Holder{index, &reg.driver}, reg.append);
}

void unregister_entry(void* context, uint64_t, std::string_view key, std::string_view, uint32_t type) {
  auto& reg = *static_cast<Registration*>(context);
  if (type != kDirectory) reg.tables.remove_holders(key, &reg.driver);
}

void log_errors(const char* heading, const std::string& source, const std::vector<std::string>& errors) {
  if (errors.empty()) return;
  qk_log(QKCORESTATIC, qk::log::ERROR, heading, source.c_str());
  for (const std::string& error : errors) qk_log(QKCORESTATIC, qk::log::ERROR, "\t%s", error.c_str());
}

}  // namespace

// ---- Life ------------------------------------------------------------------------------------

Manager::Manager() {
  factories_.reserve(8);
  for (DriverFactory factory : kDefaultFactories) factories_.push_back(factory);
  drivers_.reserve(128);
}

Manager::~Manager() {
  const Lock guard(lock_);
  drivers_.clear();
  orphans_.clear();
  factories_.clear();
  tables_.clear();
}

// ---- Factories -------------------------------------------------------------------------------

void Manager::add_factory(DriverFactory factory, bool at_end) {
  const Lock guard(lock_);
  if (std::find(factories_.begin(), factories_.end(), factory) != factories_.end()) return;
  factories_.insert(at_end ? factories_.end() : factories_.begin(), factory);
}

void Manager::remove_factory(DriverFactory factory) {
  const Lock guard(lock_);
  // As the walk has always gone: the element that moves into a removed one's place isn't looked at.
  for (size_t i = 0; i < factories_.size(); ++i)
    if (factories_[i] == factory) factories_.erase(factories_.begin() + std::ptrdiff_t(i));
}

void Manager::clear_factories() { factories_.clear(); }

void Manager::set_mount_filter(MountFilter filter, void* context) {
  const Lock guard(lock_);
  mount_filter_ = filter;
  mount_filter_context_ = context;
}

std::vector<Manager::DriverPtr> Manager::make_drivers(uint64_t id, const std::string& real_source,
                                                      const std::string& source,
                                                      const std::string& mount_point, const char* tag,
                                                      std::vector<std::string>& errors) {
  std::vector<DriverPtr> made;
  for (DriverFactory factory : factories_) {
    char error[512] = {};
    bool stop = false;
    IDriver* driver = factory(id, real_source.c_str(), source.c_str(), mount_point.c_str(), or_empty(tag),
                              error, sizeof error, &stop);
    if (driver)
      made.emplace_back(driver);
    else if (error[0])
      errors.emplace_back(error, strnlen(error, sizeof error));
    if (stop) break;
  }
  return made;
}

// ---- Mount -----------------------------------------------------------------------------------

uint64_t Manager::mount(const char* source, const char* mount_point, bool append, const char* tag,
                        bool silent) {
  if (mount_filter_ && !mount_filter_(mount_point, mount_filter_context_)) return kMountFailed;
  const std::string_view point = or_empty(mount_point);
  if (point.empty() || point.front() != '/') {
    if (!silent)
      qk_log(QKCORESTATIC, qk::log::ERROR, "Invalid mount point %.*s.", int(point.size()), point.data());
    return kMountFailed;
  }
  std::string normal_point;
  qk_path_normalize(point, normal_point, true);
  if (normal_point.empty()) throw std::out_of_range("Expected !empty()");
  if (normal_point.back() != '/') normal_point.push_back('/');

  const uint64_t id = ++last_mount_id;
  const char* given = source && *source ? source : VFS_current_dir();
  const std::string real_source = normalised_source(given, true);
  const std::string opened = normalised_source(given, false);

  const Lock guard(lock_);
  for (const DriverPtr& driver : drivers_) {
    if ((driver->real_source == real_source || driver->source == real_source) &&
        driver->mount_point == normal_point) {
      ++driver->mount_count;
      qk_log(QKCORESTATIC, qk::log::WARNING, "Source %s is already mounted to the same mount %s.",
             driver->real_source.c_str(), mount_point);
      return driver->id;
    }
  }

  std::vector<std::string> errors;
  std::vector<DriverPtr> made = make_drivers(id, real_source, opened, normal_point, tag, errors);
  log_errors("Drivers errors while mounting %s:", opened, errors);
  if (made.empty()) {
    if (errors.empty() && !silent)
      qk_log(QKCORESTATIC, qk::log::ERROR, "No suitable driver found to mount %s", opened.c_str());
    return kMountFailed;
  }
  for (const DriverPtr& driver : made) register_driver(*driver, append);
  drivers_.insert(append ? drivers_.end() : drivers_.begin(), std::make_move_iterator(made.begin()),
                  std::make_move_iterator(made.end()));
  qk_log(QKCORESTATIC, qk::log::DEBUG, "Mounted: %s into: %s with tag: %s", given, mount_point,
         or_empty(tag));
  return id;
}

void Manager::register_driver(IDriver& driver, bool append) {
  Registration reg{tables_, driver, append};
  driver.enumerate(register_entry, &reg);
}

void Manager::unregister_driver(IDriver& driver) {
  Registration reg{tables_, driver, false};
  driver.enumerate(unregister_entry, &reg);
}

// ---- Unmount ---------------------------------------------------------------------------------

bool Manager::unmount(uint64_t id) {
  FixedString<128> reason;
  reason.format("Can't found drivers with given id == %zu", size_t(id));
  return unmount_where([id](const IDriver& driver) { return driver.id == id; }, reason.c_str());
}

bool Manager::unmount_by_tag(std::string_view tag) {
  return unmount_where([tag](const IDriver& driver) { return driver.tag == tag; }, nullptr);
}

bool Manager::unmount_by_source(std::string_view source) {
  std::string key;
  qk_path_normalize(source, key, true);
  return unmount_where(
      [&key](const IDriver& driver) {
        std::string folded;
        return driver.real_source == key || qk_path_fold(driver.source, folded) == key;
      },
      nullptr);
}

bool Manager::unmount_where(const std::function<bool(const IDriver&)>& match, const char* reason) {
  const Lock guard(lock_);
  bool unmounted = false, orphaned = false;
  for (size_t i = 0; i < drivers_.size();) {
    IDriver& driver = *drivers_[i];
    if (!match(driver)) {
      ++i;
      continue;
    }
    const int32_t count = --driver.mount_count;
    if (count >= 1) {
      qk_log(QKCORESTATIC, qk::log::WARNING, "Driver %s:%s(%s) mount count: %d.", driver.name(),
             driver.source.c_str(), driver.tag.c_str(), int(count));
      ++i;
      continue;
    }
    unregister_driver(driver);
    const auto at = drivers_.begin() + std::ptrdiff_t(i);
    if (driver.has_open_files()) {
      qk_log(QKCORESTATIC, qk::log::ERROR, "Can't unmount driver %s:%s(%s). Reason: as it has files opened",
             driver.name(), driver.source.c_str(), driver.tag.c_str());
      orphans_.push_back(std::move(*at));
      drivers_.erase(at);
      orphaned = true;
      continue;
    }
    qk_log(QKCORESTATIC, qk::log::DEBUG, "Unmounted source: %s, tag: %s, driver: %s.", driver.source.c_str(),
           driver.tag.c_str(), driver.name());
    drivers_.erase(at);
    unmounted = true;
  }
  if (!unmounted && !orphaned && reason)
    qk_log(QKCORESTATIC, qk::log::ERROR, "Can't unmount drivers. Reason: %s", reason);
  return unmounted && !orphaned;
}

// ---- Remount ---------------------------------------------------------------------------------

void Manager::remount(RemountCallback callback, void* context) {
  const Lock guard(lock_);
  for (size_t i = 0; i < drivers_.size(); ++i) {
    IDriver& old = *drivers_[i];
    const std::string next = callback(context, old.source.c_str());
    if (next.empty()) continue;
    if (old.has_open_files()) {
      qk_log(QKCORESTATIC, qk::log::ERROR, "Can't unmount driver %s:%s(%s). Reason: as it has files opened.",
             old.name(), old.source.c_str(), old.tag.c_str());
      continue;
    }
    const std::string real_source = normalised_source(next.c_str(), true);
    const std::string opened = normalised_source(next.c_str(), false);
    std::vector<std::string> errors;
    std::vector<DriverPtr> made =
        make_drivers(old.id, real_source, opened, old.mount_point, old.tag.c_str(), errors);
    log_errors("Driver errors while remounting %s:", opened, errors);
    if (made.empty()) {
      // Nothing takes the new source: the old driver stays, so that nothing mounted is lost.
      if (errors.empty())
        qk_log(QKCORESTATIC, qk::log::ERROR, "No suitable driver found to mount %s", opened.c_str());
      continue;
    }
    qk_log(QKCORESTATIC, qk::log::DEBUG, "Unmounted source: %s, tag: %s, driver: %s.", old.source.c_str(),
           old.tag.c_str(), old.name());
    qk_log(QKCORESTATIC, qk::log::DEBUG, "Mounted: %s into: %s with tag: %s", next.c_str(),
           old.mount_point.c_str(), old.tag.c_str());
    unregister_driver(old);
    const size_t count = made.size();
    drivers_.erase(drivers_.begin() + std::ptrdiff_t(i));
    drivers_.insert(drivers_.begin() + std::ptrdiff_t(i), std::make_move_iterator(made.begin()),
                    std::make_move_iterator(made.end()));
    i += count - 1;
  }
  tables_.clear_files();
  for (const DriverPtr& driver : drivers_) register_driver(*driver, true);
}

// ---- Walks of the drivers --------------------------------------------------------------------

std::vector<std::string> Manager::sources_of_mount(const char* mount_point) {
  const Lock guard(lock_);
  std::vector<std::string> sources;
  for (const DriverPtr& driver : drivers_)
    if (driver->mount_point == or_empty(mount_point)) sources.push_back(driver->source);
  return sources;
}

void Manager::for_each_mount(MountCallback callback, void* context) {
  const Lock guard(lock_);
  for (size_t i = 0; i < drivers_.size(); ++i)
    callback(drivers_[i]->mount_point.c_str(), drivers_[i]->source.c_str(), context);
}

void Manager::flush_drivers() {
  const Lock guard(lock_);
  for (const DriverPtr& driver : drivers_) driver->flush();
}

void Manager::for_each_driver(DriverCallback callback, void* context) {
  const Lock guard(lock_);
  for (size_t i = 0; i < drivers_.size(); ++i) callback(drivers_[i].get(), context);
}

}  // namespace qkvfs
