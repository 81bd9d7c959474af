#include "qk_text.h"

#include <boost/container/small_vector.hpp>

#include "platform/qk_platform.h"

std::string qk_to_utf8(const qk::wchar* text) {
  if (!text || !*text) return std::string();
  const int size = qk_platform_utf16_to_utf8(text, -1, nullptr, 0);
  boost::container::small_vector<char, 256, qk::allocator<char>> bytes(size_t(size > 0 ? size : 1),
                                                                        boost::container::default_init);
  const int written = qk_platform_utf16_to_utf8(text, -1, bytes.data(), size);
  if (written <= 0) return std::string();
  return std::string(bytes.data());
}

qk::wstring qk_to_wide(std::string_view text) {
  const size_t room = size_t(qk_utf16_length(text, false).written) + 1;
  boost::container::small_vector<qk::wchar, 256, qk::allocator<qk::wchar>> units(
      room, boost::container::default_init);
  const int written = qk_platform_utf8_to_utf16(text.data(), -1, units.data(), int(room));
  if (written <= 1) return qk::wstring();
  return qk::wstring(units.data(), size_t(written - 1));
}
