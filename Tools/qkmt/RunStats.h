// qkmt run --stats: what each Lua state of the run cost, printed on standard error at the end.
//
// While a RunStats that was asked to collect lives, it copies every state record the script
// host's registry removes (the catalogue's state at its close, the run's own state, a state made
// elsewhere when it closes). print() then writes one line per state, the closed ones in the order
// they closed and then those still live (a coroutine's record lives until the process ends), and
// the registry's totals:
//
//   Lua states:
//   state                                    in use        peak    alloc ms     load
//   MaterialsList::loadMaterialsList              0      812345       1.234    0.000  closed
//   qkmt run                                      0     2345678       5.678    0.912  closed
//   totals: 2 closed, 0 bytes left, 3158023 peak bytes, 6.912 ms allocating, 0.000 s spare; 0 live
//
// Bytes are those Lua asked for; "alloc ms" is the wall time spent inside the state's allocator;
// "load" is the decayed share of wall time the state spent in its outermost protected calls. One
// object per run, on the main thread.
#pragma once

#include <cstdio>
#include <vector>

#include "LuaStateRegistry.h"

class RunStats {
 public:
  explicit RunStats(bool collect);
  ~RunStats();
  RunStats(const RunStats&) = delete;
  RunStats& operator=(const RunStats&) = delete;

  // Writes the table to `out` when collecting; nothing otherwise.
  void print(FILE* out = stderr) const;

 private:
  bool collect_;
  std::vector<LuaStateSnapshot> closed_;
};
