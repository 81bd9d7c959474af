#include "platform/win32/qk_message_box_win32.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <climits>

namespace {

std::atomic<qk_platform_message_box_hook> installed_hook{nullptr};

}  // namespace

int qk_platform_message_box(const char16_t* text, const char16_t* caption, unsigned style,
                            bool over_active_window) {
  if (const qk_platform_message_box_hook hook = installed_hook.load()) return hook(text, caption, style);
  return MessageBoxW(over_active_window ? GetActiveWindow() : nullptr, reinterpret_cast<const wchar_t*>(text),
                     reinterpret_cast<const wchar_t*>(caption), style);
}

qk_platform_message_box_hook qk_platform_set_message_box_hook(qk_platform_message_box_hook hook) {
  return installed_hook.exchange(hook);
}

void qk_platform_ansi_to_utf16(const char* bytes, size_t size, char16_t* units) {
  std::fill(units, units + size, u'\0');
  const int count = int(std::min(size, size_t(INT_MAX)));
  if (count > 0) MultiByteToWideChar(CP_ACP, 0, bytes, count, reinterpret_cast<wchar_t*>(units), count);
}
