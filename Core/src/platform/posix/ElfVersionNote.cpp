#include "platform/posix/ElfVersionNote.h"

#include <vector>

namespace qk_posix {

namespace {

constexpr uint32_t kSectionNote = 7;  // SHT_NOTE
constexpr uint32_t kVersionType = 1;
constexpr size_t kMostRead = 1 << 20;  // section headers, and one note section

// Where the fields of the two classes lie.
struct Layout {
  bool wide;  // ELF64
  size_t header_size, shoff, shentsize, shnum;
  size_t section_size, sh_type, sh_offset, sh_size, sh_addralign;
};
constexpr Layout kElf64{true, 64, 0x28, 0x3A, 0x3C, 64, 4, 24, 32, 48};
constexpr Layout kElf32{false, 52, 0x20, 0x2E, 0x30, 40, 4, 16, 20, 32};

// Fields of bytes already read, in the file's byte order; every access is inside `bytes`.
class Fields {
 public:
  Fields(const std::vector<unsigned char>& bytes, bool big_endian) : bytes_(bytes), big_(big_endian) {}

  bool has(size_t at, size_t size) const { return at <= bytes_.size() && size <= bytes_.size() - at; }
  uint64_t get(size_t at, size_t size) const {
    uint64_t value = 0;
    for (size_t i = 0; i < size; ++i) {
      const uint64_t byte = bytes_[at + i];
      value |= big_ ? byte << (8 * (size - 1 - i)) : byte << (8 * i);
    }
    return value;
  }
  uint64_t word(size_t at, bool wide) const { return get(at, wide ? 8 : 4); }

 private:
  const std::vector<unsigned char>& bytes_;
  bool big_;
};

// `size` bytes at `offset`, when the whole range lies in the file and is at most kMostRead.
bool read_range(const ElfReadAt& read_at, uint64_t file_size, uint64_t offset, uint64_t size,
                std::vector<unsigned char>& out) {
  if (offset > file_size || size > file_size - offset || size > kMostRead) return false;
  out.resize(size_t(size));
  return size == 0 || read_at(offset, out.data(), out.size()) == out.size();
}

// Walks the notes of one section for the version note.
bool find_in_notes(const std::vector<unsigned char>& bytes, bool big, uint64_t alignment,
                   ElfVersion& version) {
  const Fields notes(bytes, big);
  const size_t align = alignment == 8 ? 8 : 4;
  auto padded = [align](uint64_t n) { return (n + align - 1) / align * align; };
  size_t at = 0;
  while (notes.has(at, 12)) {
    const uint64_t name_size = notes.get(at, 4), desc_size = notes.get(at + 4, 4),
                   type = notes.get(at + 8, 4);
    const size_t name_at = at + 12;
    if (!notes.has(name_at, size_t(padded(name_size)))) return false;
    const size_t desc_at = name_at + size_t(padded(name_size));
    if (!notes.has(desc_at, size_t(padded(desc_size)))) return false;
    if (type == kVersionType && name_size == 3 && desc_size == 8 && bytes[name_at] == 'Q' &&
        bytes[name_at + 1] == 'K' && bytes[name_at + 2] == 0) {
      version.most = uint32_t(notes.get(desc_at, 4));
      version.least = uint32_t(notes.get(desc_at + 4, 4));
      return true;
    }
    at = desc_at + size_t(padded(desc_size));
  }
  return false;
}

}  // namespace

bool elf_find_version_note(const ElfReadAt& read_at, uint64_t file_size, ElfVersion& version) {
  std::vector<unsigned char> header;
  if (!read_range(read_at, file_size, 0, file_size < 64 ? file_size : 64, header) || header.size() < 16)
    return false;
  if (header[0] != 0x7F || header[1] != 'E' || header[2] != 'L' || header[3] != 'F') return false;
  if ((header[4] != 1 && header[4] != 2) || (header[5] != 1 && header[5] != 2)) return false;
  const Layout& layout = header[4] == 2 ? kElf64 : kElf32;
  const bool big = header[5] == 2;
  const Fields fields(header, big);
  if (!fields.has(0, layout.header_size)) return false;

  const uint64_t shoff = fields.word(layout.shoff, layout.wide);
  const uint64_t entry_size = fields.get(layout.shentsize, 2);
  uint64_t count = fields.get(layout.shnum, 2);
  if (shoff == 0 || entry_size < layout.section_size) return false;
  std::vector<unsigned char> sections;
  if (count == 0) {  // more than 0xFF00 sections: the count is section 0's size
    if (!read_range(read_at, file_size, shoff, entry_size, sections)) return false;
    count = Fields(sections, big).word(layout.sh_size, layout.wide);
  }
  if (count == 0 || count > kMostRead / entry_size) return false;
  if (!read_range(read_at, file_size, shoff, count * entry_size, sections)) return false;

  const Fields table(sections, big);
  std::vector<unsigned char> notes;
  for (uint64_t i = 0; i < count; ++i) {
    const size_t at = size_t(i * entry_size);
    if (table.get(at + layout.sh_type, 4) != kSectionNote) continue;
    const uint64_t offset = table.word(at + layout.sh_offset, layout.wide);
    const uint64_t size = table.word(at + layout.sh_size, layout.wide);
    if (!read_range(read_at, file_size, offset, size, notes)) continue;
    if (find_in_notes(notes, big, table.word(at + layout.sh_addralign, layout.wide), version)) return true;
  }
  return false;
}

}  // namespace qk_posix
