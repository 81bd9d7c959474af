// LintReader: the reading half of the catalogue checker (CatalogueLint.h), private to its files.
//
// It walks Lua tables the way MaterialsLoader.cpp reads them, with the same results, but checked:
//   - keys are collected as readTableKeys collects them (a key that is no text repeats the text
//     before it), and walked again with lua_next in the same order beside the real key and value;
//   - a look-up resolves dotted names as Lua::Config does (each step but the last checked, the last
//     step indexes whatever it reached), except that the last step looks at the value first: where
//     the loader would index a number, a boolean or a function and stop the host with a Lua panic,
//     the reader reports that instead;
//   - texts are taken as popString takes them: strings and numbers, up to the first zero byte.
// Lua errors of metamethods aren't caught here; the checker runs the reader in protected calls.
#pragma once

#include <lua.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "CatalogueLint.h"

class LintReader {
 public:
  // Stack slots a walk and the reading of one entry need at most (Lua guarantees 20 to a C call).
  static constexpr int kStackPerLevel = 16;

  LintReader(lua_State* state, std::vector<LintFinding>& findings) : L(state), findings_(findings) {}

  void report(const std::string& path, const char* code, std::string message, std::string suggestion = {},
              bool fatal = false);

  // `path` with one more step: ".key" for a name Lua could write so, else ["key"] or [1].
  static std::string childPath(const std::string& path, std::string_view key);
  // The step of the real key at `index` (any type).
  std::string keyPath(const std::string& path, int index);

  struct Key {
    std::string text;  // what the loader looks up
    std::string path;  // where the real key stands
    int type;          // the real key's Lua type
    bool cut;          // a string key with a zero byte: the text ends before it
  };
  // The keys of the table at `table` (which stands at `path`) as readTableKeys gives them, with
  // `text` as its buffer.
  std::vector<Key> tableKeys(int table, const std::string& path, std::string& text);

  // Calls `visit(i, key, value)` for each entry of the table at `table` in lua_next order, with the
  // stack positions of the real key and value; `i` counts from 0, in the order of tableKeys.
  template <class Visit>
  void forEachEntry(int table, Visit visit) {
    // Room for this walk and what a visit pushes; nested walks each ask for their own.
    luaL_checkstack(L, kStackPerLevel, "the catalogue checker's walk");
    lua_pushnil(L);
    for (size_t i = 0; lua_next(L, table); ++i) {
      const int top = lua_gettop(L);
      visit(i, top - 1, top);
      lua_settop(L, top - 1);
    }
  }

  enum class Found { Value, Nothing, Panic };
  // Pushes what the loader's look-up of `name` in the table at `table` finds (nil for nothing).
  // Panic: the loader would index an unindexable value there; it is reported at `path` when
  // `reportPanic`, and nil is pushed.
  Found lookup(int table, const std::string& name, const std::string& path, bool reportPanic = true);

  // Takes the string or number at `index` as popString does; false for another type. A text cut
  // at a zero byte is reported at `path`.
  bool takeText(int index, std::string& out, const std::string& path);

  // Reports what the host's wide conversion does to `text` at `path`: `whole` names what it
  // empties when a character lies beyond the Basic Multilingual Plane; `badNote` is added to the
  // finding of a text that isn't UTF-8.
  void checkWideText(const std::string& path, std::string_view text, const char* whole,
                     const char* badNote = "");

  // Why the loader doesn't reach the entry of `key`: it looks up another name.
  std::string unreachedReason(const Key& key) const;

  // "a boolean", "a number", ... of the value at `index`.
  std::string typeOf(int index) const;

  lua_State* const L;

 private:
  std::vector<LintFinding>& findings_;
};

// One material of `materials` (the table at `materials`), the real value of key `key` at `value`.
// False when the loader's load would stop at this entry.
bool lintMaterial(LintReader& reader, int materials, const LintReader::Key& key, int value);
