#include "assert/TerminalDialogSystem.h"

#include <cctype>

#include "assert/CustomWinDialogBox.h"
#include "platform/qk_platform.h"

namespace qkAssert {

namespace {

using Kind = CustomWinDialogBox::ControlKind;

// The letter after the first single "&" of a control's text, lower case; 0 for none.
char shortcut_of(const std::string& text) {
  for (size_t i = 0; i + 1 < text.size(); ++i) {
    if (text[i] != '&') continue;
    if (text[i + 1] == '&') {
      ++i;
      continue;
    }
    return char(std::tolower(static_cast<unsigned char>(text[i + 1])));
  }
  return 0;
}

// A control's text as the question shows it: the shortcut letter in brackets, "&&" as "&".
std::string label_of(const std::string& text) {
  std::string shown;
  bool marked = false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '&' && i + 1 < text.size()) {
      ++i;
      if (text[i] != '&' && !marked) {
        shown += '[';
        shown += text[i];
        shown += ']';
        marked = true;
        continue;
      }
    }
    shown += text[i];
  }
  return shown;
}

// A control's text without its shortcut mark.
std::string plain_of(const std::string& text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '&' && i + 1 < text.size()) ++i;
    plain += text[i];
  }
  return plain;
}

// A text for the terminal: carriage returns dropped, other control characters (which could steer
// the terminal) shown as "?".
std::string printable(const std::string& text) {
  std::string shown;
  shown.reserve(text.size() + 1);
  for (char c : text) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (c == '\r') continue;
    shown += (byte < 0x20 && c != '\n' && c != '\t') || byte == 0x7F ? '?' : c;
  }
  if (shown.empty() || shown.back() != '\n') shown += '\n';
  return shown;
}

const CustomWinDialogBox::Control* default_button(const CustomWinDialogBox& box) {
  for (const auto& control : box.controls())
    if (control.kind == Kind::button && control.is_default) return &control;
  return nullptr;
}

}  // namespace

IDialogSystem& platform_dialog_system() {
  static TerminalDialogSystem* const system = new TerminalDialogSystem;  // kept for assertions at exit
  return *system;
}

// ---- What the template needs -----------------------------------------------------------------

bool TerminalDialogSystem::message_font(DialogFont& font, int32_t& dots_per_inch) {
  font = {-12, 400, 0, 1, u"Sans"};
  dots_per_inch = 96;
  return true;
}

bool TerminalDialogSystem::map_thousand_dialog_units(int32_t& right, int32_t& bottom) {
  right = 1500;
  bottom = 1625;
  return true;
}

void TerminalDialogSystem::screen_size(int32_t& width, int32_t& height) {
  width = 1920;
  height = 1080;
}

// ---- Running a dialog ------------------------------------------------------------------------

intptr_t TerminalDialogSystem::run(CustomWinDialogBox& box) {
  const bool outermost = windows_.empty();
  if (outermost) terminal_ = qk_platform_terminal_open();
  if (!terminal_) return -1;  // no controlling terminal: no one to ask
  Window current{&box, {}, false, -1};
  windows_.push_back(&current);
  runs_ += 1;
  CustomWinDialogBox::procedure(*this, &current, kMessageInitDialog, 0, reinterpret_cast<intptr_t>(&box));
  std::string line;
  bool whole = true;
  while (!current.ended) {
    show(current, whole);
    if (!qk_platform_terminal_read_line(terminal_, line)) {
      CustomWinDialogBox::forget(&current);  // hung up: no answer will come
      current.result = -1;
      break;
    }
    // After a dialog of its own (Help) the window is shown whole again, else its choices only.
    const size_t runs_before = runs_;
    answer(current, line);
    whole = runs_ != runs_before;
  }
  windows_.pop_back();
  if (outermost) {
    qk_platform_terminal_close(terminal_);
    terminal_ = nullptr;
  }
  return current.result;
}

void TerminalDialogSystem::write(const std::string& text) {
  qk_platform_terminal_write(terminal_, text.data(), text.size());
}

