#include "LuaStateRegistry.h"

#include <cmath>
#include <cstring>
#include <new>

#include "LuaPool.h"
#include "qk/CriticalSection.h"
#include "qk/TrackedHeap.h"
#include "qk_format.h"
#include "qk_time.h"

namespace {

// Made by a static initialiser (below) and never destroyed, so that a state closed by another
// static object's destructor still finds it.
LuaStateRegistry& registry_at_start = LuaStateRegistry::instance();

}  // namespace

// ---- Records ---------------------------------------------------------------------------------

LuaStateStats::LuaStateStats(const char* stateName) : lastSampleTime(qk_time_seconds()) {
  const size_t length = strnlen(stateName, kNameMost);
  std::memcpy(name, stateName, length);
  name[length] = 0;
  nameLength = uint8_t(length);
}

LuaStateStats::~LuaStateStats() { LuaPool::destroy(pool); }

void* qk_lua_plain_alloc(void*, void* ptr, size_t osize, size_t nsize) {
  return qk::qk_tracked_heap_lua_alloc(&qk::qk_core_heap(), ptr, osize, nsize);
}

std::unique_ptr<LuaStateStats> qk_lua_make_record(const char* name) {
  auto record = std::make_unique<LuaStateStats>(name);
  record->pool = LuaPool::create(qk_lua_plain_alloc, nullptr);
  return record;
}

void* qk_lua_state_alloc(void* ud, void* ptr, size_t osize, size_t nsize) {
  auto* record = static_cast<LuaStateStats*>(ud);
  const int64_t t0 = qk_time_ticks();
  record->bytesInUse -= osize;
  if (nsize != 0) {
    record->bytesInUse += nsize;
    if (record->bytesInUse > record->peakBytes) record->peakBytes = record->bytesInUse;
  }
  void* result = record->pool ? record->pool->realloc(ptr, osize, nsize)
                              : qk_lua_plain_alloc(nullptr, ptr, osize, nsize);
  static const double secondsPerTick = 1.0 / double(qk_time_frequency());
  record->allocSeconds += double(qk_time_ticks() - t0) * secondsPerTick;
  return result;
}

// ---- The registry ----------------------------------------------------------------------------

LuaStateRegistry& LuaStateRegistry::instance() {
  static LuaStateRegistry* registry = new LuaStateRegistry();
  return *registry;
}

LuaStateStats* LuaStateRegistry::find(lua_State* L) {
  std::lock_guard<qk::CriticalSection> hold(lock);
  auto entry = states.find(L);
  return entry == states.end() ? nullptr : entry->second.get();
}

void LuaStateRegistry::insert(lua_State* L, RecordPtr record) {
  std::lock_guard<qk::CriticalSection> hold(lock);
  auto entry = states.find(L);
  if (entry != states.end()) retire(entry);
  states.emplace(L, std::move(record));
}

void LuaStateRegistry::remove(lua_State* L) {
  std::lock_guard<qk::CriticalSection> hold(lock);
  auto entry = states.find(L);
  if (entry != states.end()) retire(entry);
}

void LuaStateRegistry::retire(States::iterator entry) {
  LuaStateStats& record = *entry->second;
  totalSpareSeconds += record.spareSeconds;
  totalBytesLeft += record.bytesInUse;
  totalPeakBytes += record.peakBytes;
  totalAllocSeconds += record.allocSeconds;
  closedStates += 1;
  if (listener) listener(record, listenerContext);
  states.erase(entry);  // releases the record and its pool
}

std::vector<LuaStateSnapshot> LuaStateRegistry::snapshot() {
  std::lock_guard<qk::CriticalSection> hold(lock);
  std::vector<LuaStateSnapshot> copies;
  copies.reserve(states.size());
  for (const auto& [L, record] : states)
    copies.push_back({L, std::string(record->name, record->nameLength), record->bytesInUse, record->peakBytes,
                      record->allocSeconds, record->load, record->pool != nullptr});
  return copies;
}

