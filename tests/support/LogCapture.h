// Captures standard error for a scope, where the log writes its lines while it isn't started, and
// picks out the texts of the core's ERROR lines.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "TestPlatform.h"
#include "platform/qk_fs.h"

class LogCapture {
 public:
  LogCapture() { testing::internal::CaptureStderr(); }
  ~LogCapture() {
    if (!taken_) testing::internal::GetCapturedStderr();
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // The texts of the ERROR lines under QKCORESTATIC written since the capture began; ends it.
  std::vector<std::string> errors() { return matching("ERROR  ", false); }

  // Every line under QKCORESTATIC as "LEVEL text" (the level's word without its padding); ends it.
  std::vector<std::string> lines() { return matching("[A-Z_]+ *", true); }

 private:
  std::vector<std::string> matching(const std::string& level, bool with_level) {
    taken_ = true;
    const std::string captured = testing::internal::GetCapturedStderr();
    const std::regex line("^\\S+ \\S+ (" + level + ") QKCORESTATIC \\([^)]*\\): (.*)$");
    std::vector<std::string> texts;
    std::istringstream lines(captured);
    std::smatch match;
    for (std::string text; std::getline(lines, text);) {
      // A Win32 system text ends in its own line break, which the log keeps: "...\r\n" and the
      // line's end.
      while (!text.empty() && text.back() == '\r') text.pop_back();
      if (!std::regex_match(text, match, line)) continue;
      std::string word = match[1];
      word.erase(word.find_last_not_of(' ') + 1);
      texts.push_back(with_level ? word + " " + std::string(match[2]) : std::string(match[2]));
    }
    return texts;
  }

  bool taken_ = false;
};

// The number of descriptors (on Windows: handles) the process has open.
inline int open_descriptor_count() { return qk_test_open_handle_count(); }

// The system's words for an error number as a log line ends with them (without the line break a
// Win32 text brings).
inline std::string system_words(int code) {
  std::string text = qk_system_error_text(code);
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}
inline std::string system_words(qk_test_failure failure) { return system_words(qk_test_error(failure)); }
