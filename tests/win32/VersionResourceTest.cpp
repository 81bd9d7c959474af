// The version resource: what qk_embed_version compiles into a program, read back with
// GetFileVersionInfoW, and the text of a file that carries none.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
#include <string>

#include "qk_env.h"

namespace {

std::string version_of(const wchar_t* path, unsigned size = 64) {
  char text[64] = "untouched";
  qk_module_version(reinterpret_cast<const char16_t*>(path), text, size);
  return text;
}

TEST(VersionResource, TheProgramReadsItsOwnVersion) {
  // This test program is built with the version 7.8.9.10.
  EXPECT_STREQ(qk_app_version(), "7.8.9.10");
  wchar_t self[MAX_PATH];
  ASSERT_GT(GetModuleFileNameW(nullptr, self, MAX_PATH), 0u);
  EXPECT_EQ(version_of(self), "7.8.9.10");
  EXPECT_EQ(version_of(self, 5), "7.8.");  // cut to the target and terminated
}

TEST(VersionResource, AFileWithoutOneIsInternal) {
  wchar_t folder[MAX_PATH], name[MAX_PATH];
  ASSERT_GT(GetTempPathW(MAX_PATH, folder), 0u);
  ASSERT_NE(GetTempFileNameW(folder, L"qkv", 0, name), 0u);
  if (FILE* file = _wfopen(name, L"wb")) {
    std::fputs("no resource here", file);
    std::fclose(file);
  }
  EXPECT_EQ(version_of(name), "2.99.0.INTERNAL");
  DeleteFileW(name);
  EXPECT_EQ(version_of(L"C:\\no-such-folder\\missing.dll"), "2.99.0.INTERNAL");
  EXPECT_EQ(version_of(nullptr), "");
  char untouched[4] = "abc";
  qk_module_version(u"C:\\x.dll", untouched, 0);
  EXPECT_STREQ(untouched, "abc");
}

}  // namespace