LuaStateTotals LuaStateRegistry::totals() {
  std::lock_guard<qk::CriticalSection> hold(lock);
  return {totalSpareSeconds, totalBytesLeft, totalPeakBytes, totalAllocSeconds, closedStates};
}

void LuaStateRegistry::setRemovalListener(RemovalListener removalListener, void* context) {
  std::lock_guard<qk::CriticalSection> hold(lock);
  listener = removalListener;
  listenerContext = context;
}

// ---- The foreign-state sentinel --------------------------------------------------------------

namespace {

// __gc of the sentinel: removes the record of the collecting state, unless the state still
// allocates through that record (a state of qk_lua_newstate, in the middle of lua_close).
int remove_collecting_state(lua_State* L) {
  LuaStateRegistry& registry = LuaStateRegistry::instance();
  void* ud = nullptr;
  const lua_Alloc alloc = lua_getallocf(L, &ud);
  LuaStateStats* record = registry.find(L);
  if (record && alloc == qk_lua_state_alloc && ud == record) return 0;
  registry.remove(L);
  return 0;
}

void* sentinel_key();

void install_sentinel(lua_State* L) {
  lua_pushlightuserdata(L, sentinel_key());
  lua_rawget(L, LUA_REGISTRYINDEX);
  if (lua_isuserdata(L, -1)) {
    lua_pop(L, 1);
    return;
  }
  lua_pop(L, 1);
  lua_pushlightuserdata(L, sentinel_key());
  lua_newuserdata(L, 0);
  lua_pushlightuserdata(L, &LuaStateRegistry::instance());
  lua_rawget(L, LUA_REGISTRYINDEX);
  if (!lua_istable(L, -1)) {
    lua_pop(L, 1);
    lua_newtable(L);
    lua_pushcfunction(L, remove_collecting_state);
    lua_setfield(L, -2, "__gc");
    lua_pushlightuserdata(L, &LuaStateRegistry::instance());
    lua_pushvalue(L, -2);
    lua_rawset(L, LUA_REGISTRYINDEX);
  }
  lua_setmetatable(L, -2);
  lua_rawset(L, LUA_REGISTRYINDEX);
}

// The sentinel's registry key is the address of the function that installs it.
void* sentinel_key() { return reinterpret_cast<void*>(&install_sentinel); }

// The record of `L`; a foreign state gets one, named by its address, and the sentinel.
LuaStateStats* record_of(lua_State* L) {
  LuaStateRegistry& registry = LuaStateRegistry::instance();
  if (LuaStateStats* record = registry.find(L)) return record;
  char name[20];
  qk_snprintf(name, sizeof name, "0x%p", static_cast<void*>(L));
  auto made = std::make_unique<LuaStateStats>(name);
  LuaStateStats* record = made.get();
  registry.insert(L, std::move(made));
  install_sentinel(L);
  return record;
}

}  // namespace

// ---- The metered call ------------------------------------------------------------------------

int qk_lua_metered_pcall(lua_State* L, int nargs, int nresults, int errfunc) {
  LuaStateStats* record = record_of(L);
  if (record->activeCalls.fetch_add(1) != 0) {  // nested: not measured
    const int status = lua_pcall(L, nargs, nresults, errfunc);
    record->activeCalls.fetch_sub(1);
    return status;
  }
  const int64_t t0 = qk_time_ticks();
  const int status = lua_pcall(L, nargs, nresults, errfunc);
  const int64_t t1 = qk_time_ticks();
  const double frequency = double(qk_time_frequency());
  const double now = qk_time_seconds();
  const double elapsed = now - record->lastSampleTime;
  if (elapsed > 0.0) {
    const double share = (double(t1 - t0) / frequency) / elapsed;
    record->load = share + std::exp(-elapsed * record->decayRate) * (record->load - share);
    record->lastSampleTime = now;
  }
  record->activeCalls.fetch_sub(1);
  return status;
}