void TerminalDialogSystem::show(const Window& current, bool whole) {
  const CustomWinDialogBox& box = *current.box;
  std::string text;
  if (whole) {
    text = "\n== " + printable(box.title());
    text.insert(text.size() - 1, " ==");
    for (const auto& control : box.controls())
      if (control.kind == Kind::multi_line_text) text += printable(control.text) + "\n";
  }
  std::string labels, boxes, buttons;
  for (const auto& control : box.controls()) {
    switch (control.kind) {
      case Kind::multi_line_text: break;
      case Kind::label: labels += (labels.empty() ? "" : " ") + control.text; break;
      case Kind::check_box: {
        const auto state = current.checked.find(control.id);
        const bool on = state != current.checked.end() && state->second;
        boxes += std::string(boxes.empty() ? "" : "  ") + (on ? "(x) " : "( ) ") + label_of(control.text);
        break;
      }
      case Kind::button: buttons += (buttons.empty() ? "" : "  ") + label_of(control.text); break;
    }
  }
  if (!boxes.empty())
    text += (labels.empty() ? "" : labels + ": ") + boxes + "\n";
  else if (!labels.empty())
    text += labels + "\n";
  text += buttons + "\n";
  text += "Choose (letters, then Enter";
  if (const auto* fallback = default_button(box)) text += "; Enter alone: " + plain_of(fallback->text);
  text += "): ";
  write(text);
}

bool TerminalDialogSystem::answer(Window& current, const std::string& line) {
  std::string letters;
  for (char c : line)
    if (c != ' ' && c != '\t' && c != '\r') letters += c;
  CustomWinDialogBox& box = *current.box;
  if (letters == "\x1b") {  // Esc: the close gesture
    CustomWinDialogBox::procedure(*this, &current, kMessageCommand, kIdCancel, 0);
    if (current.ended) return true;
    write("This question can't be closed without a choice.\n");
    return false;
  }
  std::vector<uint16_t> toggles;
  const CustomWinDialogBox::Control* pressed = nullptr;
  if (letters.empty()) {
    pressed = default_button(box);
    if (!pressed) {
      write("Please choose one of the buttons.\n");
      return false;
    }
  }
  for (char c : letters) {
    const char letter = char(std::tolower(static_cast<unsigned char>(c)));
    const CustomWinDialogBox::Control* found = nullptr;
    for (const auto& control : box.controls())
      if ((control.kind == Kind::button || control.kind == Kind::check_box) && letter != 0 &&
          shortcut_of(control.text) == letter)
        found = &control;
    if (!found) {
      const unsigned char byte = static_cast<unsigned char>(c);
      const std::string shown = byte < 0x20 ? std::string("^") + char(byte + 0x40) : std::string(1, c);
      write("No choice has the letter '" + shown + "'; nothing was changed.\n");
      return false;
    }
    if (found->kind == Kind::check_box) {
      toggles.push_back(found->id);
    } else if (pressed && pressed != found) {
      write("Please choose one button at a time; nothing was changed.\n");
      return false;
    } else {
      pressed = found;
    }
  }
  // A check box is ticked or cleared, then told to the window procedure as a click.
  for (uint16_t id : toggles) {
    current.checked[id] = !current.checked[id];
    CustomWinDialogBox::procedure(*this, &current, kMessageCommand, id, 0);
  }
  if (pressed) CustomWinDialogBox::procedure(*this, &current, kMessageCommand, pressed->id, 0);
  return true;
}

// ---- The window procedure's calls ------------------------------------------------------------

TerminalDialogSystem::Window* TerminalDialogSystem::window(DialogHandle dialog) {
  for (Window* w : windows_)
    if (w == dialog) return w;
  return nullptr;
}

void TerminalDialogSystem::check_dlg_button(DialogHandle dialog, uint16_t id, bool checked) {
  if (Window* w = window(dialog)) w->checked[id] = checked;
}

void TerminalDialogSystem::message_beep(uint32_t) {
  if (terminal_) write("\a");
}

DialogRect TerminalDialogSystem::client_rect(DialogHandle dialog) {
  const Window* w = window(dialog);
  if (!w) return {};
  const PackedRect rect = w->box->rect();
  return {0, 0, int32_t(rect.width), int32_t(rect.height)};
}

bool TerminalDialogSystem::is_dlg_button_checked(DialogHandle dialog, uint16_t id) {
  const Window* w = window(dialog);
  if (!w) return false;
  const auto state = w->checked.find(id);
  return state != w->checked.end() && state->second;
}

void TerminalDialogSystem::end_dialog(DialogHandle dialog, intptr_t id) {
  if (Window* w = window(dialog)) {
    w->ended = true;
    w->result = id;
  }
}

}  // namespace qkAssert
