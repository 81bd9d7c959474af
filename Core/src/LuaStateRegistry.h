// The accounting of Lua states: one record per live state in one process-wide registry.
//
// Every state that qk_lua_newstate makes has a LuaStateStats record, owned by the registry from
// the state's creation to qk_lua_close. All of the state's allocations run through the state
// allocator (qk_lua_state_alloc), which counts the bytes Lua asks for, keeps the peak, adds the
// time spent inside the allocator, and serves the request from the record's LuaPool; the pool's
// backing is the core's tracked heap ("QKCORESTATIC"), so that running out of memory ends in
// qk_out_of_memory. Every qk_lua_pcall is measured into the record's `load`, a decayed share of
// wall time spent in outermost metered calls. The clock is the core's monotonic clock (qk_time.h:
// ticks, their frequency, seconds).
//
// Foreign states. A metered call on a state that has no record (a coroutine's thread, a state made
// elsewhere) gives it a record named "0x%p" with zero memory counters, and installs a sentinel in
// the state's registry: a zero-size userdata whose __gc removes the record of the state that
// collects it. Lua runs that __gc only from lua_close, with the main state, so a coroutine's record
// stays until the process ends, and the sentinel of a state made elsewhere removes that state's
// record when it is closed.
//
// The main state's own record is left alone by the sentinel: when a coroutine of a state of
// qk_lua_newstate has put the sentinel into the shared registry, its __gc runs in the middle of
// lua_close, while Lua still frees its objects through the state allocator with the record and
// its pool. Removing the record there would destroy the pool under Lua's feet. The __gc therefore
// removes a record only when the state doesn't allocate through it (lua_getallocf answers another
// allocator or other user data); a record of qk_lua_newstate is removed by qk_lua_close once
// lua_close has returned.
//
// A record whose address the heap has given again (a coroutine's record outlives its thread, and
// a new state may later get the same address) is retired when a new state takes its key: it is
// summed into the totals like a removed record.
//
// Threads: the registry's lock guards `states` and the totals, and is held only around look-ups,
// insertions and removals, never around a call into Lua. A record itself belongs to its state's
// thread; `activeCalls` is atomic so that nesting is counted right even when two threads run in
// one state (which the thread-use check reports). The registry is made by a static initialiser
// and never destroyed.
#pragma once

#include <atomic>
#include <cstdint>
#include <lua.hpp>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "qk/CriticalSection.h"
#include "qk_memory.h"

class LuaPool;

struct LuaStateStats {
  double spareSeconds = 0.0;  // never written; summed into the totals all the same
  uint64_t bytesInUse = 0;    // by the sizes Lua passes to the allocator
  uint64_t peakBytes = 0;
  double allocSeconds = 0.0;  // wall time inside the allocator
  std::atomic<uint64_t> activeCalls{0};
  double lastSampleTime = 0.0;  // clock seconds at the last load sample, or at creation
  double load = 0.0;
  double decayRate = 0.5;  // per second
  uint8_t nameLength = 0;  // at most 127
  char name[128] = {};
  LuaPool* pool = nullptr;  // owned; null for a foreign state, or when the pool couldn't be made

  static constexpr size_t kNameMost = 127;
  // A record named `name` (cut to 127 bytes), sampled from now.
  explicit LuaStateStats(const char* name);
  // Destroys the pool.
  ~LuaStateStats();
  LuaStateStats(const LuaStateStats&) = delete;
  LuaStateStats& operator=(const LuaStateStats&) = delete;
};

// The registry's sums over removed records.
struct LuaStateTotals {
  double spareSeconds = 0.0;
  uint64_t bytesLeft = 0;
  uint64_t peakBytes = 0;
  double allocSeconds = 0.0;
  uint64_t closedStates = 0;
};

// A copy of one record, for inspection.
struct LuaStateSnapshot {
  const void* state;
  std::string name;
  uint64_t bytesInUse;
  uint64_t peakBytes;
  double allocSeconds;
  double load;
  bool pooled;
};

class LuaStateRegistry {
 public:
  using RecordPtr = std::unique_ptr<LuaStateStats>;
  using States = std::unordered_map<lua_State*, RecordPtr, std::hash<lua_State*>, std::equal_to<lua_State*>,
                                    qk::allocator<std::pair<lua_State* const, RecordPtr>>>;
  // Called under the registry's lock with each record just before it is released (removed or
  // retired); must not call back into the registry.
  using RemovalListener = void (*)(const LuaStateStats& record, void* context);

  static LuaStateRegistry& instance();

  // The record of `L`, or null.
  LuaStateStats* find(lua_State* L);
  // Enters (L, record); a stale record under the same key is retired first.
  void insert(lua_State* L, RecordPtr record);
  // Sums the record of `L` into the totals, erases it, destroys its pool and releases it. An
  // unknown state is no error.
  void remove(lua_State* L);

  std::vector<LuaStateSnapshot> snapshot();
  LuaStateTotals totals();
  void setRemovalListener(RemovalListener listener, void* context);

 private:
  LuaStateRegistry() = default;
  // Under `lock`.
  void retire(States::iterator entry);

  qk::CriticalSection lock;
  States states;
  double totalSpareSeconds = 0.0;
  uint64_t totalBytesLeft = 0;
  uint64_t totalPeakBytes = 0;
  double totalAllocSeconds = 0.0;
  uint64_t closedStates = 0;
  RemovalListener listener = nullptr;
  void* listenerContext = nullptr;
};

// The state allocator: a lua_Alloc whose user data is the state's LuaStateStats.
void* qk_lua_state_alloc(void* record, void* ptr, size_t osize, size_t nsize);

// The plain allocator of the script host, over the core's tracked heap: nsize 0 releases, a null
// pointer allocates, anything else reallocates; a failure ends in qk_out_of_memory. Its user data
// is ignored. The backing of every state's pool.
void* qk_lua_plain_alloc(void* ud, void* ptr, size_t osize, size_t nsize);

// A record for `name` with its pool (step 1 of qk_lua_newstate). The record's pool is null when it
// couldn't be made; the state allocator then goes to the plain allocator directly.
std::unique_ptr<LuaStateStats> qk_lua_make_record(const char* name);

// lua_pcall, measured into the record of `L` (made for a foreign state on first use).
int qk_lua_metered_pcall(lua_State* L, int nargs, int nresults, int errfunc);
