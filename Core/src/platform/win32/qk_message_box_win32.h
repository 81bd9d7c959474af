// The window system's message box and ANSI code page, for the plug-in library's host services on
// Windows (the boxes the artist must see: a catalogue that can't be read, a texture report, a
// rollup whose material went away) and for the log's fatal-level question.
//
// A box is MessageBoxW: modal, on the calling thread, until a button closes it. So that no test
// ever waits for a person, a process may install a hook that answers in the box's place: while
// one is installed, no box appears and the hook's answer is the box's. The hook is process-wide
// and atomic; it is called on the thread that asked for the box.
#pragma once

#include <cstddef>

// The answers of a box: the id of the button that closed it (IDOK 1, IDCANCEL 2, IDABORT 3,
// IDRETRY 4, IDIGNORE 5, IDYES 6, IDNO 7), 0 when it couldn't be shown.
//
// Shows `text` under `caption` with `style` (MB_... bits). The owner is the calling thread's
// active window when `over_active_window`, else none.
int qk_platform_message_box(const char16_t* text, const char16_t* caption, unsigned style,
                            bool over_active_window);

// Answers a box in its place: gets the text, caption and style the box would have shown.
using qk_platform_message_box_hook = int (*)(const char16_t* text, const char16_t* caption, unsigned style);
// Installs `hook` (null to show real boxes again) and answers the one installed before.
qk_platform_message_box_hook qk_platform_set_message_box_hook(qk_platform_message_box_hook hook);

// Widens `size` bytes with the system's ANSI code page (MultiByteToWideChar, code page 0) into
// `units`, which holds `size` units: one per byte for a single-byte code page, fewer for a
// multi-byte one, zeros behind them. Bytes that can't be converted leave all zeros.
void qk_platform_ansi_to_utf16(const char* bytes, size_t size, char16_t* units);
