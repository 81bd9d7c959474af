#include "Module.h"

#include <algorithm>

int LoadStringW(HINSTANCE instance, UINT id, MCHAR* buffer, int size) {
  if (!instance || !buffer || size <= 0) return 0;
  for (size_t i = 0; i < instance->stringCount; ++i) {
    if (instance->strings[i].id != id) continue;
    const MSTR text = qk_to_wide(instance->strings[i].text);
    const int length = std::min(static_cast<int>(text.size()), size - 1);
    std::copy_n(text.data(), length, buffer);
    buffer[length] = 0;
    return length;
  }
  buffer[0] = 0;
  return 0;
}

const DialogTemplate* FindDialogTemplate(HINSTANCE instance, int id) {
  if (!instance) return nullptr;
  for (size_t i = 0; i < instance->dialogCount; ++i)
    if (instance->dialogs[i].id == id) return &instance->dialogs[i];
  return nullptr;
}
