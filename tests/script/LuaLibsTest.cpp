// The C++ side of the script host's own libraries: the sandbox's level and path tests and its
// report, the loader's own sandbox rule, print through the log's console mask, and the built-in
// module table's place among the searchers.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "ScriptDirectories.h"
#include "TempDir.h"
#include "qk_locations.h"
#include "qk_log.h"
#include "qk_lua.h"
#include "qk_lua_package.h"
#include "qk_lua_sandbox.h"

namespace {

struct State {
  lua_State* L = qk_lua_newstate("libs test");
  State() { qk_lua_openlibs(L); }
  ~State() { qk_lua_close(L); }
  // Runs `code`; its first result as text, or "error: <message>".
  std::string run(const char* code) {
    const int height = lua_gettop(L);
    std::string result;
    if (luaL_loadstring(L, code) != 0 || lua_pcall(L, 0, 1, 0) != 0)
      result = "error: " + std::string(lua_tostring(L, -1));
    else
      result = lua_isnil(L, -1) ? "nil" : luaL_checkstring(L, -1);
    lua_settop(L, height);
    return result;
  }
};

void put(const char* name, const char* text) { std::ofstream(name) << text; }

TEST(Sandbox, ReadableAndWritableFollowTheThreeDirectoriesByPrefixWithoutCase) {
  TempDir dir;
  ScriptDirectories dirs("C:/Game", "w/", "t/");
  State s;
  EXPECT_TRUE(qk_lua_path_readable(s.L, "c:/GAME/x"));
  EXPECT_TRUE(qk_lua_path_readable(s.L, "C:/Game2/x"));  // no separator needed at the match's end
  EXPECT_FALSE(qk_lua_path_writable(s.L, "C:/Game/x"));
  EXPECT_TRUE(qk_lua_path_readable(s.L, "w/x"));
  EXPECT_TRUE(qk_lua_path_writable(s.L, "w/sub/../x"));
  EXPECT_TRUE(qk_lua_path_writable(s.L, "T/x"));
  EXPECT_FALSE(qk_lua_path_writable(s.L, "w/../x"));
  EXPECT_FALSE(qk_lua_path_readable(s.L, "other/x"));
}

TEST(Sandbox, AViolationAnswersNilAndTheTextAndLogsItUnderTheStateId) {
  State s;
  testing::internal::CaptureStderr();
  EXPECT_EQ(qk_lua_sandbox_violation(s.L, "io.open", "a.txt"), 2);
  EXPECT_EQ(qk_lua_sandbox_violation(s.L, "lfs.tempdir", nullptr), 2);
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(lua_isnil(s.L, -2));
  EXPECT_STREQ(lua_tostring(s.L, -1), "lfs.tempdir(): sandbox violation");
  EXPECT_STREQ(lua_tostring(s.L, -4), "io.open(a.txt): sandbox violation");
  EXPECT_NE(log.find(" ERROR   LUA ("), std::string::npos) << log;
  EXPECT_NE(log.find("): libs test -> io.open(a.txt): sandbox violation\n"), std::string::npos) << log;
}

TEST(Sandbox, LoadingHasItsOwnRuleAndNoLogLine) {
  TempDir dir;
  std::filesystem::create_directories("c");
  put("c/in.lua", "return 'in'");
  put("out.lua", "return 'out'");
  ScriptDirectories dirs("c/", "w/", "t/");
  State s;
  testing::internal::CaptureStderr();
  qk_lua_set_sandbox_level(s.L, 1);
  EXPECT_EQ(s.run("return select(2, loadfile('out.lua'))"), "can't open 'out.lua': sandbox violation");
  EXPECT_EQ(s.run("return dofile('c/in.lua')"), "in");
  qk_lua_set_sandbox_level(s.L, 3);
  EXPECT_EQ(s.run("return dofile('out.lua')"), "out");
  qk_lua_set_sandbox_level(s.L, 4);
  EXPECT_EQ(s.run("return dofile('out.lua')"), "out");
  EXPECT_EQ(s.run("return select(2, io.open('out.lua'))"), "io.open(out.lua): sandbox violation");
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_EQ(log.find("loadfile"), std::string::npos) << log;
  EXPECT_EQ(log.find("out.lua): sandbox"), log.rfind("out.lua): sandbox")) << "one ERROR line, io.open's";
}

TEST(Print, LinesCarryReliableAndPassAConsoleMaskThatHidesDebug) {
  State s;
  qk_log_set_stderr_levels((0xFFFFu & ~unsigned(qk::log::DEBUG)) | qk::log::RELIABLE);
  testing::internal::CaptureStderr();
  s.run("print('shown', 2)");
  qk_log("LUA", qk::log::DEBUG, "hidden");
  const std::string log = testing::internal::GetCapturedStderr();
  qk_log_set_stderr_levels(0xFFFFu);
  EXPECT_NE(log.find(" DEBUG   libs test ("), std::string::npos) << log;
  EXPECT_NE(log.find("): shown\t2\n"), std::string::npos) << log;
  EXPECT_EQ(log.find("hidden"), std::string::npos) << log;
}

int builtin_module(lua_State* L) {
  lua_pushstring(L, "built in");
  return 1;
}

TEST(Package, TheBuiltinTableIsSearchedBeforeTheCLoaders) {
  TempDir dir;
  put("qk_test_module.so", "not a library");  // the C loader would fail on it
  State s;
  s.run("package.cpath = './?.so'");
  qk_lua_register_builtin("qk_test_module", builtin_module);
  EXPECT_EQ(s.run("return require('qk_test_module')"), "built in");
  qk_lua_register_builtin("qk_test_module", nullptr);
  State fresh;
  fresh.run("package.cpath = './?.so'");
  EXPECT_NE(fresh.run("return require('qk_test_module')").find("error loading module 'qk_test_module'"),
            std::string::npos);
}

}  // namespace
