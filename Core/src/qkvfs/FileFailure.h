// The failure line of the real-file classes: ERROR under QKCORESTATIC,
//   [<path>] <operation>: <system text>
// with the operation's text formatted and cut to 1024 bytes and the system's words for `code` cut to
// 1024 bytes ("Unknown error" when the system has none).
#pragma once

#include <string_view>

#include "platform/qk_fs.h"
#include "qk_format.h"

namespace qkvfs {

void log_file_failure(std::string_view path, qk_platform_error code, const char* operation, ...)
    QK_PRINTF_FORMAT(3, 4);
// The same with the system's words given.
void log_file_failure_text(std::string_view path, const char* system_text, const char* operation, ...)
    QK_PRINTF_FORMAT(3, 4);

}  // namespace qkvfs
