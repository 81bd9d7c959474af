// Texts made visible for a reader: control bytes and backslashes escaped, so that one value stays
// on one line of the tool's output.
#pragma once

#include <string>
#include <string_view>

// "\r", "\n", "\t", "\\" and "\xNN" for the other control bytes and for each byte that isn't part of
// well-formed UTF-8 (a text saved as Latin-1 reads "B\xE9ton"); everything else as it stands.
std::string visibleText(std::string_view text);
// The same in double quotes, with a double quote escaped as well.
std::string quotedText(std::string_view text);
