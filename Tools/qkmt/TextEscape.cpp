#include "TextEscape.h"

#include "qk_format.h"

namespace {

std::string escaped(std::string_view text, bool escapeQuote) {
  std::string out;
  for (char c : text) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (c == '\r') out += "\\r";
    else if (c == '\n') out += "\\n";
    else if (c == '\t') out += "\\t";
    else if (c == '\\') out += "\\\\";
    else if (c == '"' && escapeQuote) out += "\\\"";
    else if (byte < 0x20 || byte == 0x7F) out += qk_format("\\x%02X", byte);
    else out += c;
  }
  return out;
}

}  // namespace

std::string visibleText(std::string_view text) { return escaped(text, false); }

std::string quotedText(std::string_view text) { return "\"" + escaped(text, true) + "\""; }
