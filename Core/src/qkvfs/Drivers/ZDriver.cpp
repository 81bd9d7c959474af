#include "qkvfs/Drivers/ZDriver.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/qk_fs.h"
#include "qk/JsonNode.h"
#include "qk/ObjectPool.h"
#include "qk/ZlibInflateReader.h"
#include "qk_format.h"
#include "qk_log.h"
#include "qk_path.h"
#include "qkvfs/ArchiveIndex.h"
#include "qkvfs/Drivers/PackedEntries.h"

namespace qkvfs {

namespace {

constexpr uint32_t kEndRecord = 0x06054b50;
constexpr uint32_t kLocator64 = 0x07064b50;
constexpr uint32_t kEndRecord64 = 0x06064b50;
constexpr uint32_t kCentralHeader = 0x02014b50;
constexpr uint32_t kLocalHeader = 0x04034b50;
constexpr uint32_t kAllOnes32 = 0xFFFFFFFFu;
constexpr uint16_t kAllOnes16 = 0xFFFFu;

uint16_t le16(const uint8_t* p) { return uint16_t(p[0] | p[1] << 8); }
uint32_t le32(const uint8_t* p) { return uint32_t(le16(p)) | uint32_t(le16(p + 2)) << 16; }
uint64_t le64(const uint8_t* p) { return uint64_t(le32(p)) | uint64_t(le32(p + 4)) << 32; }

// ---- Time ------------------------------------------------------------------------------------

bool leap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

// Days from 1970-01-01 to the date (proleptic Gregorian calendar).
int64_t days_from_civil(int year, int month, int day) {
  year -= month <= 2;
  const int era = year / 400;
  const int year_of_era = year - era * 400;
  const int day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const int day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return int64_t(era) * 146097 + day_of_era - 719468;
}

// A DOS date and time read as UTC, in seconds since 1970; 0 for a stamp that names no moment.
uint64_t dos_seconds(uint16_t date, uint16_t time) {
  static const int kMonthDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const int year = 1980 + (date >> 9), month = (date >> 5) & 15, day = date & 31;
  const int hour = time >> 11, minute = (time >> 5) & 63, second = (time & 31) * 2;
  if (month < 1 || month > 12 || day < 1 || hour > 23 || minute > 59 || second > 59) return 0;
  if (day > kMonthDays[month - 1] + (month == 2 && leap(year))) return 0;
  return uint64_t(days_from_civil(year, month, day)) * 86400 + uint64_t(hour * 3600 + minute * 60 + second);
}

// ---- Reading the archive ---------------------------------------------------------------------

// Positional reads of the archive through one window, so that the records of a directory and
// the local headers, which mostly follow one another, cost a read per window.
class WindowedFile {
 public:
  static constexpr size_t kWindow = 64 * 1024;

  WindowedFile(qk_platform_file file, uint64_t size) : file_(file), size_(size) {}

  uint64_t size() const { return size_; }

  // Copies up to `n` bytes at `offset`; answers how many the file holds there.
  size_t read(uint64_t offset, void* dst, size_t n) {
    if (offset >= size_) return 0;
    n = size_t(std::min<uint64_t>(n, size_ - offset));
    if (n > kWindow) {
      size_t done = 0;
      qk_platform_read_at(file_, offset, dst, n, done);
      return done;
    }
    if (offset < start_ || offset + n > start_ + fill_) {
      window_.resize(kWindow);
      size_t done = 0;
      qk_platform_read_at(file_, offset, window_.data(), kWindow, done);
      start_ = offset;
      fill_ = done;
      if (n > fill_) n = fill_;
    }
    std::memcpy(dst, window_.data() + (offset - start_), n);
    return n;
  }

 private:
  qk_platform_file file_;
  uint64_t size_;
  std::vector<uint8_t> window_;
  uint64_t start_ = 0;
  uint64_t fill_ = 0;
};

struct FileCloser {
  qk_platform_file file;
  ~FileCloser() {
    if (file.valid()) qk_platform_close(file);
  }
};

// ---- The parse -------------------------------------------------------------------------------

struct Parsed {
  bool found = false;  // the file could be opened
  bool ok = false;     // the entries are whole
  std::string reason;  // why not, when there is a reason to tell
  std::vector<ZEntry> entries;
};

class Parser {
 public:
  Parser(WindowedFile& file, std::string_view mount_point, Parsed& result)
      : file_(file), mount_point_(mount_point), result_(result) {}

