// The version note reader over any bytes taken as a program file: it never asks for a byte beyond
// the file, reads no range larger than 1 MiB, and answers the same for the same bytes. When it
// finds the note, the bytes it answers stand in the file as a note "QK" of type 1.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/posix/ElfVersionNote.h"

namespace {

bool find(const uint8_t* data, size_t size, qk_posix::ElfVersion& version) {
  return qk_posix::elf_find_version_note(
      [data, size](uint64_t offset, void* target, size_t count) {
        if (offset > size || count > size - offset || count > (size_t(1) << 20)) std::abort();
        std::memcpy(target, data + offset, count);
        return count;
      },
      size, version);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  qk_posix::ElfVersion first, second;
  const bool found = find(data, size, first);
  if (find(data, size, second) != found) std::abort();
  if (!found) return 0;
  if (first.most != second.most || first.least != second.least) std::abort();
  // The owner's text "QK" and a terminator lie somewhere in the file.
  const uint8_t owner[] = {'Q', 'K', 0};
  if (std::search(data, data + size, owner, owner + 3) == data + size) std::abort();
  return 0;
}
