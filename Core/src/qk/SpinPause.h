// qk_spin_pause: the pause of a spin-wait.
//
// Tells the processor that the caller is spinning on a word another thread holds, so that it
// neither floods the holder's cache line with reads nor starves a sibling hardware thread, and
// leaves the memory-order speculation that a plain loop ends with. A plain call on processors
// without such an instruction. Safe from any thread; no state.
#pragma once

inline void qk_spin_pause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}
