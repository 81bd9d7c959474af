#include "TextEscape.h"

#include "Utf8Form.h"
#include "qk_format.h"

namespace {

void escapeByte(std::string& out, char c, bool escapeQuote) {
  const unsigned char byte = static_cast<unsigned char>(c);
  if (c == '\r')
    out += "\\r";
  else if (c == '\n')
    out += "\\n";
  else if (c == '\t')
    out += "\\t";
  else if (c == '\\')
    out += "\\\\";
  else if (c == '"' && escapeQuote)
    out += "\\\"";
  else if (byte < 0x20 || byte == 0x7F)
    out += qk_format("\\x%02X", byte);
  else
    out += c;
}

std::string escaped(std::string_view text, bool escapeQuote) {
  std::string out;
  // Well-formed UTF-8 passes whole; from the first bad byte on, each character is looked at alone.
  while (!text.empty()) {
    const size_t good = wellFormedPrefix(text);
    for (char c : text.substr(0, good)) escapeByte(out, c, escapeQuote);
    if (good == text.size()) break;
    out += qk_format("\\x%02X", static_cast<unsigned char>(text[good]));
    text.remove_prefix(good + 1);
  }
  return out;
}

}  // namespace

std::string visibleText(std::string_view text) { return escaped(text, false); }

std::string quotedText(std::string_view text) { return "\"" + escaped(text, true) + "\""; }
