#include "qkvfs/FileFailure.h"

#include <cstdarg>
#include <string>

#include "FixedString.h"
#include "qk_log.h"

namespace qkvfs {

namespace {

void write_line(std::string_view path, std::string_view system_text, const char* operation, va_list args) {
  FixedString<1024> what;
  what.vformat(operation, args);
  FixedString<1024> why;
  why.assign(system_text.empty() ? std::string_view("Unknown error") : system_text);
  qk_log(QKCORESTATIC, qk::log::ERROR, "[%.*s] %s: %s", int(path.size()), path.data(), what.c_str(),
         why.c_str());
}

}  // namespace

void log_file_failure(std::string_view path, qk_platform_error code, const char* operation, ...) {
  const std::string text = qk_system_error_text(code);
  va_list args;
  va_start(args, operation);
  write_line(path, text, operation, args);
  va_end(args);
}

void log_file_failure_text(std::string_view path, const char* system_text, const char* operation, ...) {
  va_list args;
  va_start(args, operation);
  write_line(path, system_text ? system_text : "", operation, args);
  va_end(args);
}

}  // namespace qkvfs
