#include "assert/CustomWinDialogBox.h"

#include <mutex>
#include <regex>
#include <utility>

#include "qk/CriticalSection.h"
#include "qk_utf8.h"

namespace qkAssert {

namespace {

constexpr uint32_t kDialogStyle = 0x00C400C0;
constexpr uint32_t kSystemMenu = 0x00080000;
constexpr uint32_t kVisibleForeground = 0x10000200;
constexpr uint32_t kDialogExStyle = 0x20300;

constexpr uint32_t kButtonStyle = 0x50000000;
constexpr uint32_t kCheckBoxStyle = 0x50000003;
constexpr uint32_t kGroupStyle = 0x00030000;
constexpr uint32_t kTabStop = 0x00010000;
constexpr uint32_t kDefaultButton = 0x1;
constexpr uint32_t kMultiLineTextStyle = 0x50A30844;
constexpr uint32_t kLabelStyle = 0x50000001;

constexpr uint32_t kButtonClass = 0x0080FFFF;
constexpr uint32_t kEditClass = 0x0081FFFF;
constexpr uint32_t kStaticClass = 0x0082FFFF;
constexpr uint32_t kNoId = 0xFFFFFFFF;

// The registry of open dialogs, made on first use.
struct Registry {
  qk::CriticalSection lock;
  std::unordered_map<DialogHandle, CustomWinDialogBox*> boxes;
};

Registry& registry() {
  static Registry instance;
  return instance;
}

CustomWinDialogBox* find_box(DialogHandle dialog) {
  Registry& r = registry();
  std::lock_guard<qk::CriticalSection> hold(r.lock);
  const auto found = r.boxes.find(dialog);
  return found == r.boxes.end() ? nullptr : found->second;
}

}  // namespace

// ---- Texts and numbers -----------------------------------------------------------------------

std::u16string dialog_text(std::string_view text) {
  std::u16string units(size_t(qk_utf16_length(text, false).written), u'\0');
  const qk::utf8_result converted = qk_utf8_to_utf16(units.data(), units.data() + units.size(), text, false);
  units.resize(size_t(converted.written));
  if (units.find(u'\n') == std::u16string::npos) return units;
  // The regular expression works on wide characters; each UTF-16 unit is carried as one.
  static const std::wregex bare_line_feed(L"([^\r]|^)\n", std::regex::ECMAScript);
  const std::wstring wide(units.begin(), units.end());
  if (!std::regex_search(wide, bare_line_feed)) return units;
  const std::wstring replaced = std::regex_replace(wide, bare_line_feed, L"$1\r\n");
  std::u16string result;
  result.reserve(replaced.size());
  for (wchar_t unit : replaced) result += char16_t(unit);
  return result;
}

int32_t mul_div(int32_t number, int32_t numerator, int32_t denominator) {
  if (denominator == 0) return -1;
  const int64_t product = int64_t(number) * numerator;
  int64_t quotient = product / denominator;
  const int64_t remainder = product % denominator;
  const int64_t twice = remainder < 0 ? -2 * remainder : 2 * remainder;
  if (twice >= (denominator < 0 ? -int64_t(denominator) : int64_t(denominator)))
    quotient += ((product < 0) != (denominator < 0)) ? -1 : 1;
  if (quotient > INT32_MAX || quotient < INT32_MIN) return -1;
  return int32_t(quotient);
}

// ---- The template ----------------------------------------------------------------------------

CustomWinDialogBox::CustomWinDialogBox(std::string_view title, PackedRect rect, bool no_close,
                                       uint32_t beep_sound, bool beep_enabled, bool hidden,
                                       const DialogFont& font, int32_t dots_per_inch)
    : no_close_(no_close),
      x_(rect.x),
      y_(rect.y),
      width_(rect.width),
      height_(rect.height),
      beep_sound_(beep_sound),
      beep_enabled_(beep_enabled),
      title_(title) {
  uint32_t style = kDialogStyle;
  if (!no_close) style |= kSystemMenu;
  if (!hidden) style |= kVisibleForeground;
  put16(1);       // dlgVer
  put16(0xFFFF);  // signature
  put32(0);       // helpID
  put32(kDialogExStyle);
  put32(style);
  item_count_position_ = template_bytes_.size();
  put16(0);  // cDlgItems, counted up by each control
  put16(x_);
  put16(y_);
  put16(width_);
  put16(height_);
  put16(0);  // no menu
  put16(0);  // the dialog's own class
  put_text(title);
  const int32_t points = font.height < 0 ? -mul_div(font.height, 72, dots_per_inch) : font.height;
  put16(uint16_t(points));
  put16(uint16_t(font.weight));
  template_bytes_.push_back(font.italic);
  template_bytes_.push_back(font.charset);
  for (char16_t unit : font.face) put16(unit);
  put16(0);
}

std::optional<CustomWinDialogBox> CustomWinDialogBox::create(IDialogSystem& system, std::string_view title,
                                                             PackedRect rect, bool no_close,
                                                             uint32_t beep_sound, bool beep_enabled,
                                                             bool hidden) {
  DialogFont font;
  int32_t dots_per_inch = 0;
  if (!system.message_font(font, dots_per_inch)) return std::nullopt;
  return CustomWinDialogBox(title, rect, no_close, beep_sound, beep_enabled, hidden, font, dots_per_inch);
}

void CustomWinDialogBox::put16(uint16_t value) {
  template_bytes_.push_back(uint8_t(value));
  template_bytes_.push_back(uint8_t(value >> 8));
}

void CustomWinDialogBox::put32(uint32_t value) {
  put16(uint16_t(value));
  put16(uint16_t(value >> 16));
}

void CustomWinDialogBox::put_text(std::string_view text) {
  for (char16_t unit : dialog_text(text)) put16(unit);
  put16(0);
}

void CustomWinDialogBox::add_item(int x, int y, int width, int height, uint32_t style, uint32_t id,
                                  uint32_t window_class, std::string_view text) {
  if (x < 0) x += width_;   // counted from the right edge
  if (y < 0) y += height_;  // and from the lower one
  while (template_bytes_.size() % 4 != 0) template_bytes_.push_back(0);
  put32(0);  // helpID
  put32(0);  // exStyle
  put32(style);
  put16(uint16_t(int16_t(x)));
  put16(uint16_t(int16_t(y)));
  put16(uint16_t(int16_t(width)));
  put16(uint16_t(int16_t(height)));
  put32(id);
  put32(window_class);
  put_text(text);
  put16(0);  // extraCount
  uint8_t* count = template_bytes_.data() + item_count_position_;
  const uint16_t items = uint16_t(count[0] | count[1] << 8) + 1;
  count[0] = uint8_t(items);
  count[1] = uint8_t(items >> 8);
}

void CustomWinDialogBox::add_button(int x, int y, int width, int height, uint16_t id, std::string_view text,
                                    bool tab_stop, std::function<bool()> on_click, bool group,
                                    bool is_default) {
  uint32_t style = kButtonStyle;
  if (group) style |= kGroupStyle;
  if (tab_stop) style |= kTabStop;
  if (is_default) style |= kDefaultButton;
  add_item(x, y, width, height, style, id, kButtonClass, text);
  button_handlers_[id] = std::move(on_click);
  controls_.push_back({ControlKind::button, id, std::string(text), is_default});
}

void CustomWinDialogBox::add_check_box(int x, int y, int width, int height, uint16_t id, bool* flag,
                                       std::string_view text, bool tab_stop, bool group) {
  uint32_t style = kCheckBoxStyle;
  if (group) style |= kGroupStyle;
  if (tab_stop) style |= kTabStop;
  add_item(x, y, width, height, style, id, kButtonClass, text);
  check_boxes_[id] = flag;
  controls_.push_back({ControlKind::check_box, id, std::string(text), false});
}

void CustomWinDialogBox::add_text(int x, int y, int width, int height, std::string_view text,
                                  bool multi_line_edit) {
  if (multi_line_edit)
    add_item(x, y, width, height, kMultiLineTextStyle, kNoId, kEditClass, text);
  else
    add_item(x, y, width, height, kLabelStyle, kNoId, kStaticClass, text);
  controls_.push_back({multi_line_edit ? ControlKind::multi_line_text : ControlKind::label, 0xFFFF,
                       std::string(text), false});
}

bool* CustomWinDialogBox::check_box_flag(uint16_t id) const {
  const auto found = check_boxes_.find(id);
  return found == check_boxes_.end() ? nullptr : found->second;
}

// ---- The window procedure --------------------------------------------------------------------

intptr_t CustomWinDialogBox::procedure(IDialogSystem& system, DialogHandle dialog, uint32_t message,
                                       uintptr_t wparam, intptr_t lparam) {
  if (message == kMessageInitDialog) {
    auto* box = reinterpret_cast<CustomWinDialogBox*>(lparam);
    {
      Registry& r = registry();
      std::lock_guard<qk::CriticalSection> hold(r.lock);
      r.boxes[dialog] = box;
    }
    box->on_init(system, dialog);
    return 1;
  }
  CustomWinDialogBox* box = find_box(dialog);
  if (!box) return 0;
  switch (message) {
    case kMessageSize:
      box->on_size(system, int32_t(uintptr_t(lparam) & 0xFFFF), int32_t((uintptr_t(lparam) >> 16) & 0xFFFF));
      return 0;
    case kMessageCommand:
      return box->on_command(system, dialog, uint16_t(wparam & 0xFFFF), uint16_t((wparam >> 16) & 0xFFFF));
    default: return 0;
  }
}

void CustomWinDialogBox::on_init(IDialogSystem& system, DialogHandle dialog) {
  for (const auto& [id, flag] : check_boxes_) system.check_dlg_button(dialog, id, flag && *flag);
  if (beep_enabled_) system.message_beep(beep_sound_);
  system.set_focus(dialog);
  system.show_cursor(true);
  client_rect_ = system.client_rect(dialog);
  children_ = system.children(dialog);
}

void CustomWinDialogBox::on_size(IDialogSystem& system, int32_t width, int32_t height) {
  const int32_t client_width = client_rect_.right - client_rect_.left;
  const int32_t client_height = client_rect_.bottom - client_rect_.top;
  if (client_width <= 0 || client_height <= 0) return;  // nothing to scale from
  // Controls wander apart with a growing window and keep their size.
  for (const DialogChild& child : children_) {
    const int32_t x = int32_t(float(child.rect.left) * float(width) / float(client_width));
    const int32_t y = int32_t(float(child.rect.top) * float(height) / float(client_height));
    system.move_window(child.handle, x, y, child.rect.right - child.rect.left,
                       child.rect.bottom - child.rect.top, true);
  }
}

intptr_t CustomWinDialogBox::on_command(IDialogSystem& system, DialogHandle dialog, uint16_t id,
                                        uint16_t notification) {
  if (id == kIdCancel) {
    // Neither Esc nor any close gesture ends a dialog without a close: a choice must be made.
    if (!no_close_) close(system, dialog, kIdCancel);
    return 1;
  }
  if (const auto button = button_handlers_.find(id); button != button_handlers_.end()) {
    const std::function<bool()> on_click = button->second;  // may open a dialog of its own
    if (!on_click || on_click()) close(system, dialog, id);
    return 1;
  }
  if (const auto box = check_boxes_.find(id); box != check_boxes_.end()) {
    if (notification == 0 && box->second) *box->second = system.is_dlg_button_checked(dialog, id);
  }
  return 1;
}

void CustomWinDialogBox::close(IDialogSystem& system, DialogHandle dialog, intptr_t id) {
  system.show_cursor(false);
  system.end_dialog(dialog, id);
  forget(dialog);
}

void CustomWinDialogBox::forget(DialogHandle dialog) {
  Registry& r = registry();
  std::lock_guard<qk::CriticalSection> hold(r.lock);
  r.boxes.erase(dialog);
}

}  // namespace qkAssert
