// The Win32 path operations: the system's answers and failure lines, and what only Windows has:
// drive letters, both separators, names that ignore case, sharing modes, hidden and system
// attributes, the 260-unit limit, the recycle bin and the shell's opener.
#include <gtest/gtest.h>
#include <objbase.h>
#include <shobjidl.h>
#include <windows.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "TempDir.h"
#include "platform/qk_fs.h"

namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

// The system's text for `code` without its line break, as LogCapture gives the lines.
std::string words(DWORD code) {
  std::string text = qk_system_error_text(int(code));
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}

std::string utf8_of(qk::wstring_view wide) {
  std::string out;
  for (qk::wchar unit : wide) out += char(unit);  // the tests' paths are ASCII
  return out;
}

std::string full_path(const std::string& path) {
  std::string result = "(none)";
  qk_fs_full_path(path, [&result](qk::wstring_view wide) { result = utf8_of(wide); });
  return result;
}

void set_attributes(const std::string& name, DWORD attributes) {
  ASSERT_TRUE(SetFileAttributesW(fs::path(name).c_str(), attributes)) << name;
}

// A path deeper than 260 units below the test's folder.
std::string too_long() { return std::string(150, 'a') + "\\" + std::string(150, 'b'); }

TEST(Win32ErrorText, IsTheSystemsMessageWithItsLineBreak) {
  const std::string text = qk_system_error_text(ERROR_FILE_NOT_FOUND);
  ASSERT_GT(text.size(), 2u);
  EXPECT_EQ(text.substr(text.size() - 2), "\r\n");
  EXPECT_EQ(qk_system_error_text(0x7FFFFFF0), "? Error");  // no message for it
}

TEST(Win32Delete, OnlyAMissingFileIsQuiet) {
  TempDir dir;
  dir.write("file", "x");
  dir.write("read-only", "x");
  set_attributes("read-only", FILE_ATTRIBUTE_READONLY);
  dir.write("held", "x");
  fs::create_directory("folder");
  const qk_platform_file holder = qk_fs_open("held", QK_FS_READ, QK_FS_OPEN_EXISTING, 0);
  ASSERT_TRUE(holder.valid());
  LogCapture log;
  EXPECT_TRUE(qk_fs_delete("file", false));
  EXPECT_FALSE(fs::exists("file"));
  EXPECT_FALSE(qk_fs_delete("file", false));           // missing: quiet
  EXPECT_FALSE(qk_fs_delete("nowhere\\file", false));  // a missing folder is another answer
  EXPECT_FALSE(qk_fs_delete("read-only", false));
  EXPECT_FALSE(qk_fs_delete("held", false));  // open without sharing the right to delete
  EXPECT_FALSE(qk_fs_delete("folder", false));
  EXPECT_FALSE(qk_fs_delete(too_long(), false));
  qk_platform_close(holder);
  EXPECT_TRUE(fs::exists("read-only"));
  EXPECT_TRUE(fs::exists("held"));
  EXPECT_EQ(log.errors(),
            (Lines{"Failed to delete nowhere\\file: " + words(ERROR_PATH_NOT_FOUND),
                   "Failed to delete read-only: " + words(ERROR_ACCESS_DENIED),
                   "Failed to delete held: " + words(ERROR_SHARING_VIOLATION),
                   "Failed to delete folder: " + words(ERROR_ACCESS_DENIED),
                   "Failed to delete " + too_long() + ": " + words(ERROR_FILENAME_EXCED_RANGE)}));
  set_attributes("read-only", FILE_ATTRIBUTE_NORMAL);
}

