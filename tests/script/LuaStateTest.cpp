// Life of a state: names, libraries, loading files, running, panicking.
#include <string>

#include <gtest/gtest.h>

#include "TempDir.h"
#include "qk_lua.h"

namespace {

// A state with the system's libraries, closed at the end of the test.
struct State {
  lua_State* L = qk_lua_newstate("test");
  State() { qk_lua_openlibs(L); }
  ~State() { qk_lua_close(L); }
  std::string top() const { return lua_tostring(L, -1) ? lua_tostring(L, -1) : "<not text>"; }
};

std::string registryId(lua_State* L) {
  lua_getfield(L, LUA_REGISTRYINDEX, "QK.id");
  std::string id = lua_tostring(L, -1);
  lua_pop(L, 1);
  return id;
}

TEST(LuaState, KeepsTheWholeNameInTheRegistry) {
  const std::string name(200, 'n');
  lua_State* L = qk_lua_newstate(name.c_str());
  EXPECT_EQ(registryId(L), name);
  EXPECT_EQ(lua_gettop(L), 0);
  qk_lua_close(L);
}

TEST(LuaState, OpensTheNineLibrariesWithAnUnrestrictedDebug) {
  State s;
  for (const char* lib : {"_G", "package", "table", "io", "os", "string", "math", "debug", "log"}) {
    lua_getglobal(s.L, lib);
    EXPECT_TRUE(lua_istable(s.L, -1)) << lib;
    lua_pop(s.L, 1);
  }
  ASSERT_EQ(luaL_dostring(s.L, "return type(debug.getinfo), type(debug.sethook), type(require)"), 0);
  EXPECT_STREQ(lua_tostring(s.L, -3), "function");
  EXPECT_STREQ(lua_tostring(s.L, -2), "function");
  EXPECT_STREQ(lua_tostring(s.L, -1), "function");
}

TEST(LuaLoadFile, RefusesAMissingName) {
  State s;
  EXPECT_EQ(qk_lua_loadfile(s.L, nullptr), LUA_ERRFILE);
  EXPECT_EQ(s.top(), "no filename given");
}

TEST(LuaLoadFile, ReportsAMissingFile) {
  TempDir dir;
  State s;
  EXPECT_EQ(qk_lua_loadfile(s.L, "absent.lua"), LUA_ERRFILE);
  EXPECT_EQ(s.top(), "no file 'absent.lua'");
  EXPECT_EQ(lua_gettop(s.L), 1);
}

TEST(LuaLoadFile, VirtualPathsDoNotReachTheRealFileSystem) {
  State s;
  // /etc/hostname exists on the disk, but a leading "/" names the virtual file system.
  EXPECT_EQ(qk_lua_loadfile(s.L, "/etc/hostname"), LUA_ERRFILE);
  EXPECT_EQ(s.top(), "no file '/etc/hostname'");
}

TEST(LuaLoadFile, CompilesAnEmptyFile) {
  TempDir dir;
  State s;
  ASSERT_EQ(qk_lua_loadfile(s.L, dir.write("empty.lua", "").c_str()), 0);
  EXPECT_TRUE(lua_isfunction(s.L, -1));
  EXPECT_EQ(qk_lua_pcall(s.L, 0, 0, 0), 0);
}

TEST(LuaLoadFile, NamesTheChunkByItsPathAsAString) {
  TempDir dir;
  State s;
  ASSERT_EQ(qk_lua_loadfile(s.L, dir.write("bad.lua", "x = = 1").c_str()), LUA_ERRSYNTAX);
  EXPECT_EQ(s.top(), "[string \"bad.lua\"]:1: unexpected symbol near '='");
}

TEST(LuaPcall, ReturnsLuasResultUnchanged) {
  TempDir dir;
  State s;
  ASSERT_EQ(qk_lua_loadfile(s.L, dir.write("fail.lua", "error('boom', 0)").c_str()), 0);
  EXPECT_EQ(qk_lua_pcall(s.L, 0, 0, 0), LUA_ERRRUN);
  EXPECT_EQ(s.top(), "boom");

  ASSERT_EQ(qk_lua_loadfile(s.L, dir.write("ok.lua", "return 1, 2").c_str()), 0);
  EXPECT_EQ(qk_lua_pcall(s.L, 0, LUA_MULTRET, 0), 0);
  EXPECT_EQ(lua_tonumber(s.L, -1), 2);
}

using LuaPanicDeathTest = ::testing::Test;

TEST(LuaPanicDeathTest, LogsTheFirstStackValueAndStops) {
  EXPECT_DEATH(
      {
        lua_State* L = qk_lua_newstate("panic");
        lua_pushstring(L, "not the message");
        lua_pushstring(L, "boom");
        lua_error(L);
      },
      "ALERT   LUA \\(.*\\): Lua panic: boom");
}

}  // namespace
