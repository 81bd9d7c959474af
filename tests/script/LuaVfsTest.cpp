// Loading scripts by name: loadfile, dofile and require templates reach the virtual file system
// for names that begin with "/" and the disk for any other.
#include <gtest/gtest.h>

#include <string>

#include "TempDir.h"
#include "qk_lua.h"
#include "qkvfs/Manager.h"
#include "qkvfs/qk_vfs.h"

namespace {

// The process's Manager with a folder mounted at /scripts for one test, and a state.
class LuaVfs : public ::testing::Test {
 protected:
  void SetUp() override {
    dir.write("lib.lua", "return ...");
    std::filesystem::create_directories("mods/sub");
    dir.write("mods/sub/Mod.lua", "return { name = 'virtual ' .. (...) }");
    dir.write("mods/broken.lua", "return {");
    dir.write("mods/value.lua", "return 6 * 7, 'two'");
    dir.write("disk.lua", "return 'from disk'");
    ASSERT_NE(qkvfs::manager().mount("mods", "/scripts", false, "lua-test", false), qkvfs::kMountFailed);
    L = qk_lua_newstate("vfs test");
    qk_lua_openlibs(L);
  }
  void TearDown() override {
    qk_lua_close(L);
    qkvfs::manager().unmount_by_tag("lua-test");
  }

  // Runs `code` and answers its results joined by "|", or "error: <message>".
  std::string run(const char* code) {
    const int height = lua_gettop(L);
    if (luaL_loadstring(L, code) != 0 || lua_pcall(L, 0, LUA_MULTRET, 0) != 0) {
      std::string message = "error: " + std::string(lua_tostring(L, -1));
      lua_settop(L, height);
      return message;
    }
    std::string joined;
    for (int i = height + 1; i <= lua_gettop(L); ++i)
      joined += (i > height + 1 ? "|" : "") + std::string(lua_isnil(L, i) ? "nil" : luaL_checkstring(L, i));
    lua_settop(L, height);
    return joined;
  }

  TempDir dir;
  lua_State* L = nullptr;
};

TEST_F(LuaVfs, LoadfileAndDofileTakeVirtualAndRealNames) {
  EXPECT_EQ(run("return loadfile('/SCRIPTS/value.lua')()"), "42|two");
  EXPECT_EQ(run("return dofile('/scripts/value.lua')"), "42|two");
  EXPECT_EQ(run("return dofile('disk.lua')"), "from disk");
  EXPECT_EQ(run("return loadfile('/scripts/none.lua')"), "nil|no file '/scripts/none.lua'");
  EXPECT_EQ(run("return loadfile()"), "nil|no filename given");
  EXPECT_EQ(run("dofile()"), "error: no filename given");
  EXPECT_EQ(run("dofile('/scripts/none.lua')"), "error: no file '/scripts/none.lua'");
  EXPECT_EQ(run("return select(2, loadfile('/scripts/broken.lua'))"),
            "[string \"/scripts/broken.lua\"]:1: unexpected symbol near '<eof>'");
}

TEST_F(LuaVfs, RequireReadsTemplatesThroughTheManager) {
  EXPECT_EQ(run("package.path = '/missing/?.lua;;/scripts/?.lua' return require('sub.Mod').name"),
            "virtual sub.Mod");
  EXPECT_EQ(run("package.path = './?.lua' return require('lib')"), "lib");
  const std::string missing = run("package.path = '/scripts/?.lua;x/?.lua' require('nope')");
  EXPECT_NE(missing.find("module 'nope' not found:"), std::string::npos) << missing;
  EXPECT_NE(missing.find("\n\tno file '/scripts/nope.lua'\n\tno file 'x/nope.lua'"), std::string::npos)
      << missing;
  EXPECT_EQ(run("package.path = '/scripts/?.lua' require('broken')"),
            "error: error loading module 'broken' from file '/scripts/broken.lua':\n\t"
            "[string \"/scripts/broken.lua\"]:1: unexpected symbol near '<eof>'");
  EXPECT_EQ(run("package.path = {} require('other')"), "error: 'package.path' must be a string");
}

}  // namespace
