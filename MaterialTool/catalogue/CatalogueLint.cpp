// The catalogue checker's driver: the script runs as the loader runs it, then the table
// `materials` is read entry by entry, each material in a protected call of its own.
#include "CatalogueLint.h"

#include "HostServices.h"
#include "LintReader.h"
#include "MaterialsList.h"
#include "qk_format.h"
#include "qk_lua.h"
#include "qk_text.h"

namespace {

// The loader's state name: the script sees the same "QK.id" as in the host.
constexpr const char* kStateName = "MaterialsList::loadMaterialsList";

class StateHolder {
 public:
  StateHolder() : L(qk_lua_newstate(kStateName)) {}
  ~StateHolder() { qk_lua_close(L); }
  StateHolder(const StateHolder&) = delete;
  StateHolder& operator=(const StateHolder&) = delete;
  lua_State* const L;
};

std::string topText(lua_State* L) {
  if (const char* text = lua_tostring(L, -1)) return text;
  return qk_format("(error object is a %s value)", luaL_typename(L, -1));
}

struct Job {
  LintReader* reader;
  std::vector<LintFinding>* findings;
  std::string path;
};

// One material in its own protected call: 1 the Job, 2 `materials`, 3 the real value, 4 the index
// of its key.
struct MaterialJob {
  LintReader* reader;
  const LintReader::Key* key;
  bool loaded;
};

int lintOne(lua_State* L) {
  auto& job = *static_cast<MaterialJob*>(lua_touserdata(L, 1));
  job.loaded = lintMaterial(*job.reader, 2, *job.key, 3);
  return 0;
}

std::string nameList(const std::vector<LintReader::Key>& keys, size_t from) {
  std::string out;
  const size_t shown = 5;
  for (size_t i = from; i < keys.size() && i < from + shown; ++i)
    out += (i == from ? "" : ", ") + keys[i].text;
  if (keys.size() - from > shown) out += ", ...";
  return out;
}

// The index of the first entry that loads as "default": a table under a name that is or becomes
// "default"; -1 when there is none.
int firstDefault(LintReader& r, int materials, const std::vector<LintReader::Key>& keys) {
  int found = -1;
  r.forEachEntry(materials, [&](size_t i, int, int value) {
    if (found < 0 && lua_istable(r.L, value) && canonicalMaterialName(keys[i].text) == "default")
      found = static_cast<int>(i);
  });
  return found;
}

void lintEntries(lua_State* L, Job& job, int materials, const std::vector<LintReader::Key>& keys) {
  LintReader& r = *job.reader;
  const int defaultIndex = firstDefault(r, materials, keys);
  bool stopped = false;
  r.forEachEntry(materials, [&](size_t i, int, int value) {
    const LintReader::Key& key = keys[i];
    if (canonicalMaterialName(key.text) != key.text && lua_istable(L, value)) {
      std::string message = "\"" + key.text + "\" is a retired name: the entry is named \"default\" instead";
      if (defaultIndex >= 0 && static_cast<size_t>(defaultIndex) != i)
        message += ", beside the first \"default\" in the catalogue's order, \"" +
                   keys[static_cast<size_t>(defaultIndex)].text +
                   "\", which a look-up finds: this one is never used";
      r.report(key.path, "retired-name", message);
    }
    MaterialJob one{&r, &key, true};
    lua_pushcfunction(L, lintOne);
    lua_pushlightuserdata(L, &one);
    lua_pushvalue(L, materials);
    lua_pushvalue(L, value);
    if (lua_pcall(L, 3, 0, 0) != 0) {
      r.report(key.path, "lua-panic",
               "reading it raises an error outside a protected call: the host stops with a Lua panic (" +
                   topText(L) + ")",
               {}, true);
      return;
    }
    if (!one.loaded && !stopped && !job.findings->empty() && job.findings->back().code == "not-a-table") {
      stopped = true;
      if (i + 1 < keys.size())
        job.findings->back().message += qk_format("; the %zu materials after it aren't loaded (%s)",
                                                  keys.size() - i - 1, nameList(keys, i + 1).c_str());
    }
  });
  if (defaultIndex < 0)
    r.report("materials", "no-default",
             "no material is named \"default\": a new attribute starts with an empty name and all defaults");
}

// Protected: 1 the Job.
int lintTop(lua_State* L) {
  Job& job = *static_cast<Job*>(lua_touserdata(L, 1));
  LintReader& r = *job.reader;
  lua_pushstring(L, "materials");
  lua_gettable(L, LUA_GLOBALSINDEX);
  if (!lua_istable(L, -1)) {
    const std::string what = lua_isnil(L, -1) ? std::string("the script leaves no global table materials")
                                              : "materials is " + r.typeOf(-1);
    r.report("materials", "load-failed",
             what + ": the load fails with the box \"Parsing error in file:" + job.path + "\"", {}, true);
    return 0;
  }
  const int materials = lua_gettop(L);
  std::string text;
  const std::vector<LintReader::Key> keys = r.tableKeys(materials, "", text);
  if (keys.empty()) {
    r.report("materials", "empty-catalogue",
             "materials is empty: the host has nothing to offer, and runs the script again at each need");
    return 0;
  }
  bool array = true;
  for (const LintReader::Key& key : keys) array = array && key.type == LUA_TNUMBER;
  if (array) {
    r.report(
        "materials", "array-catalogue",
        "the catalogue is written as an array: its entries have no names, and the load stops at the first "
        "with the box \"Can't parse material: " +
            keys.front().text + "\"; write materials = { name = { ... }, ... }",
        {}, true);
    return 0;
  }
  lintEntries(L, job, materials, keys);
  return 0;
}

}  // namespace

std::vector<LintFinding> lintCatalogue(const std::string& path) {
  std::vector<LintFinding> findings;
  StateHolder state;
  lua_State* L = state.L;
  LintReader reader(L, findings);
  qk_lua_openlibs(L);
  // The loader's conversion of its path: through the host's ANSI code page and back to UTF-8.
  const std::string converted = qk_to_utf8(hostServices().ansiToWide(path).c_str());
  const char* box = nullptr;
  if (qk_lua_loadfile(L, converted.c_str()) != 0)
    box = "Can't load file: ";
  else if (qk_lua_pcall(L, 0, 0, 0) != 0)
    box = "Can't parse file: ";
  if (box) {
    reader.report(
        "materials", "load-failed",
        "the load fails with the box \"" + std::string(box) + path + ". Reason: " + topText(L) + "\"", {},
        true);
    return findings;
  }
  Job job{&reader, &findings, path};
  lua_pushcfunction(L, lintTop);
  lua_pushlightuserdata(L, &job);
  if (lua_pcall(L, 1, 0, 0) != 0)
    reader.report("materials", "lua-panic",
                  "reading it raises an error outside a protected call: the host stops with a Lua panic (" +
                      topText(L) + ")",
                  {}, true);
  return findings;
}
