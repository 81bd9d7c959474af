// MD5 of RFC 1321: its test suite through qk::Md5, and whole files through qk_vfs_md5sum, whose
// reading in blocks of 4096 bytes must give the digest of every byte whatever the size.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "TempDir.h"
#include "qk/Md5.h"
#include "qkvfs/Manager.h"
#include "qkvfs/qk_vfs.h"

namespace {

std::string digest_of(const std::string& bytes, size_t piece) {
  qk::Md5 md5;
  for (size_t at = 0; at < bytes.size(); at += piece)
    md5.update(bytes.data() + at, std::min(piece, bytes.size() - at));
  char hex[33];
  md5.finish(hex);
  return hex;
}

TEST(Md5, GivesTheDigestsOfRfc1321sTestSuite) {
  const std::pair<std::string, std::string> suite[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& [text, digest] : suite) {
    EXPECT_EQ(digest_of(text, text.size() + 1), digest) << text;
    EXPECT_EQ(digest_of(text, 3), digest) << "in pieces of 3: " << text;
  }
  qk::Md5 reused;  // finish starts the object over
  char hex[33];
  reused.update("abc", 3);
  reused.finish(hex);
  reused.update("a", 1);
  reused.finish(hex);
  EXPECT_STREQ(hex, "0cc175b9c0f1b6a831c399e269772661");
}

TEST(Md5Sum, DigestsWholeFilesOfEverySizeAroundTheBlock) {
  TempDir dir;
  for (const size_t size : {size_t(0), size_t(1), size_t(4095), size_t(4096), size_t(4097), size_t(8192),
                            size_t(12345), size_t(1 << 20) + 7}) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = char(i * 7 + i / 251);
    std::ofstream("f.bin", std::ios::binary) << bytes;
    char hex[33] = "";
    ASSERT_TRUE(qk_vfs_md5sum("f.bin", hex)) << size;
    EXPECT_EQ(hex, digest_of(bytes, 1 << 16)) << size;
  }
  char hex[33] = "untouched";
  EXPECT_FALSE(qk_vfs_md5sum("missing.bin", hex));
  EXPECT_STREQ(hex, "untouched");
}

TEST(Md5Sum, ReadsVirtualPathsThroughTheManager) {
  TempDir dir;
  std::filesystem::create_directories("data/sub");
  std::ofstream("data/sub/x.txt", std::ios::binary) << "message digest";
  ASSERT_NE(qkvfs::manager().mount("data", "/m", false, "md5-test", false), qkvfs::kMountFailed);
  char hex[33] = "";
  EXPECT_TRUE(qk_vfs_md5sum("/m/SUB/x.txt", hex));
  EXPECT_STREQ(hex, "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_FALSE(qk_vfs_md5sum("/m/none.txt", hex));
  qkvfs::manager().unmount_by_tag("md5-test");
}

}  // namespace
