// The thread-use check of Lua::Config with real threads: its three log lines, the use counts, the
// MainThreadOnly rule.
#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "LuaConfig.h"
#include "LuaThreadUse.h"
#include "platform/qk_threads.h"
#include "qk_lua.h"

namespace {

// The "Lua::Config" lines written to standard error while it lives, as "LEVEL: text".
class ConfigLines {
 public:
  ConfigLines() { testing::internal::CaptureStderr(); }
  std::vector<std::string> take() {
    const std::string captured = testing::internal::GetCapturedStderr();
    static const std::regex line("^\\S+ \\S+ (\\w+) +Lua::Config \\([^)]*\\): (.*)$");
    std::vector<std::string> lines;
    std::istringstream in(captured);
    std::smatch match;
    for (std::string text; std::getline(in, text);)
      if (std::regex_match(text, match, line)) lines.push_back(match[1].str() + ": " + match[2].str());
    return lines;
  }
};

struct ThreadUse : testing::Test {
  lua_State* L = qk_lua_newstate("shared");
  ~ThreadUse() override { qk_lua_close(L); }
  std::string id(uint32_t thread) { return std::to_string(thread); }
};

// Runs `work` on a new thread and answers that thread's id.
template <class Work>
uint32_t onThread(Work work) {
  uint32_t id = 0;
  std::thread thread([&] {
    id = qk_platform_thread_id();
    work();
  });
  thread.join();
  return id;
}

TEST_F(ThreadUse, TwoThreadsAtOnceAreReportedAndGoOn) {
  ConfigLines lines;
  const uint32_t owner = qk_platform_thread_id();
  Lua::Config mine(L, LUA_GLOBALSINDEX);
  {
    Lua::Config again(L, LUA_GLOBALSINDEX);
    EXPECT_EQ(qk_lua_thread_use_count(L), 2u);
  }
  EXPECT_EQ(qk_lua_thread_use_count(L), 1u) << "the first end leaves the record";
  const uint32_t other = onThread([&] { Lua::Config theirs(L, LUA_GLOBALSINDEX); });
  EXPECT_EQ(qk_lua_thread_use_count(L), 1u) << "the table still names the first owner";
  EXPECT_EQ(lines.take(), (std::vector<std::string>{
                              "WARNING: Thread " + id(other) +
                                  " uses state 'shared' at the same time as thread " + id(owner),
                              "ERROR: Thread " + id(other) + " uses the same state as thread " + id(owner)}));
}

TEST_F(ThreadUse, AConfigEndedOnAnotherThreadLogsRestoresTheStackAndIsForgottenAtClose) {
  lua_State* state = qk_lua_newstate("left behind");
  auto config = std::make_unique<Lua::Config>(state, LUA_GLOBALSINDEX);
  const uint32_t owner = qk_platform_thread_id();
  ConfigLines lines;
  const uint32_t other = onThread([&] { config.reset(); });
  EXPECT_EQ(lines.take(), (std::vector<std::string>{"ERROR: Thread " + id(other) +
                                                    " uses the same state as thread " + id(owner)}));
  EXPECT_EQ(lua_gettop(state), 0);
  EXPECT_EQ(qk_lua_thread_use_count(state), 1u) << "the record stays with its owner";
  qk_lua_close(state);
  EXPECT_EQ(qk_lua_thread_use_count(state), 0u) << "a state made later at this address starts clean";
}

TEST_F(ThreadUse, MainThreadOnlyIsABooleanRuleForOtherThreads) {
  ASSERT_EQ(qk_lua_main_thread(), qk_platform_thread_id()) << "the static initialisers ran here";
  lua_State* unnamed = luaL_newstate();
  for (lua_State* state : {L, unnamed}) {
    lua_pushboolean(state, 1);
    lua_setfield(state, LUA_REGISTRYINDEX, "QK.MainThreadOnly");
  }
  ConfigLines lines;
  { Lua::Config here(L, LUA_GLOBALSINDEX); }
  const uint32_t other = onThread([&] {
    { Lua::Config there(L, LUA_GLOBALSINDEX); }
    Lua::Config nameless(unnamed, LUA_GLOBALSINDEX);
  });
  lua_pushnumber(L, 1);
  lua_setfield(L, LUA_REGISTRYINDEX, "QK.MainThreadOnly");
  onThread([&] { Lua::Config numberDoesNotCount(L, LUA_GLOBALSINDEX); });
  const std::string thread = "WARNING: Thread " + id(other);
  EXPECT_EQ(lines.take(), (std::vector<std::string>{thread + " uses state 'shared' which is MainThreadOnly",
                                                    thread + " uses state '!!!unknown Lua state!!!' which is "
                                                             "MainThreadOnly"}));
  lua_close(unnamed);
}

}  // namespace
