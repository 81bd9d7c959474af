// Small ELF files made in memory for the tests of the version note: a header of either class and
// byte order, a null section, one section of a chosen type holding the given bytes, and the
// section table behind it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct ElfImage {
  bool wide = true;           // ELF64, else ELF32
  bool big_endian = false;    // byte order of every field
  uint32_t section_type = 7;  // SHT_NOTE
  std::vector<unsigned char> bytes;

  void put(size_t at, uint64_t value, size_t size) {
    if (bytes.size() < at + size) bytes.resize(at + size);
    for (size_t i = 0; i < size; ++i)
      bytes[at + i] = static_cast<unsigned char>(value >> (8 * (big_endian ? size - 1 - i : i)));
  }

  // One note: owner, type and description words, each padded to 4 bytes.
  std::vector<unsigned char> note(const std::string& owner, uint32_t type,
                                  std::vector<uint32_t> words) const {
    ElfImage n{wide, big_endian, section_type, {}};
    const size_t name_size = owner.size() + 1, padded = (name_size + 3) / 4 * 4;
    n.put(0, name_size, 4);
    n.put(4, words.size() * 4, 4);
    n.put(8, type, 4);
    n.bytes.resize(12 + padded);
    for (size_t i = 0; i < owner.size(); ++i) n.bytes[12 + i] = static_cast<unsigned char>(owner[i]);
    for (size_t i = 0; i < words.size(); ++i) n.put(12 + padded + 4 * i, words[i], 4);
    return n.bytes;
  }

  // The whole file with `content` as the one section's bytes.
  std::vector<unsigned char> file(const std::vector<unsigned char>& content) {
    bytes.assign(wide ? 64 : 52, 0);
    const unsigned char ident[] = {0x7F,
                                   'E',
                                   'L',
                                   'F',
                                   static_cast<unsigned char>(wide ? 2 : 1),
                                   static_cast<unsigned char>(big_endian ? 2 : 1),
                                   1};
    for (size_t i = 0; i < sizeof ident; ++i) bytes[i] = ident[i];
    const size_t content_at = bytes.size();
    bytes.insert(bytes.end(), content.begin(), content.end());
    const size_t table = (bytes.size() + 7) / 8 * 8, entry = wide ? 64 : 40;
    put(wide ? 0x28 : 0x20, table, wide ? 8 : 4);
    put(wide ? 0x3A : 0x2E, entry, 2);
    put(wide ? 0x3C : 0x30, 2, 2);
    put(table + 2 * entry - 1, 0, 1);  // the null section and ours
    const size_t ours = table + entry;
    put(ours + 4, section_type, 4);
    put(ours + (wide ? 24 : 16), content_at, wide ? 8 : 4);
    put(ours + (wide ? 32 : 20), content.size(), wide ? 8 : 4);
    put(ours + (wide ? 48 : 32), 4, wide ? 8 : 4);
    return bytes;
  }
};
