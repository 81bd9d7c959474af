#include "LuaThreadUse.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "platform/qk_threads.h"
#include "qk/CriticalSection.h"
#include "qk_log.h"
#include "qk_memory.h"

namespace {

constexpr char kModule[] = "Lua::Config";

struct Use {
  lua_State* state;
  uint64_t count;   // live Lua::Config objects of the owner on this state
  uint32_t thread;  // the owner
};

struct LuaThreadUse {
  qk::CriticalSection lock;
  std::vector<Use, qk::allocator<Use>> uses;  // sorted by state

  // The first use whose state is not below `L`.
  std::vector<Use, qk::allocator<Use>>::iterator lowerBound(lua_State* L) {
    return std::lower_bound(uses.begin(), uses.end(), L, [](const Use& use, lua_State* state) {
      return std::less<lua_State*>()(use.state, state);
    });
  }
};

LuaThreadUse& table() {
  static LuaThreadUse* uses = new LuaThreadUse();  // never destroyed: a Config may end at exit
  return *uses;
}

// The thread that runs the static initialisers is the main thread until an embedder says
// otherwise.
std::atomic<uint32_t> main_thread{qk_platform_thread_id()};
LuaThreadUse& table_at_start = table();

// The state's name for the log, read from its registry.
std::string state_name(lua_State* L) {
  lua_getfield(L, LUA_REGISTRYINDEX, "QK.id");
  std::string name = lua_type(L, -1) == LUA_TSTRING ? lua_tostring(L, -1) : "!!!unknown Lua state!!!";
  lua_pop(L, 1);
  return name;
}

bool main_thread_only(lua_State* L) {
  lua_getfield(L, LUA_REGISTRYINDEX, "QK.MainThreadOnly");
  const bool only = lua_type(L, -1) == LUA_TBOOLEAN && lua_toboolean(L, -1);
  lua_pop(L, 1);
  return only;
}

}  // namespace

void qk_lua_thread_use_begin(lua_State* L) {
  LuaThreadUse& uses = table();
  const uint32_t thread = qk_platform_thread_id();
  std::string name;
  bool notMain = false;
  bool clash = false;
  uint32_t owner = 0;
  {
    std::lock_guard<qk::CriticalSection> hold(uses.lock);
    name = state_name(L);
    notMain = main_thread_only(L) && thread != main_thread.load();
    auto use = uses.lowerBound(L);
    if (use != uses.uses.end() && use->state == L) {
      if (use->thread == thread) {
        use->count += 1;
      } else {
        clash = true;
        owner = use->thread;
      }
    } else {
      uses.uses.insert(use, Use{L, 1, thread});
    }
  }
  if (notMain)
    qk_log(kModule, qk::log::WARNING, "Thread %d uses state '%s' which is MainThreadOnly", int(thread),
           name.c_str());
  if (clash)
    qk_log(kModule, qk::log::WARNING, "Thread %d uses state '%s' at the same time as thread %d", int(thread),
           name.c_str(), int(owner));
}

void qk_lua_thread_use_end(lua_State* L) {
  LuaThreadUse& uses = table();
  const uint32_t thread = qk_platform_thread_id();
  bool clash = false;
  uint32_t owner = 0;
  {
    std::lock_guard<qk::CriticalSection> hold(uses.lock);
    auto use = uses.lowerBound(L);
    if (use == uses.uses.end() || use->state != L) return;
    if (use->thread == thread) {
      if (--use->count == 0) uses.uses.erase(use);
    } else {
      clash = true;
      owner = use->thread;
    }
  }
  if (clash)
    qk_log(kModule, qk::log::ERROR, "Thread %d uses the same state as thread %d", int(thread), int(owner));
}

void qk_lua_thread_use_forget(lua_State* L) {
  LuaThreadUse& uses = table();
  std::lock_guard<qk::CriticalSection> hold(uses.lock);
  auto use = uses.lowerBound(L);
  if (use != uses.uses.end() && use->state == L) uses.uses.erase(use);
}

void qk_lua_set_main_thread() { main_thread = qk_platform_thread_id(); }

uint32_t qk_lua_main_thread() { return main_thread.load(); }

uint64_t qk_lua_thread_use_count(lua_State* L) {
  LuaThreadUse& uses = table();
  const uint32_t thread = qk_platform_thread_id();
  std::lock_guard<qk::CriticalSection> hold(uses.lock);
  auto use = uses.lowerBound(L);
  return use != uses.uses.end() && use->state == L && use->thread == thread ? use->count : 0;
}
