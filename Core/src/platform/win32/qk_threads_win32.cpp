// The platform's threads on Windows: CreateThread, the system's thread ids, thread descriptions
// as names (SetThreadDescription where the system has it) and the fail-fast stop.
#include <windows.h>

#include <cstring>
#include <new>

#include "platform/qk_threads.h"

namespace {

HANDLE to_handle(qk_platform_thread_handle handle) { return reinterpret_cast<HANDLE>(handle.handle); }

// What the new thread needs until it has named itself and started its entry.
struct Start {
  void (*entry)(void*);
  void* argument;
  char name[16];
};

DWORD WINAPI thread_main(void* start_block) {
  const Start start = *static_cast<Start*>(start_block);
  delete static_cast<Start*>(start_block);
  if (start.name[0]) qk_platform_thread_set_name(start.name);
  start.entry(start.argument);
  return 0;
}

void copy_name(char (&out)[16], const char* name) {
  const size_t length = name ? strnlen(name, sizeof out - 1) : 0;
  if (length) std::memcpy(out, name, length);
  out[length] = 0;
}

// SetThreadDescription exists from Windows 10 1607 on; looked up once, absent elsewhere.
using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);

SetDescription set_description() {
  static const SetDescription function = [] {
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    return kernel ? reinterpret_cast<SetDescription>(
                        reinterpret_cast<void (*)()>(GetProcAddress(kernel, "SetThreadDescription")))
                  : nullptr;
  }();
  return function;
}

}  // namespace

uint32_t qk_platform_thread_id() { return uint32_t(GetCurrentThreadId()); }

// The fail-fast interrupt with the code in ECX (what the compiler intrinsic __fastfail emits): the
// system ends the process at once, with no handler of the process's own.
void qk_platform_fast_fail(unsigned code) {
  asm volatile("int $0x29" : : "c"(code) : "memory");
  __builtin_unreachable();
}

int qk_platform_thread_start(qk_platform_thread_handle& out, const qk_platform_thread_options& options,
                             void (*entry)(void*), void* argument) {
  out = {};
  auto* start = new (std::nothrow) Start{entry, argument, {}};
  if (!start) return ERROR_NOT_ENOUGH_MEMORY;
  copy_name(start->name, options.name);
  // Suspended until the affinity is set, so that no instruction runs elsewhere.
  DWORD flags = CREATE_SUSPENDED;
  if (options.stack_size) flags |= STACK_SIZE_PARAM_IS_A_RESERVATION;
  const HANDLE thread = CreateThread(nullptr, SIZE_T(options.stack_size), thread_main, start, flags, nullptr);
  if (!thread) {
    const DWORD error = GetLastError();
    delete start;
    return int(error);
  }
  if (options.affinity != ~uint64_t(0) && !SetThreadAffinityMask(thread, DWORD_PTR(options.affinity))) {
    const DWORD error = GetLastError();
    // Never resumed: the thread ends without running its entry, and the block is ours again.
    TerminateThread(thread, 0);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    delete start;
    return int(error);
  }
  ResumeThread(thread);
  out.handle = reinterpret_cast<uintptr_t>(thread);
  out.valid = true;
  return 0;
}

int qk_platform_error_busy() { return ERROR_BUSY; }

int qk_platform_thread_join(qk_platform_thread_handle handle) {
  if (!handle.valid) return ERROR_INVALID_HANDLE;
  if (GetThreadId(to_handle(handle)) == GetCurrentThreadId()) return ERROR_POSSIBLE_DEADLOCK;
  if (WaitForSingleObject(to_handle(handle), INFINITE) != WAIT_OBJECT_0) return int(GetLastError());
  CloseHandle(to_handle(handle));
  return 0;
}

void qk_platform_thread_detach(qk_platform_thread_handle handle) {
  if (handle.valid) CloseHandle(to_handle(handle));
}

bool qk_platform_thread_is_current(qk_platform_thread_handle handle) {
  return handle.valid && GetThreadId(to_handle(handle)) == GetCurrentThreadId();
}

void qk_platform_thread_set_name(const char* name) {
  const SetDescription describe = set_description();
  if (!describe) return;
  char cut[16];
  copy_name(cut, name);
  wchar_t wide[16];
  if (MultiByteToWideChar(CP_UTF8, 0, cut, -1, wide, 16) > 0) describe(GetCurrentThread(), wide);
}