TEST(Win32Names, IgnoreCaseAndTakeEitherSeparator) {
  TempDir dir;
  fs::create_directory("Sub");
  dir.write("Sub/File.txt", "12345");
  fs_entry entry;
  ASSERT_TRUE(qk_fs_stat("SUB\\FILE.TXT", &entry));
  EXPECT_EQ(entry.size, 5u);
  ASSERT_TRUE(qk_fs_stat("sub/file.txt", &entry));
  // A move onto another file's name in another case replaces that file.
  dir.write("Sub/other.txt", "678");
  EXPECT_TRUE(qk_fs_move("sub\\OTHER.TXT", "Sub/file.TXT"));
  EXPECT_EQ(TempDir::read("Sub/File.txt"), "678");
  EXPECT_FALSE(fs::exists("Sub/other.txt"));
  EXPECT_TRUE(qk_fs_delete("SUB/file.TXT", false));
  EXPECT_TRUE(qk_fs_rmdir("sub", false));
  EXPECT_FALSE(fs::exists("Sub"));
}

TEST(Win32FullPath, KnowsDriveLettersAndTheLimit) {
  TempDir dir;
  const std::string here = fs::current_path().string();
  EXPECT_EQ(full_path("a/./b/../c/"), here + "\\a\\c\\");
  EXPECT_EQ(full_path("C:\\x\\..\\y//z"), "C:\\y\\z");
  EXPECT_EQ(full_path("c:/"), "c:\\");
  EXPECT_EQ(full_path(here.substr(0, 2) + "rel"), here + "\\rel");  // the drive's working folder
  EXPECT_EQ(full_path(""), "(none)");
  EXPECT_EQ(full_path(too_long()), "(none)");
  EXPECT_EQ(full_path(std::string(240, 'n')), "(none)");  // fits alone, not behind the folder
}

TEST(Win32Folders, MkdirOneLevelRmdirOnlyWhenEmptyAndTheLimit) {
  TempDir dir;
  LogCapture log;
  EXPECT_TRUE(qk_fs_mkdir("d"));
  EXPECT_TRUE(qk_fs_mkdir("D"));  // an existing folder, in any case, is success
  EXPECT_FALSE(qk_fs_mkdir("x\\y"));
  dir.write("d/f", "1");
  EXPECT_FALSE(qk_fs_rmdir("d", true));
  EXPECT_FALSE(qk_fs_rmdir("d", false));
  EXPECT_FALSE(qk_fs_rmdir("gone", true));
  fs::remove("d/f");
  EXPECT_TRUE(qk_fs_rmdir("d", false));
  EXPECT_FALSE(qk_fs_mkdir(std::string(250, 'm')));  // the full path passes 260 units
  EXPECT_EQ(log.errors(),
            (Lines{"Failed to mkdir x\\y: " + words(ERROR_PATH_NOT_FOUND),
                   "Failed to rmdir d: " + words(ERROR_DIR_NOT_EMPTY),
                   "Failed to rmdir gone: " + words(ERROR_FILE_NOT_FOUND),
                   "Failed to mkdir " + std::string(250, 'm') + ": " + words(ERROR_FILENAME_EXCED_RANGE)}));
}