  void run();

 private:
  bool fail(const char* reason) {
    result_.reason = reason;
    return false;
  }
  bool read_whole(uint64_t offset, void* dst, size_t n) { return file_.read(offset, dst, n) == n; }
  bool end_record(uint64_t& count, uint64_t& directory);
  bool central_entry();
  bool zip64_record(uint64_t extra_at, uint16_t extra_length, uint16_t disk, ZEntry& entry,
                    uint64_t& record_end);
  bool local_headers();

  WindowedFile& file_;
  std::string_view mount_point_;
  Parsed& result_;
  bool zip64_ = false;
  uint64_t cursor_ = 0;
  std::vector<uint8_t> extra_;
};

void Parser::run() {
  uint8_t pk[2];
  if (!read_whole(0, pk, 2) || pk[0] != 'P' || pk[1] != 'K') {
    fail("Invalid zip signature.");
    return;
  }
  uint64_t count = 0;
  if (!end_record(count, cursor_)) return;
  // Every record takes 46 bytes: a count the file can't hold ends at the first missing header.
  result_.entries.reserve(size_t(std::min<uint64_t>(count, file_.size() / 46)));
  for (uint64_t i = 0; i < count; ++i)
    if (!central_entry()) return;
  result_.ok = local_headers();
}

bool Parser::end_record(uint64_t& count, uint64_t& directory) {
  const uint64_t size = file_.size();
  uint8_t end[22];
  if (size < 22 || !read_whole(size - 22, end, 22) || le32(end) != kEndRecord || le32(end + 12) == 0)
    return fail("Invalid EndOfCentralDirectoryRecord.");
  zip64_ = le16(end + 4) == kAllOnes16 || le16(end + 6) == kAllOnes16 || le16(end + 8) == kAllOnes16 ||
           le16(end + 10) == kAllOnes16 || le32(end + 12) == kAllOnes32 || le32(end + 16) == kAllOnes32;
  if (!zip64_) {
    count = le16(end + 8);
    directory = le32(end + 16);
    return true;
  }
  uint8_t locator[20], record[56];
  if (size < 42 || !read_whole(size - 42, locator, 20) || le32(locator) != kLocator64)
    return fail("Invalid EndOfCentralDirectoryLocator64.");
  if (size < 98 || !read_whole(size - 98, record, 56) || le32(record) != kEndRecord64)
    return fail("Invalid EndOfCentralDirectoryRecord64.");
  count = le64(record + 32);
  directory = le64(record + 48);
  return true;
}

bool Parser::central_entry() {
  uint8_t h[46];
  if (!read_whole(cursor_, h, 46) || le32(h) != kCentralHeader)
    return fail("Invalid CentralDirectoryFileHeader.");
  const uint16_t name_length = le16(h + 28), extra_length = le16(h + 30), comment_length = le16(h + 32);
  std::string name(name_length, '\0');
  if (!read_whole(cursor_ + 46, name.data(), name_length)) return fail("Invalid CentralDirectoryFileHeader.");

  ZEntry& entry = result_.entries.emplace_back();
  entry.time = dos_seconds(le16(h + 14), le16(h + 12)) + le32(h + 16);
  entry.packed_size = le32(h + 20);
  entry.size = le32(h + 24);
  entry.offset = le32(h + 42);
  entry.type = (le32(h + 38) & 0x10) ? kDirectory : kFile;
  qk_archive_join_name(mount_point_, name, entry.path, entry.key);
  qk_path_normalize(name, entry.stored_path, false);
  if (entry.type == kDirectory) {
    for (PathBufferBase* text :
         {static_cast<PathBufferBase*>(&entry.path), static_cast<PathBufferBase*>(&entry.stored_path)}) {
      size_t length = text->size();
      while (length > 0 && text->data()[length - 1] == '/') --length;
      text->set_size(length);
    }
    qk_path_fold(entry.path.view(), entry.key);
  }

  const uint64_t extra_at = cursor_ + 46 + name_length;
  uint64_t extra_end = extra_length;
  if (zip64_ && !zip64_record(extra_at, extra_length, le16(h + 34), entry, extra_end)) return false;
  cursor_ = extra_at + std::max<uint64_t>(extra_end, extra_length) + comment_length;
  return true;
}

// The walk of the extra field for the 64-bit record, in steps of 4 bytes.
bool Parser::zip64_record(uint64_t extra_at, uint16_t extra_length, uint16_t disk, ZEntry& entry,
                          uint64_t& record_end) {
  uint64_t* const fields[] = {&entry.size, &entry.packed_size, &entry.offset};
  uint16_t expected = disk == kAllOnes16 ? 4 : 0;
  for (uint64_t* field : fields) expected = uint16_t(expected + (*field == kAllOnes32 ? 8 : 0));
  // The record may run on behind the field: 24 bytes more are read, zeros where the file ends.
  extra_.assign(extra_length + 24u, 0);
  uint8_t* const extra = extra_.data();
  file_.read(extra_at, extra, extra_.size());
  for (uint32_t at = 0; at + 4 <= extra_length; at += 4) {
    if (le16(extra + at) != 1 || le16(extra + at + 2) != expected) continue;
    uint32_t value = at + 4;
    for (uint64_t* field : fields) {
      if (*field != kAllOnes32) continue;
      *field = le64(extra + value);
      value += 8;
    }
    record_end = value;
    return true;
  }
  return fail("Extra fields missing 64 bit file record.");
}

bool Parser::local_headers() {
  for (ZEntry& entry : result_.entries) {
    if (entry.offset > uint64_t(INT64_MAX)) return false;  // the seek would fail
    uint8_t h[30] = {};
    if (!read_whole(entry.offset, h, 30) || le32(h) != kLocalHeader) {
      qk_log(QKCORESTATIC, qk::log::ERROR, "Invalid local file header: %s", entry.stored_path.c_str());
      return false;
    }
    entry.offset += 30u + le16(h + 26) + le16(h + 28);
    entry.method = le16(h + 8);
  }
  return true;
}

Parsed parse(const std::string& path, std::string_view mount_point) {
  Parsed result;
  const FileCloser closer{qk_fs_open(path, QK_FS_READ, QK_FS_OPEN_EXISTING, QK_FS_SEQUENTIAL_SCAN)};
  if (!closer.file.valid()) {
    result.reason = "No such file.";
    return result;
  }
  result.found = true;
  uint64_t size = 0;
  if (qk_platform_size(closer.file, size) != 0) size = 0;
  WindowedFile file(closer.file, size);
  Parser(file, mount_point, result).run();
  return result;
}

// ---- Entry objects ---------------------------------------------------------------------------

// Reads one entry whole when asked, outside the Manager's lock.
class ZBufFuture final : public PackedFuture {
 public:
  ZBufFuture(OverlappedFile* file, const ZEntry* entry, std::atomic<uint64_t>* open_count)
      : PackedFuture(file, open_count), entry_(entry) {}

