// CatalogueLint: a checker of the catalogue script, so that the artist never meets a silent
// surprise. It finds, per material and field path, each thing the loader
// (MaterialsList::loadMaterialsList) would silently drop, change or die on:
//
//   the load failing (the error box's exact text), an entry that isn't a table (the load stops
//   there), a catalogue written as an array, unknown fields at every level with "did you mean",
//   values of the wrong type (the default stands), textures dropped for a missing `tex` or
//   `channel`, a channel cut to an integer, unknown opacity and object words, a hole or other keys
//   that end or escape `allowed_nodes` and `allowed_objects`, uniform and define values that are
//   no text, uniform lines cut at 511 bytes, keys with a dot or of another type than text (the
//   look-up goes elsewhere), texts cut at a zero byte, retired names that become "default", no
//   "default" material, every look-up that would stop the host with a Lua panic, and names and
//   texts the host's wide conversion changes (not UTF-8: U+FFFD; a character beyond the Basic
//   Multilingual Plane: the whole text emptied).
//
// It reads the same table the loader reads: the script runs in the same kind of state (the
// loader's name and libraries, the same path conversion, the same load and protected run), and the
// tables are walked in the loader's order through the same dotted look-ups and text rules. Where
// the loader would index a value unchecked, the checker looks at the value first and reports the
// panic instead of meeting it, and all its reading runs in protected calls, so that a metamethod
// that raises is a finding too. It never touches the catalogue (MaterialsList) and shows no box.
//
// Called from one thread at a time; each call has its own Lua state.
#pragma once

#include <string>
#include <vector>

struct LintFinding {
  std::string path;        // the material and field: "rock.textures.detail"; "materials" for the table
  std::string code;        // the kind, a stable word: "unknown-field", "lua-panic", ...
  std::string message;     // what the host does with it, suggestion included
  std::string suggestion;  // the likely meant name or word, empty when there is none
  bool fatal = false;      // the load fails there, or the host stops
};

// Runs the catalogue script at `path` (the text the loader would be given, not empty) and checks
// what it leaves. The findings come in the loader's order of reading.
std::vector<LintFinding> lintCatalogue(const std::string& path);
