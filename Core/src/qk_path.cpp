#include "qk_path.h"

#include <boost/container/small_vector.hpp>
#include <cstring>
#include <memory>

#include "platform/qk_fs.h"
#include "platform/qk_platform.h"
#include "qk_case_fold.h"
#include "qk_utf8.h"

namespace {

// ---- Units in, bytes out ---------------------------------------------------------------------

// Steps through the units of a UTF-8 text with the core's decoder. A zero unit ends the text.
class UnitCursor {
 public:
  explicit UnitCursor(std::string_view text) : text_(text) {}

  // The next unit in `unit`; false at the end.
  bool next(unsigned& unit) {
    if (at_ >= text_.size()) return false;
    const auto byte = static_cast<unsigned char>(text_[at_]);
    if (byte < 0x80) {
      unit = byte;
      ++at_;
    } else {
      qk::wchar decoded = 0;  // what a lead that stores nothing leaves: a zero, ending the text
      const qk::utf8_result step = qk_utf8_to_utf16(&decoded, &decoded + 1, text_.substr(at_), false);
      unit = decoded;
      at_ += step.consumed ? size_t(step.consumed) : 1;
    }
    return unit != 0;
  }

 private:
  std::string_view text_;
  size_t at_ = 0;
};

// Bytes of one unit encoded alone (a surrogate too), as the core's converter writes it.
size_t encode_unit(unsigned unit, char* out) {
  if (unit < 0x80) {
    out[0] = char(unit);
    return 1;
  }
  if (unit < 0x800) {
    out[0] = char(0xC0 | (unit >> 6));
    out[1] = char(0x80 | (unit & 0x3F));
    return 2;
  }
  out[0] = char(0xE0 | (unit >> 12));
  out[1] = char(0x80 | ((unit >> 6) & 0x3F));
  out[2] = char(0x80 | (unit & 0x3F));
  return 3;
}

// The two kinds of output behind one face: append, cut back, length.
// Writes straight into the buffer's memory and sets its length once, at the end.
struct BufferOut {
  PathBufferBase& buffer;
  size_t used = 0;

  void clear() { used = 0; }
  void put(const char* bytes, size_t n) {
    if (used + n > buffer.capacity()) {
      buffer.set_size(used);  // what growing keeps
      if (!buffer.reserve(used + n)) return;
    }
    std::memcpy(buffer.data() + used, bytes, n);
    used += n;
  }
  void cut(size_t length) { used = length; }
  size_t length() const { return used; }
  void finish() { buffer.set_size(used); }
};

struct StringOut {
  std::string& text;
  void clear() { text.clear(); }
  void put(const char* bytes, size_t n) { text.append(bytes, n); }
  void cut(size_t length) { text.resize(length); }
  size_t length() const { return text.size(); }
  void finish() {}
};

// ---- The fold --------------------------------------------------------------------------------

// Every unit's fold: the table's value where it changes the unit, towlower's otherwise.
struct FoldTable {
  uint16_t units[0x10000];

  FoldTable() {
    qk_platform_lower_units(units);
    for (size_t i = 0; i < qk_path_fold_run_count; ++i) {
      const qk_path_fold_run& run = qk_path_fold_runs[i];
      for (unsigned u = run.first; u <= run.last; u += run.step) units[u] = uint16_t(int(u) + run.delta);
    }
  }
};

const FoldTable& fold_table() {
  static const std::unique_ptr<FoldTable> table(new FoldTable);
  return *table;
}

// ---- Normalisation ---------------------------------------------------------------------------

bool is_separator(unsigned unit) { return unit == '/' || unit == '\\'; }

enum State {
  kStart = 0,          // nothing read
  kSeparators = 1,     // only separators read
  kBehindSep = 2,      // behind a separator, inside the path
  kLeadDot = 3,        // one dot at the path's start
  kLeadDots = 4,       // two dots at the path's start
  kSepDot = 5,         // separator and one dot
  kSepDots = 6,        // separator and two dots
  kBehindLeadDot = 7,  // separators behind a leading "./"
  kName = 8,           // inside a name
};

template <class Out>
class Normalizer {
 public:
  Normalizer(Out out, bool fold) : out_(out), fold_(fold ? fold_table().units : nullptr) {}

  void run(std::string_view path) {
    out_.clear();
    UnitCursor cursor(path);
    State state = kStart;
    for (unsigned unit; cursor.next(unit);) state = step(state, unit);
    finish(state);
    out_.finish();
  }

