#include "RunStats.h"

#include <string>

namespace {

void printRow(FILE* out, const LuaStateSnapshot& state, const char* status) {
  std::fprintf(out, "%-36s %10llu %11llu %11.3f %8.3f  %s\n", state.name.c_str(),
               static_cast<unsigned long long>(state.bytesInUse),
               static_cast<unsigned long long>(state.peakBytes), state.allocSeconds * 1000.0, state.load,
               status);
}

}  // namespace

RunStats::RunStats(bool collect) : collect_(collect) {
  if (!collect_) return;
  LuaStateRegistry::instance().setRemovalListener(
      [](const LuaStateStats& record, void* self) {
        static_cast<RunStats*>(self)->closed_.push_back(
            {nullptr, std::string(record.name, record.nameLength), record.bytesInUse, record.peakBytes,
             record.allocSeconds, record.load, record.pool != nullptr});
      },
      this);
}

RunStats::~RunStats() {
  if (collect_) LuaStateRegistry::instance().setRemovalListener(nullptr, nullptr);
}

void RunStats::print(FILE* out) const {
  if (!collect_) return;
  const std::vector<LuaStateSnapshot> live = LuaStateRegistry::instance().snapshot();
  const LuaStateTotals totals = LuaStateRegistry::instance().totals();
  std::fprintf(out, "Lua states:\n%-36s %10s %11s %11s %8s\n", "state", "in use", "peak", "alloc ms", "load");
  for (const LuaStateSnapshot& state : closed_) printRow(out, state, "closed");
  for (const LuaStateSnapshot& state : live) printRow(out, state, "live");
  std::fprintf(out,
               "totals: %llu closed, %llu bytes left, %llu peak bytes, %.3f ms allocating, %.3f s spare; %zu "
               "live\n",
               static_cast<unsigned long long>(totals.closedStates),
               static_cast<unsigned long long>(totals.bytesLeft),
               static_cast<unsigned long long>(totals.peakBytes), totals.allocSeconds * 1000.0,
               totals.spareSeconds, live.size());
  std::fflush(out);
}