  qk::RefPtr<qk::IBuffer> get(qk::RefPtr<qk::MemBuffer>* fill) override {
    qk::RefPtr<qk::MemBuffer> fresh;
    return ZFile::read_entry(*file_, *entry_, fill ? *fill : fresh);
  }
  void release() override { qk::pool_delete(pool, this); }

  static qk::ObjectPool pool;

 private:
  const ZEntry* entry_;
};

qk::ObjectPool ZBufFuture::pool{"Core/src/qkvfs/Drivers/ZDriver/ZBufFuture", sizeof(ZBufFuture), 128};

// An entry as a stream: raw inflate over its range, or the range itself for a stored entry.
class ZReader final : public PackedReader<qk::ZlibInflateReader> {
 public:
  ZReader(OverlappedFile* file, const ZEntry* entry, std::atomic<uint64_t>* open_count)
      : PackedReader(file, entry->offset, entry->packed_size, entry->size, open_count, entry->method == 0,
                     entry->method != 0),
        entry_(entry) {}

  const char* name() override { return entry_->path.c_str(); }
  void release() override { qk::pool_delete(pool, this); }

  static qk::ObjectPool pool;

 private:
  const ZEntry* entry_;
};

qk::ObjectPool ZReader::pool{"Core/src/qkvfs/Drivers/ZDriver/ZReader", sizeof(ZReader), 128};

}  // namespace

// ---- Mounting --------------------------------------------------------------------------------

IDriver* ZDriver::factory(uint64_t mount_id, const char* normalised_source, const char* opened_source,
                          const char* normalised_mount_point, const char* mount_tag, char* error,
                          size_t error_capacity, bool* stop) {
  *stop = false;
  std::string path(opened_source);
  for (int attempt = 0; attempt < 2; ++attempt, path.append(".zip")) {
    Parsed parsed = parse(path, normalised_mount_point);
    if (!parsed.found) continue;
    if (parsed.ok) {
      *stop = true;
      return new ZDriver(mount_id, mount_tag, path, normalised_source, normalised_mount_point,
                         std::move(parsed.entries));
    }
    if (!parsed.reason.empty() && error_capacity != 0)
      qk_snprintf(error, error_capacity, "ZipDriver: Failed to open zip archive %s. Reason: %s", path.c_str(),
                  parsed.reason.c_str());
    return nullptr;
  }
  return nullptr;
}

ZDriver::ZDriver(uint64_t mount_id, std::string_view mount_tag, std::string_view archive_path,
                 std::string_view normalised_source, std::string_view normalised_mount_point,
                 std::vector<ZEntry>&& entries)
    : IDriver(mount_id, mount_tag, archive_path, normalised_source, normalised_mount_point),
      file_(std::string(archive_path)),
      entries_(std::move(entries)) {
  load_metadata();
}

void ZDriver::load_metadata() {
  const auto found = std::find_if(entries_.begin(), entries_.end(), [](const ZEntry& entry) {
    return entry.stored_path.view() == ".metadata.json";
  });
  if (found == entries_.end() || !file_.ensure_open()) return;
  std::string text;
  {
    ZFile* file = ZFile::make(&file_, &*found, &source, nullptr, &open_count_);
    if (file) {
      const qk::RefPtr<qk::IBuffer> bytes = file->buffer();
      if (bytes) text.assign(static_cast<const char*>(bytes->data()), bytes->size());
      file->release();
    }
  }
  entries_.erase(found);
  try {
    qk::parseMetadataJson(text.c_str(), metadata_);
  } catch (const qk::JsonError&) {
    qk_log(QKCORESTATIC, qk::log::ERROR, "Can't read metadata for driver %s", source.c_str());
  }
}

// ---- Entries ---------------------------------------------------------------------------------

void ZDriver::enumerate(EnumerateCallback callback, void* context) {
  for (size_t i = 0; i < entries_.size(); ++i)
    callback(context, i, entries_[i].key.view(), entries_[i].path.view(), entries_[i].type);
}

void ZDriver::info(uint64_t index, EntryInfo& out) {
  out = EntryInfo();
  if (index >= entries_.size()) return;
  out.size = entries_[index].size;
  out.time = entries_[index].time;
  out.type = entries_[index].type;
}

const qk::MetadataMap* ZDriver::metadata_of(uint64_t index) {
  if (index >= entries_.size()) return nullptr;
  const auto found = metadata_.find(std::string(entries_[index].stored_path.view()));
  return found != metadata_.end() ? &found->second : nullptr;
}

bool ZDriver::usable(uint64_t index) {
  return index < entries_.size() && entries_[index].type != kDirectory && file_.ensure_open();
}

IFile* ZDriver::open_file(uint64_t index) {
  if (!usable(index)) return nullptr;
  return ZFile::make(&file_, &entries_[index], &source, metadata_of(index), &open_count_);
}

IBufFuture* ZDriver::open_future(uint64_t index) {
  if (!usable(index)) return nullptr;
  return make_pooled<ZBufFuture>(ZBufFuture::pool, &file_, &entries_[index], &open_count_);
}

qk::ReaderPtr<> ZDriver::open_reader(uint64_t index) {
  if (!usable(index)) return nullptr;
  const ZEntry& entry = entries_[index];
  if (entry.method != 0 && entry.method != 8 && entry.method != 9) return nullptr;
  return qk::ReaderPtr<>(make_pooled<ZReader>(ZReader::pool, &file_, &entry, &open_count_));
}

}  // namespace qkvfs