 private:
  State step(State state, unsigned c) {
    const bool sep = is_separator(c), dot = c == '.';
    switch (state) {
      case kStart:
        if (sep) return kSeparators;
        if (dot) return kLeadDot;
        push();
        unit(c);
        return kName;
      case kSeparators:
        if (sep) return kSeparators;
        if (dot) {
          text("/");
          return kLeadDot;
        }
        push();
        text("/");
        unit(c);
        return kName;
      case kLeadDot:
        if (sep) return kBehindLeadDot;
        if (dot) return kLeadDots;
        text(".");
        unit(c);
        return kName;
      case kLeadDots:
        if (sep) {
          text("..");
          return kBehindSep;
        }
        if (dot) {
          text("...");
          return kName;
        }
        unit(c);  // the two dots are dropped: "..a" is "a"
        return kName;
      case kBehindLeadDot:
        if (sep) return kBehindLeadDot;
        if (dot) return kLeadDot;
        unit(c);
        return kName;
      case kName:
        if (sep) return kBehindSep;
        unit(c);
        return kName;
      case kBehindSep:
        if (sep) return kBehindSep;
        if (dot) return kSepDot;
        push();
        text("/");
        unit(c);
        return kName;
      case kSepDot:
        if (sep) return kBehindSep;
        if (dot) return kSepDots;
        text("/.");
        unit(c);
        return kName;
      case kSepDots:
        if (sep) {
          pop();
          return kBehindSep;
        }
        if (dot) {
          text("/...");
          return kName;
        }
        text("/..");
        unit(c);
        return kName;
    }
    return state;
  }

  void finish(State state) {
    switch (state) {
      case kSeparators:
      case kBehindSep: text("/"); break;
      case kLeadDots: text(".."); break;
      case kSepDots: pop(); break;
      default: break;
    }
  }

  void push() { starts_.push_back(out_.length()); }

  // Cuts back to the last segment start, or, with none, keeps the ".." as "/..".
  void pop() {
    if (starts_.empty()) {
      text("/..");
      return;
    }
    out_.cut(starts_.back());
    starts_.pop_back();
  }

  void text(const char* ascii) { out_.put(ascii, std::strlen(ascii)); }

  void unit(unsigned c) {
    if (fold_) c = fold_[c];
    char bytes[3];
    out_.put(bytes, encode_unit(c, bytes));
  }

  Out out_;
  const uint16_t* fold_;
  boost::container::small_vector<size_t, 16> starts_;
};

template <class Out>
void fold_into(std::string_view path, Out out) {
  out.clear();
  const uint16_t* fold = fold_table().units;
  UnitCursor cursor(path);
  char bytes[3];
  for (unsigned unit; cursor.next(unit);) out.put(bytes, encode_unit(fold[unit], bytes));
  out.finish();
}

}  // namespace

std::string_view qk_path_normalize(std::string_view path, PathBufferBase& out, bool fold) {
  Normalizer<BufferOut>(BufferOut{out}, fold).run(path);
  return out.view();
}

std::string_view qk_path_normalize(std::string_view path, std::string& out, bool fold) {
  Normalizer<StringOut>(StringOut{out}, fold).run(path);
  return out;
}

uint16_t qk_path_fold_unit(uint16_t unit) { return fold_table().units[unit]; }

std::string_view qk_path_fold(std::string_view path, PathBufferBase& out) {
  fold_into(path, BufferOut{out});
  return out.view();
}

std::string_view qk_path_fold(std::string_view path, std::string& out) {
  fold_into(path, StringOut{out});
  return out;
}

// ---- Real paths ------------------------------------------------------------------------------

int VFS_path_getreal(char* out, size_t size, const char* path) {
  if (size == 0) return 0;
  out[0] = 0;
  if (!path) return 0;
  bool converted = false;
  qk_fs_full_path(path, [&](qk::wstring_view full) {
    // Each unit takes at most three bytes; the result is then cut to the room given.
    const int room = int(full.size()) * 3 + 1;
    std::unique_ptr<char[]> bytes(new char[size_t(room)]);
    const int written = qk_platform_utf16_to_utf8(full.data(), int(full.size()), bytes.get(), room);
    if (written <= 0) return;
    const size_t length = size_t(written) < size - 1 ? size_t(written) : size - 1;
    std::memcpy(out, bytes.get(), length);
    out[length] = 0;
    converted = true;
  });
  return converted ? 1 : 0;
}

int qk_path_is_under(const char* parent, const char* child) {
  char resolved[2][256];
  if (!VFS_path_getreal(resolved[0], sizeof resolved[0], parent)) return 0;
  if (!VFS_path_getreal(resolved[1], sizeof resolved[1], child)) return 0;
  char folded[2][256];
  size_t length[2];
  for (int i = 0; i < 2; ++i) {
    const qk::utf8_result r = qk::transform_utf8(folded[i], folded[i] + sizeof folded[i], resolved[i],
                                                 [](unsigned short unit) { return qk_case_fold(unit); });
    length[i] = size_t(r.written);
  }
  return length[1] >= length[0] && std::memcmp(folded[0], folded[1], length[0]) == 0 ? 1 : 0;
}
