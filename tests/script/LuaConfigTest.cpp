// Lua::Config: the stack guard and the reading of tables by dotted paths.
#include <cmath>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "LuaConfig.h"
#include "qk_lua.h"

namespace {

class LuaConfigTest : public ::testing::Test {
 protected:
  LuaConfigTest() : L(qk_lua_newstate("config test")) { qk_lua_openlibs(L); }
  ~LuaConfigTest() override { qk_lua_close(L); }

  // Runs `code` and leaves its one result on the stack.
  void push(const char* code) {
    ASSERT_EQ(luaL_loadstring(L, code), 0) << code;
    ASSERT_EQ(lua_pcall(L, 0, 1, 0), 0) << lua_tostring(L, -1);
  }

  // The value at `path` of the table `code` returns, through a fresh Config.
  std::string fieldAsText(const char* code, const char* path) {
    push(code);
    Lua::Config config(L, -1);
    const int before = lua_gettop(L);
    config.pushField(path);
    EXPECT_EQ(lua_gettop(L), before + 1) << path;
    return lua_isstring(L, -1) ? lua_tostring(L, -1) : luaL_typename(L, -1);
  }

  lua_State* L;
};

TEST_F(LuaConfigTest, PushFieldWalksDottedPaths) {
  const char* t = "return { a = { b = { c = 'abc' } }, x = 1, ['a.b'] = 'flat' }";
  EXPECT_EQ(fieldAsText(t, "a.b.c"), "abc");
  EXPECT_EQ(fieldAsText(t, "x"), "1");
  EXPECT_EQ(fieldAsText(t, "a.missing.c"), "nil");
  EXPECT_EQ(fieldAsText(t, "missing"), "nil");
  EXPECT_EQ(fieldAsText(t, "a.b"), "table");  // the dotted key "a.b" can't be reached
}

TEST_F(LuaConfigTest, EmptySegmentsAreLegalKeys) {
  EXPECT_EQ(fieldAsText("return { a = { [''] = { b = 'deep' } } }", "a..b"), "deep");
  EXPECT_EQ(fieldAsText("return {}", "."), "nil");
  EXPECT_EQ(fieldAsText("return { [''] = { [''] = 'e' } }", "."), "e");
}

TEST_F(LuaConfigTest, AStepOntoANonTableIsCheckedOnlyWhenAnotherSegmentFollows) {
  // "a.b.c" with a = 1: the segment "b" finds no table under it, and the answer is nil.
  EXPECT_EQ(fieldAsText("return { a = 1 }", "a.b.c"), "nil");

  // "a.b" with a = 1 resolves, and the final look-up raises Lua's own error.
  push("return { a = 1 }");
  lua_pushcfunction(L, [](lua_State* S) {
    Lua::Config config(S, 1);
    config.pushField("a.b");
    return 0;
  });
  lua_insert(L, -2);
  ASSERT_EQ(lua_pcall(L, 1, 0, 0), LUA_ERRRUN);
  EXPECT_STREQ(lua_tostring(L, -1), "attempt to index a number value");
}

TEST_F(LuaConfigTest, PushFieldOnANonTableGivesNil) {
  lua_pushnumber(L, 5);
  Lua::Config config(L, -1);
  config.pushField("a");
  EXPECT_TRUE(lua_isnil(L, -1));
  config.pushIndex(1);
  EXPECT_TRUE(lua_isnil(L, -1));
}

TEST_F(LuaConfigTest, MetamethodsAreHonoured) {
  push("local base = { a = { b = 'inherited' }, 'first' }\n"
       "return setmetatable({}, { __index = base })");
  Lua::Config config(L, -1);
  config.pushField("a.b");
  EXPECT_STREQ(lua_tostring(L, -1), "inherited");
  lua_pop(L, 1);
  config.pushIndex(1);
  EXPECT_STREQ(lua_tostring(L, -1), "first");
}

// The same look-ups as the dotted path, with the segments' strings already on the stack.
TEST_F(LuaConfigTest, PushFieldOfWalksLikeTheDottedPath) {
  const char* code = "return { a = { b = 'ab', s = 'text' }, n = 5, s = 'x' }";
  const char* paths[][2] = {{"a", "b"}, {"a", "nope"}, {"nope", "b"}, {"s", "len"}, {"a", "s"}};
  for (const auto& path : paths) {
    const std::string dotted = fieldAsText(code, (std::string(path[0]) + "." + path[1]).c_str());
    lua_settop(L, 0);
    lua_pushstring(L, path[0]);
    lua_pushstring(L, path[1]);
    push(code);
    {
      Lua::Config config(L, -1);
      const int before = lua_gettop(L);
      config.pushFieldOf({1, 2});
      EXPECT_EQ(lua_gettop(L), before + 1);
      EXPECT_EQ(lua_isstring(L, -1) ? lua_tostring(L, -1) : luaL_typename(L, -1), dotted) << path[0];
    }
    lua_settop(L, 0);
  }
  lua_pushstring(L, "a");
  push(code);
  Lua::Config config(L, -1);
  EXPECT_TRUE(config.pushTableOf({1}));
  EXPECT_FALSE(config.pushTableOf({1}));  // a.a is nil: nothing is left on the stack
  EXPECT_EQ(lua_gettop(L), 4);            // the key, the table, the guard's copy, a
}

TEST_F(LuaConfigTest, PushTableKeepsOnlyTables) {
  push("return { t = {}, n = 1 }");
  Lua::Config config(L, -1);
  const int before = lua_gettop(L);
  EXPECT_FALSE(config.pushTable("n"));
  EXPECT_FALSE(config.pushTable("missing.deeper"));
  EXPECT_EQ(lua_gettop(L), before);
  EXPECT_TRUE(config.pushTable("t"));
  EXPECT_EQ(lua_gettop(L), before + 1);
}

TEST_F(LuaConfigTest, PopIntCutsTowardZeroAndKeepsTheLow32Bits) {
  Lua::Config config(L, LUA_GLOBALSINDEX);
  uint32_t out = 0;
  const auto popInt = [&](double value) {
    lua_pushnumber(L, value);
    EXPECT_TRUE(config.popInt(out)) << value;
    return out;
  };
  EXPECT_EQ(popInt(3.9), 3u);
  EXPECT_EQ(int32_t(popInt(-3.9)), -3);
  EXPECT_EQ(popInt(4294967297.0), 1u);          // 2^32 + 1
  EXPECT_EQ(popInt(1e300), 0u);                 // no 64-bit integer: the indefinite value
  EXPECT_EQ(popInt(std::nan("")), 0u);
  lua_pushstring(L, "12");
  EXPECT_TRUE(config.popInt(out));
  EXPECT_EQ(out, 12u);
}

TEST_F(LuaConfigTest, PopsLeaveTheTargetAloneOnTheWrongType) {
  Lua::Config config(L, LUA_GLOBALSINDEX);
  const int before = lua_gettop(L);
  uint32_t number = 7;
  std::string text = "kept";
  bool flag = true;
  lua_pushnil(L);
  EXPECT_FALSE(config.popInt(number));
  lua_newtable(L);
  EXPECT_FALSE(config.popString(text));
  lua_pushnil(L);
  EXPECT_FALSE(config.popBool(flag));
  lua_pushstring(L, "x");
  EXPECT_FALSE(config.popInt(number));
  EXPECT_EQ(number, 7u);
  EXPECT_EQ(text, "kept");
  EXPECT_TRUE(flag);
  EXPECT_EQ(lua_gettop(L), before);  // popped whatever the type
}

TEST_F(LuaConfigTest, PopStringTakesNumbersInLuasFormAndStopsAtAZero) {
  Lua::Config config(L, LUA_GLOBALSINDEX);
  std::string text;
  lua_pushnumber(L, 1.5);
  EXPECT_TRUE(config.popString(text));
  EXPECT_EQ(text, "1.5");
  lua_pushnumber(L, 1e20);
  EXPECT_TRUE(config.popString(text));
  EXPECT_EQ(text, "1e+20");
  lua_pushlstring(L, "a\0b", 3);
  EXPECT_TRUE(config.popString(text));
  EXPECT_EQ(text, "a");
  // Numbers are written by popString itself, not by Lua: every one must read as Lua writes it, and
  // none may leave a string behind in the state.
  const double numbers[] = {0.0,       -0.0, 1.0, -7.0, 99999999999999.0, -99999999999999.0,  1e14,
                            -1e14,     1e15, 2.5, -0.5, 4294967296.0,     9007199254740993.0, HUGE_VAL,
                            -HUGE_VAL, NAN,  0.1, 1.0 / 3, -1.5e-300, 123456.78901234567, 5e-324};
  for (const double number : numbers) {
    lua_pushnumber(L, number);
    const int kilobytes = lua_gc(L, LUA_GCCOUNT, 0), bytes = lua_gc(L, LUA_GCCOUNTB, 0);
    EXPECT_TRUE(config.popString(text));
    EXPECT_EQ(lua_gc(L, LUA_GCCOUNT, 0) * 1024 + lua_gc(L, LUA_GCCOUNTB, 0), kilobytes * 1024 + bytes) << number;
    lua_pushnumber(L, number);
    const std::string lua = lua_tostring(L, -1);
    lua_pop(L, 1);
    lua_pushnumber(L, number);
    EXPECT_TRUE(config.popString(text));
    EXPECT_EQ(text, lua) << number;
  }
}

TEST_F(LuaConfigTest, PopStringWritesAnyNumberAsLuaDoes) {
  // Random bit patterns (every exponent, subnormals, the infinities and NaNs among them) and the
  // short decimal fractions catalogues hold, each against Lua's own string of the number.
  Lua::Config config(L, LUA_GLOBALSINDEX);
  std::mt19937_64 random(7);
  std::string text;
  for (int i = 0; i < 20000; ++i) {
    double number;
    if (i % 2) {
      const uint64_t bits = random();
      std::memcpy(&number, &bits, sizeof number);
    } else {
      number = double(int64_t(random() % 2000001) - 1000000) / std::pow(10.0, double(random() % 8));
    }
    lua_pushnumber(L, number);
    const std::string lua = lua_tostring(L, -1);
    lua_pop(L, 1);
    if (std::isnan(number)) continue;  // Lua's "nan" or "-nan" is the C runtime's; glibc's is kept
    lua_pushnumber(L, number);
    ASSERT_TRUE(config.popString(text));
    ASSERT_EQ(text, lua) << i;
  }
}

TEST_F(LuaConfigTest, PopBoolTakesBooleansAndNumbers) {
  Lua::Config config(L, LUA_GLOBALSINDEX);
  bool flag = true;
  lua_pushnumber(L, 0);
  EXPECT_TRUE(config.popBool(flag));
  EXPECT_FALSE(flag);
  lua_pushstring(L, "1");
  EXPECT_TRUE(config.popBool(flag));
  EXPECT_TRUE(flag);
  lua_pushboolean(L, 0);
  EXPECT_TRUE(config.popBool(flag));
  EXPECT_FALSE(flag);
  lua_pushstring(L, "true");
  EXPECT_FALSE(config.popBool(flag));
}

TEST_F(LuaConfigTest, GuardsRestoreTheHeightTheyFound) {
  lua_pushnumber(L, 1);
  {
    Lua::Config outer(L, LUA_GLOBALSINDEX);
    lua_pushnumber(L, 2);
    {
      Lua::Config inner(L, LUA_GLOBALSINDEX);
      lua_pushnumber(L, 3);
    }
    EXPECT_EQ(lua_gettop(L), 3);
  }
  EXPECT_EQ(lua_gettop(L), 1);

  try {
    Lua::Config config(L, LUA_GLOBALSINDEX);
    lua_pushnumber(L, 4);
    lua_pushnumber(L, 5);
    throw std::runtime_error("leave");
  } catch (const std::runtime_error&) {
  }
  // The height comes back, with the value that was on top kept above it.
  ASSERT_EQ(lua_gettop(L), 2);
  EXPECT_EQ(lua_tonumber(L, -1), 5);
}

TEST_F(LuaConfigTest, ADetachedGuardNeitherPushesNorRestores) {
  {
    Lua::Config config(L, LUA_GLOBALSINDEX, true);
    EXPECT_EQ(lua_gettop(L), 0);
    lua_pushnumber(L, 1);
  }
  EXPECT_EQ(lua_gettop(L), 1);
}

}  // namespace
