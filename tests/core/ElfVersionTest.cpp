// The version of a program on POSIX: the version note that a program built here carries in place
// of a version resource.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "ElfImage.h"
#include "TempDir.h"
#include "platform/posix/ElfVersionNote.h"
#include "qk_env.h"

namespace {

void write_file(const char* name, const std::vector<unsigned char>& bytes) {
  std::ofstream(name, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::string version_of(const char16_t* path, unsigned size = 64) {
  char text[64] = "untouched";
  qk_module_version(path, text, size);
  return text;
}

TEST(ModuleVersion, ReadsTheNoteOfEitherClassAndByteOrder) {
  TempDir dir;
  for (const bool wide : {true, false}) {
    for (const bool big : {false, true}) {
      ElfImage image{wide, big, 7, {}};
      // Another owner's note first: only "QK" with type 1 counts.
      std::vector<unsigned char> notes = image.note("GNU", 1, {9, 9});
      const std::vector<unsigned char> ours = image.note("QK", 1, {1u << 16 | 2, 3u << 16 | 4});
      notes.insert(notes.end(), ours.begin(), ours.end());
      write_file("app.elf", image.file(notes));
      EXPECT_EQ(version_of(u"app.elf"), "1.2.3.4") << wide << big;
    }
  }
  EXPECT_EQ(version_of(u"app.elf", 5), "1.2.");
}

TEST(ModuleVersion, AFileWithoutTheNoteIsInternal) {
  TempDir dir;
  ElfImage image;
  write_file("other-owner.elf", image.file(image.note("QKX", 1, {1, 2})));
  write_file("other-type.elf", image.file(image.note("QK", 2, {1, 2})));
  write_file("short-desc.elf", image.file(image.note("QK", 1, {1})));
  image.section_type = 1;  // the note's bytes in a section that isn't a note section
  write_file("progbits.elf", image.file(image.note("QK", 1, {1, 2})));
  write_file("text.txt", {'h', 'i'});
  for (const char16_t* name : {u"other-owner.elf", u"other-type.elf", u"short-desc.elf", u"progbits.elf",
                               u"text.txt", u"missing", u"."})
    EXPECT_EQ(version_of(name), "2.99.0.INTERNAL");
  // The test program itself is built without a version.
  EXPECT_STREQ(qk_app_version(), "2.99.0.INTERNAL");
  EXPECT_EQ(version_of(nullptr), "");
  char untouched[4] = "abc";
  qk_module_version(u"app.elf", untouched, 0);
  qk_module_version(u"app.elf", nullptr, 8);
  EXPECT_STREQ(untouched, "abc");
}

// Every prefix of a good file: the reader never asks for a byte beyond it, and finds the note only
// in the whole file. (The fuzz target elf_version_note tries broken bytes.)
TEST(ElfVersionNote, CutFilesAreReadInBounds) {
  ElfImage image;
  const std::vector<unsigned char> whole = image.file(image.note("QK", 1, {5, 6}));
  auto find = [](const std::vector<unsigned char>& bytes, qk_posix::ElfVersion& version) {
    return qk_posix::elf_find_version_note(
        [&bytes](uint64_t offset, void* data, size_t size) {
          EXPECT_LE(offset + size, bytes.size());
          const size_t n = offset >= bytes.size() ? 0 : std::min(size, size_t(bytes.size() - offset));
          std::copy_n(bytes.data() + offset, n, static_cast<unsigned char*>(data));
          return n;
        },
        bytes.size(), version);
  };
  qk_posix::ElfVersion version;
  ASSERT_TRUE(find(whole, version));
  EXPECT_EQ(version.most, 5u);
  EXPECT_EQ(version.least, 6u);
  for (size_t size = 0; size < whole.size(); ++size)
    EXPECT_FALSE(find(std::vector<unsigned char>(whole.begin(), whole.begin() + long(size)), version))
        << size;
}

}  // namespace