TEST(Win32Stat, GivesSizeKindAndTimeAndIsQuietWhenMissing) {
  TempDir dir;
  dir.write("f", "12345");
  fs::create_directory("d");
  const int64_t when = 1700000000;  // 2023-11-14, far from any daylight-saving change
  ULARGE_INTEGER ticks;
  ticks.QuadPart = uint64_t(when + 11644473600LL) * 10000000ULL;  // 100 ns since 1601
  const FILETIME written{ticks.LowPart, ticks.HighPart};
  const HANDLE handle = CreateFileW(L"f", FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(handle, INVALID_HANDLE_VALUE);
  ASSERT_TRUE(SetFileTime(handle, nullptr, nullptr, &written));
  CloseHandle(handle);
  LogCapture log;
  fs_entry entry;
  ASSERT_TRUE(qk_fs_stat("f", &entry));
  EXPECT_EQ(entry.size, 5u);
  EXPECT_EQ(entry.kind, 1u);
  EXPECT_EQ(entry.modification_time, time_t(when));
  ASSERT_TRUE(qk_fs_stat("d", &entry));
  EXPECT_EQ(entry.size, 0u);
  EXPECT_EQ(entry.kind, 2u);
  EXPECT_FALSE(qk_fs_stat("missing", &entry));
  EXPECT_FALSE(qk_fs_stat(too_long(), &entry));
  EXPECT_FALSE(qk_fs_stat(std::string("f\0g", 3), &entry));  // never the file "f"
  EXPECT_TRUE(log.errors().empty());
}

struct Listed {
  std::string folder;
  std::map<std::string, fs_entry> entries;
};

void collect(void* user, std::string_view folder, std::string_view name, const fs_entry& entry) {
  auto* listed = static_cast<Listed*>(user);
  listed->folder = folder;
  listed->entries[std::string(name)] = entry;
}

TEST(Win32List, SkipsDotNamesHiddenAndSystemEntries) {
  TempDir dir;
  fs::create_directory("d");
  dir.write("d/.hidden", "x");
  Listed listed;
  EXPECT_EQ(qk_fs_list("d", collect, &listed), 0);

  dir.write("d/file", "abc");
  dir.write("d/attribute-hidden", "x");
  set_attributes("d/attribute-hidden", FILE_ATTRIBUTE_HIDDEN);
  dir.write("d/system", "x");
  set_attributes("d/system", FILE_ATTRIBUTE_SYSTEM);
  fs::create_directory("d/sub");
  EXPECT_EQ(qk_fs_list("d\\", collect, &listed), 2);
  EXPECT_EQ(listed.folder, "d\\");  // the folder as given
  ASSERT_EQ(listed.entries.size(), 2u);
  EXPECT_EQ(listed.entries["file"].size, 3u);
  EXPECT_EQ(listed.entries["file"].kind, 1u);
  EXPECT_EQ(listed.entries["sub"].kind, 2u);

  Listed here;
  EXPECT_EQ(qk_fs_list("", collect, &here), 1);  // the working directory: "d"
  EXPECT_EQ(qk_fs_list("missing", collect, &here), -1);
  EXPECT_EQ(qk_fs_list(too_long(), collect, &here), -1);
}

TEST(Win32Drives, ReportsEachLetterAsARoot) {
  std::vector<std::string> roots;
  qk_fs_drives([&roots](qk::wstring_view root, qk::wstring_view) { roots.push_back(utf8_of(root)); });
  ASSERT_FALSE(roots.empty());
  for (size_t i = 0; i < roots.size(); ++i) {
    ASSERT_EQ(roots[i].size(), 3u);
    EXPECT_EQ(roots[i].substr(1), ":\\");
    if (i > 0) {
      EXPECT_LT(roots[i - 1], roots[i]);  // from A upwards
    }
  }
  const std::string system_drive = fs::current_path().root_name().string() + "\\";
  EXPECT_NE(std::find(roots.begin(), roots.end(), system_drive), roots.end());
}

TEST(Win32Sharing, AFileOpenForWritingCanOnlyBeReadByNoOne) {
  TempDir dir;
  dir.write("shared", "abc");
  qk_platform_error error = 0;
  const qk_platform_file reader = qk_fs_open("shared", QK_FS_READ, QK_FS_OPEN_EXISTING, 0, &error);
  ASSERT_TRUE(reader.valid());
  const qk_platform_file second = qk_fs_open("SHARED", QK_FS_READ, QK_FS_OPEN_EXISTING, 0, &error);
  EXPECT_TRUE(second.valid());  // readers share
  EXPECT_FALSE(qk_fs_open("shared", QK_FS_WRITE, QK_FS_OPEN_EXISTING, 0, &error).valid());
  EXPECT_EQ(error, ERROR_SHARING_VIOLATION);
  qk_platform_close(reader);
  qk_platform_close(second);

  const qk_platform_file writer = qk_fs_open("shared", QK_FS_WRITE, QK_FS_OPEN_ALWAYS, 0, &error);
  ASSERT_TRUE(writer.valid());
  EXPECT_FALSE(qk_fs_open("shared", QK_FS_READ, QK_FS_OPEN_EXISTING, 0, &error).valid());
  EXPECT_EQ(error, ERROR_SHARING_VIOLATION);
  {
    LogCapture log;
    EXPECT_FALSE(qk_fs_move("shared", "moved"));
    EXPECT_EQ(log.errors(), Lines{"Failed to move shared to moved: " + words(ERROR_SHARING_VIOLATION)});
  }
  qk_platform_close(writer);

  fs::create_directory("folder");
  EXPECT_FALSE(qk_fs_open("folder", QK_FS_READ, QK_FS_OPEN_EXISTING, 0, &error).valid());
  EXPECT_EQ(error, ERROR_ACCESS_DENIED);
}

TEST(Win32CreateTemp, IsAnUnsharedFileRemovedAtClose) {
  TempDir dir;
  qk_platform_file first, second;
  EXPECT_EQ(qk_fs_create_temp("lock", &first), 0);
  ASSERT_TRUE(first.valid());
  EXPECT_TRUE(fs::exists("lock"));
  EXPECT_EQ(qk_fs_create_temp("LOCK", &second), int(ERROR_SHARING_VIOLATION));
  EXPECT_FALSE(second.valid());
  qk_fs_close_temp(first);
  EXPECT_FALSE(fs::exists("lock"));

  dir.write("leftover", "old");  // a file nobody holds is taken over, and still reported
  EXPECT_EQ(qk_fs_create_temp("leftover", &second), int(ERROR_ALREADY_EXISTS));
  ASSERT_TRUE(second.valid());
  EXPECT_EQ(fs::file_size("leftover"), 0u);
  qk_fs_close_temp(second);
  EXPECT_FALSE(fs::exists("leftover"));

  EXPECT_EQ(qk_fs_create_temp("no\\folder", &second), int(ERROR_PATH_NOT_FOUND));
  EXPECT_EQ(qk_fs_create_temp(too_long().c_str(), &second), -1);
  EXPECT_FALSE(second.valid());
}

TEST(Win32ShellOpen, AMissingFileIsTheShellsFileNotFound) {
  TempDir dir;
  EXPECT_EQ(qk_shell_open("missing.txt"), 2);  // SE_ERR_FNF
}

// Whether this system's shell carries out file operations; Wine's answers "not implemented".
bool shell_file_operations_work() {
  IFileOperation* operation = nullptr;
  if (FAILED(CoCreateInstance(CLSID_FileOperation, nullptr, CLSCTX_ALL, IID_IFileOperation,
                              reinterpret_cast<void**>(&operation))))
    return false;
  const bool works = operation->SetOperationFlags(FOF_SILENT) != E_NOTIMPL;
  operation->Release();
  return works;
}

TEST(Win32RecycleBin, TheFileGoesOrTheFailureIsLoggedAndTheFileKept) {
  TempDir dir;
  ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
  dir.write("binned", "x");
  const bool works = shell_file_operations_work();
  LogCapture log;
  const bool deleted = qk_fs_delete("binned", true);
  const Lines lines = log.errors();
  CoUninitialize();
  if (!works) {
    EXPECT_FALSE(deleted);
    EXPECT_TRUE(fs::exists("binned"));  // never deleted for good in its place
    EXPECT_EQ(lines, Lines{"Failed to delete binned: " + words(DWORD(E_NOTIMPL))});
    GTEST_SKIP() << "the shell's file operation object is a stub here (Wine): the recycle bin is untried";
  }
  EXPECT_TRUE(deleted);
  EXPECT_FALSE(fs::exists("binned"));
  EXPECT_TRUE(lines.empty());
}

}  // namespace
