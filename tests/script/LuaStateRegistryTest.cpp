// The accounting of states through real states and coroutines: records, counted bytes, totals,
// metered calls and their load, the foreign-state sentinel.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "LuaStateRegistry.h"
#include "qk_format.h"
#include "qk_lua.h"

namespace {

LuaStateRegistry& registry() { return LuaStateRegistry::instance(); }

// Lua's own count of the bytes it holds.
uint64_t luaBytes(lua_State* L) {
  return uint64_t(lua_gc(L, LUA_GCCOUNT, 0)) * 1024 + uint64_t(lua_gc(L, LUA_GCCOUNTB, 0));
}

std::string addressName(const void* L) {
  char name[20];
  qk_snprintf(name, sizeof name, "0x%p", L);
  return name;
}

// The names and final bytes of the records removed while it lives.
struct Removals {
  std::vector<std::pair<std::string, uint64_t>> seen;
  uint64_t lastPeak = 0;
  Removals() {
    registry().setRemovalListener(
        [](const LuaStateStats& r, void* self) {
          auto& removals = *static_cast<Removals*>(self);
          removals.seen.emplace_back(std::string(r.name, r.nameLength), r.bytesInUse);
          removals.lastPeak = r.peakBytes;
        },
        this);
  }
  ~Removals() { registry().setRemovalListener(nullptr, nullptr); }
};

TEST(LuaStateRecord, CountsWhatLuaCountsAndItsCloseAddsItToTheTotals) {
  const std::string name(200, 'n');
  const LuaStateTotals before = registry().totals();
  Removals removals;
  lua_State* L = qk_lua_newstate(name.c_str());
  qk_lua_openlibs(L);
  LuaStateStats* record = registry().find(L);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(std::string(record->name), name.substr(0, 127));
  EXPECT_NE(record->pool, nullptr);
  ASSERT_EQ(luaL_dostring(L, "big = {} for i = 1, 50000 do big[i] = tostring(i) end"), 0);
  const uint64_t grown = record->bytesInUse;
  EXPECT_EQ(grown, luaBytes(L));
  ASSERT_EQ(luaL_dostring(L, "big = nil collectgarbage()"), 0);
  EXPECT_EQ(record->bytesInUse, luaBytes(L));
  EXPECT_GE(record->peakBytes, grown);
  EXPECT_GT(record->allocSeconds, 0.0);

  qk_lua_close(L);
  EXPECT_EQ(registry().find(L), nullptr);
  ASSERT_EQ(removals.seen.size(), 1u);
  EXPECT_EQ(removals.seen[0].second, 0u) << "lua_close gives back every byte";
  const LuaStateTotals after = registry().totals();
  EXPECT_EQ(after.closedStates, before.closedStates + 1);
  EXPECT_EQ(after.peakBytes, before.peakBytes + removals.lastPeak);
  EXPECT_EQ(after.bytesLeft, before.bytesLeft);
  EXPECT_GT(after.allocSeconds, before.allocSeconds);
}

TEST(LuaStateRecord, ANewStateUnderAStaleKeyRetiresTheOldRecord) {
  static char key;  // stands for an address the heap has given again
  auto* L = reinterpret_cast<lua_State*>(&key);
  const uint64_t closed = registry().totals().closedStates;
  registry().insert(L, std::make_unique<LuaStateStats>("old"));
  registry().insert(L, std::make_unique<LuaStateStats>("new"));
  EXPECT_STREQ(registry().find(L)->name, "new");
  EXPECT_EQ(registry().totals().closedStates, closed + 1);
  registry().remove(L);
  registry().remove(L);  // unknown now: no error
}

// ---- Metered calls ---------------------------------------------------------------------------

struct MeteredState : testing::Test {
  lua_State* L = qk_lua_newstate("metered");
  LuaStateStats* record = registry().find(L);
  ~MeteredState() override { qk_lua_close(L); }
  int run(const char* code) {
    luaL_loadstring(L, code);
    return qk_lua_pcall(L, 0, 0, 0);
  }
};

TEST_F(MeteredState, ACallRaisesTheLoadAndAFailingOneStillCounts) {
  const double created = record->lastSampleTime;
  ASSERT_EQ(run("local x = 0 for i = 1, 3000000 do x = x + i end"), 0);
  EXPECT_GT(record->load, 0.0);
  EXPECT_LE(record->load, 1.0);
  EXPECT_GT(record->lastSampleTime, created);
  const double sampled = record->lastSampleTime;
  EXPECT_EQ(run("error('boom')"), LUA_ERRRUN);
  EXPECT_NE(std::string(lua_tostring(L, -1)).find("boom"), std::string::npos);
  EXPECT_GT(record->lastSampleTime, sampled);
  EXPECT_EQ(record->activeCalls.load(), 0u);
}

TEST_F(MeteredState, TheLoadDecaysByAFactorOfETwoSecondsOnAndANonPositiveElapsedChangesNothing) {
  // A load of 1, a sample two seconds old, an empty call: its share is next to nothing, so the load
  // falls to about exp(-elapsed * 0.5).
  record->load = 1.0;
  record->lastSampleTime -= 2.0;
  const double before = record->lastSampleTime;
  ASSERT_EQ(run("return"), 0);
  const double elapsed = record->lastSampleTime - before;
  ASSERT_GE(elapsed, 2.0);
  EXPECT_GE(record->load, std::exp(-elapsed * 0.5));
  EXPECT_LT(record->load, std::exp(-elapsed * 0.5) + 1e-3);

  record->load = 0.25;
  record->lastSampleTime += 3600.0;  // elapsed below zero takes the branch of exactly 0.0
  const double ahead = record->lastSampleTime;
  ASSERT_EQ(run("return"), 0);
  EXPECT_EQ(record->load, 0.25);
  EXPECT_EQ(record->lastSampleTime, ahead);
}

// A C function that makes a metered call of its own and tells whether it took a sample.
int innerCall(lua_State* L) {
  LuaStateStats* record = LuaStateRegistry::instance().find(L);
  const double sample = record->lastSampleTime, load = record->load;
  luaL_loadstring(L, "local x = 0 for i = 1, 100000 do x = x + i end");
  qk_lua_pcall(L, 0, 0, 0);
  lua_pushboolean(L, record->lastSampleTime == sample && record->load == load);
  return 1;
}

TEST_F(MeteredState, ANestedCallIsNotMeasuredAndTheLoadChangesOnce) {
  lua_register(L, "inner", innerCall);
  const double before = record->lastSampleTime;
  ASSERT_EQ(run("untouched = inner()"), 0);
  lua_getglobal(L, "untouched");
  EXPECT_TRUE(lua_toboolean(L, -1)) << "the inner call took no sample";
  EXPECT_GT(record->lastSampleTime, before) << "the outer call took its sample";
}

// ---- Foreign states and the sentinel ---------------------------------------------------------

// The sentinels in the registry of L: zero-size userdata with the registry's metatable.
int countSentinels(lua_State* L) {
  lua_pushlightuserdata(L, &LuaStateRegistry::instance());
  lua_rawget(L, LUA_REGISTRYINDEX);
  int count = 0;
  lua_pushnil(L);
  while (lua_next(L, LUA_REGISTRYINDEX)) {
    if (lua_type(L, -1) == LUA_TUSERDATA && lua_objlen(L, -1) == 0 && lua_getmetatable(L, -1)) {
      count += lua_rawequal(L, -1, -4);
      lua_pop(L, 1);
    }
    lua_pop(L, 1);
  }
  lua_pop(L, 1);
  return count;
}

void callOn(lua_State* L) {
  luaL_loadstring(L, "return");
  ASSERT_EQ(qk_lua_pcall(L, 0, 0, 0), 0);
}

TEST(ForeignState, CoroutinesGetAddressRecordsAndShareOneSentinel) {
  lua_State* L = qk_lua_newstate("with coroutines");
  lua_State* first = lua_newthread(L);
  lua_State* second = lua_newthread(L);  // both stay on L's stack, so alive
  callOn(first);
  const LuaStateStats* record = registry().find(first);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(std::string(record->name), addressName(first));
  EXPECT_EQ(record->bytesInUse, 0u);
  EXPECT_EQ(record->pool, nullptr);
  callOn(second);
  EXPECT_NE(registry().find(second), nullptr);
  EXPECT_EQ(countSentinels(L), 1) << "the second coroutine finds the sentinel in the shared registry";

  // The sentinel's __gc runs inside lua_close with the main state, whose record lua_close still
  // allocates through: it must leave that record to qk_lua_close (under ASan a use after free).
  const uint64_t closed = registry().totals().closedStates;
  qk_lua_close(L);
  EXPECT_EQ(registry().find(L), nullptr);
  EXPECT_EQ(registry().totals().closedStates, closed + 1);
  EXPECT_NE(registry().find(first), nullptr) << "a coroutine's record stays until the process ends";
  registry().remove(first);
  registry().remove(second);
}

TEST(ForeignState, AStateMadeElsewhereIsRemovedWhenItCloses) {
  Removals removals;
  lua_State* L = luaL_newstate();
  callOn(L);
  callOn(L);
  EXPECT_EQ(countSentinels(L), 1);
  lua_close(L);
  EXPECT_EQ(registry().find(L), nullptr);
  ASSERT_EQ(removals.seen.size(), 1u);
  EXPECT_EQ(removals.seen[0].first, addressName(L));
}

}  // namespace
