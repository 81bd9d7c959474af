// Win32 implementation of what platform/qk_fs.h asks of the shell: a delete into the recycle bin
// (the shell's file operation object) and the opener of a file or URL (ShellExecuteW).
#include "platform/win32/Win32Path.h"
// The shell's headers after windows.h.
#include <shellapi.h>
#include <shobjidl.h>

#include <string>

#include "platform/qk_fs.h"
#include "qk_log.h"

namespace {

// Holds a COM interface pointer and releases it on every way out.
template <class Interface>
class ComPtr {
 public:
  ComPtr() = default;
  ~ComPtr() {
    if (pointer_) pointer_->Release();
  }
  ComPtr(const ComPtr&) = delete;
  ComPtr& operator=(const ComPtr&) = delete;

  Interface* operator->() const { return pointer_; }
  Interface* get() const { return pointer_; }
  void** out() { return reinterpret_cast<void**>(&pointer_); }

 private:
  Interface* pointer_ = nullptr;
};

// To the recycle bin, with no confirmation, no progress and no error window.
constexpr DWORD kRecycleFlags =
    FOF_SILENT | FOF_NOCONFIRMATION | FOF_ALLOWUNDO | FOF_NOCONFIRMMKDIR | FOF_NOERRORUI;
static_assert(kRecycleFlags == 1620, "the recycle bin's operation flags");

}  // namespace

// Called by qk_fs_delete. COM must have been initialised on the calling thread by the caller.
bool qk_fs_delete_to_recycle_bin(std::string_view path) {
  ComPtr<IFileOperation> operation;
  HRESULT result =
      CoCreateInstance(CLSID_FileOperation, nullptr, CLSCTX_ALL, IID_IFileOperation, operation.out());
  if (FAILED(result)) {
    const std::string text = qk_system_error_text(int(result));
    qk_log(QKCORESTATIC, qk::log::ERROR, "Failed to create IFileOperation: %s", text.c_str());
    return false;
  }
  // The shell parses full paths only, so a relative one is put behind the working directory.
  const qk_win32::Win32Path name(path);
  wchar_t full[MAX_PATH];
  DWORD units = 0;
  if (name.error()) {
    result = HRESULT_FROM_WIN32(name.error());
  } else if ((units = GetFullPathNameW(name.c_str(), MAX_PATH, full, nullptr)) == 0 || units >= MAX_PATH) {
    result = HRESULT_FROM_WIN32(units == 0 ? GetLastError() : DWORD(ERROR_FILENAME_EXCED_RANGE));
  }
  ComPtr<IShellItem> item;
  if (result == S_OK) result = operation->SetOperationFlags(kRecycleFlags);
  if (result == S_OK) result = SHCreateItemFromParsingName(full, nullptr, IID_IShellItem, item.out());
  if (result == S_OK) result = operation->DeleteItem(item.get(), nullptr);
  if (result == S_OK) result = operation->PerformOperations();
  if (result == S_OK) return true;
  qk_win32::log_failure("delete", path, DWORD(result));
  return false;
}

int qk_shell_open(std::string_view path) {
  // The system's conversion, so that every name can be spelt; a URL may be longer than a path.
  std::wstring wide(path.size(), L'\0');
  const int units = path.empty() ? 0
                                 : MultiByteToWideChar(CP_UTF8, 0, path.data(), int(path.size()), &wide[0],
                                                       int(wide.size()));
  wide.resize(size_t(units > 0 ? units : 0));
  const auto result =
      reinterpret_cast<INT_PTR>(ShellExecuteW(nullptr, L"open", wide.c_str(), nullptr, nullptr, SW_SHOW));
  return result < 33 ? int(result) : 0;
}
