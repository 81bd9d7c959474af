#include "WindowsHostServices.h"

#include "platform/win32/qk_message_box_win32.h"

int WindowsHostServices::messageBox(const qk::wchar* text, const qk::wchar* caption, unsigned style) {
  return qk_platform_message_box(text, caption, style, true);
}

qk::wstring WindowsHostServices::ansiToWide(std::string_view bytes) {
  qk::wstring wide(bytes.size(), u'\0');
  qk_platform_ansi_to_utf16(bytes.data(), bytes.size(), wide.data());
  return wide;
}
