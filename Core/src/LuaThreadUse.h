// The thread-use check: which thread uses which Lua state through a Lua::Config.
//
// One process-wide table, guarded by a lock of its own, holds a record per state in use: the
// state, the owner thread's id and the number of the owner's live Lua::Config objects on it,
// sorted by state and found by binary search. Every Lua::Config begins (constructor) and ends
// (destructor) a use. The check is a warning device: it doesn't order, block or refuse, and two
// threads on one state are reported in the log under "Lua::Config" and then go on:
//   WARNING "Thread %d uses state '%s' at the same time as thread %d"   (a use begins elsewhere)
//   WARNING "Thread %d uses state '%s' which is MainThreadOnly"         (not the main thread)
//   ERROR   "Thread %d uses the same state as thread %d"                (a use ends elsewhere)
// The state's name is "QK.id" of its registry, or "!!!unknown Lua state!!!".
//
// "QK.MainThreadOnly" in a state's registry, when it is the boolean true (a number doesn't count),
// asks for the second warning. Nothing in the system sets it; an embedder writes the key itself.
// The main thread is the thread that ran the core's static initialisers (the thread that loaded
// the library), unless an embedder names another with qk_lua_set_main_thread.
//
// Thread ids are the system's thread ids (gettid on Linux). The log lines are written after the
// table's lock is left, so that no lock is held across the log's. Safe from any thread.
#pragma once

#include <cstdint>
#include <lua.hpp>

// A use of `L` by the calling thread begins; the state's registry is read under the table's lock.
void qk_lua_thread_use_begin(lua_State* L);
// A use of `L` by the calling thread ends.
void qk_lua_thread_use_end(lua_State* L);

// Drops the record of `L`, whoever holds it: the state is being closed, so nobody uses it any more,
// and a state made later at the same address must not inherit a use that was never ended (a
// Lua::Config ended on another thread leaves its record behind).
void qk_lua_thread_use_forget(lua_State* L);

// Records the calling thread as the main thread of the MainThreadOnly rule.
void qk_lua_set_main_thread();
uint32_t qk_lua_main_thread();

// The calling thread's use count of `L` (0 when another thread owns it or nobody does), for tests
// and diagnostics.
uint64_t qk_lua_thread_use_count(lua_State* L);
