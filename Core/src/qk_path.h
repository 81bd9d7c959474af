// Path rules: the one normalisation of the system, the path case fold, and the lexical absolute
// path with the "is under" test built on it.
//
// A path that begins with "/" is virtual (qkvfs::Manager); any other is a real path of the system.
// Both kinds pass through qk_path_normalize. All functions here are pure (the absolute path reads
// the working directory) and may be called from any thread.
//
// Text is decoded from UTF-8 one UTF-16 unit at a time by the core's decoder (qk_utf8.h): a
// malformed sequence becomes U+FFFD, a character beyond the Basic Multilingual Plane one unit
// holding its low 16 bits, and a byte that can't begin a sequence (0xF8 and above) reads as a zero
// unit, which ends the text. The output is each unit encoded alone as UTF-8, so bad input never
// fails: it comes out replaced. Output in units is never longer than the input in units.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "PathBuffer.h"

// ---- Normalisation ---------------------------------------------------------------------------
//
// One pass over the units, up to the text's end or a zero unit. "/" and "\" both separate; the
// output always uses "/". With `fold`, every unit other than "." and the separators goes through
// qk_path_fold_unit as it is written. A stack of segment starts (16 in place, growing by 1.6
// beyond) lets ".." cut back; only a segment that begins behind a separator (or at the very
// start) is pushed, so a name behind a leading dot stays when ".." follows it, and a ".." with
// nothing to take appends "/..". Results that follow and are intended:
//
//   "/", "//", "\"  -> "/"       "a/.."      -> ""        "./a/../b"   -> "a/../b"
//   ".", "./"       -> ""        "a/../"     -> "/"       "/./a/../b"  -> "/a/../b"
//   "./a"           -> "a"       "a/../b"    -> "/b"      "a/.b/../c"  -> "/c"
//   ".a"            -> ".a"      "x/a/../b"  -> "x/b"     "a/..b"      -> "a/..b"
//   ".."            -> ".."      "/a/../b"   -> "/b"      "a/"         -> "a/"
//   "../", "../a"   -> same      "/a/.."     -> ""        "a//b", "a\b", "a/./b" -> "a/b"
//   "..a"           -> "a"       "/.."       -> "/.."     "a/."        -> "a"
//   "..."           -> "..."     "/a/../.."  -> "/.."
//
// The output replaces what `out` held; the answer views it.
std::string_view qk_path_normalize(std::string_view path, PathBufferBase& out, bool fold);
std::string_view qk_path_normalize(std::string_view path, std::string& out, bool fold);

// ---- Case fold -------------------------------------------------------------------------------
//
// The fold of one unit: a fixed table of 665 upper-case characters in the manner of an early
// Unicode release's simple lower-case mapping (qk_path_fold_table.cpp), and, where the table leaves
// the unit as it is, towlower in the fixed locale "C.UTF-8" (so that the process's own locale
// never changes a key). The whole fold is computed once, at the first call, into a table of all
// 65,536 units.
uint16_t qk_path_fold_unit(uint16_t unit);

// Every unit of `path` folded, up to its end or a zero unit, written as UTF-8 into `out`.
std::string_view qk_path_fold(std::string_view path, PathBufferBase& out);
std::string_view qk_path_fold(std::string_view path, std::string& out);

// The fold table itself: `count` runs, each mapping first, first + step, ... up to last to the
// unit plus delta. Exposed for its tests.
struct qk_path_fold_run {
  uint16_t first, last, step;
  int16_t delta;
};
extern const qk_path_fold_run qk_path_fold_runs[];
extern const size_t qk_path_fold_run_count;

// ---- Real paths ------------------------------------------------------------------------------

// The absolute form of `path`, made by text alone (behind the working directory; "." and empty
// parts dropped; ".." taking the part before it; the file needn't exist), as UTF-8 into `out`, cut
// to `size` - 1 bytes and terminated. 1 on success. 0 for a size of 0 (nothing written) and on
// failure (an empty or unusable path: `out` then holds the empty text).
int VFS_path_getreal(char* out, size_t size, const char* path);

// 1 when `child` lies under `parent`: both are made absolute into 256 bytes each and folded with
// qk_case_fold (the core's case folding, not the path fold), and the child's text must begin with
// the parent's. Nothing checks that the match ends at a separator, so "c:/data" is a parent of
// "c:/database": that prefix rule is deliberate. 0 when either can't be resolved.
int qk_path_is_under(const char* parent, const char* child);
