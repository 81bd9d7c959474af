// The version note of an ELF file: how a program built here carries its version, in place of a
// version resource.
//
// The note has the owner "QK" and the type 1, and its description is two 32-bit words in the
// file's byte order: the high and the low halves of the version (major << 16 | minor, then
// patch << 16 | build), as a version resource's fixed information holds them. The reader looks
// through every section of type SHT_NOTE for it.
//
// The file is outside input: it reads ELF64 and ELF32 of either byte order, checks every offset
// and size against the file before it reads, reads no more than 1 MiB of section headers and of
// each note section, and answers false for anything that doesn't hold together. It never throws
// and never reads out of bounds. Reentrant; it keeps no state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace qk_posix {

// Reads up to `size` bytes at `offset` into `data`; answers how many came (fewer at the end).
using ElfReadAt = std::function<size_t(uint64_t offset, void* data, size_t size)>;

struct ElfVersion {
  uint32_t most = 0;   // major << 16 | minor
  uint32_t least = 0;  // patch << 16 | build
};

// True when the file of `file_size` bytes behind `read_at` holds the version note; `version`
// then has its words.
bool elf_find_version_note(const ElfReadAt& read_at, uint64_t file_size, ElfVersion& version);

}  // namespace qk_posix
