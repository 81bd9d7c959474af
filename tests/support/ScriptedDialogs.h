// A dialog system for tests: a known font and screen, a record of every dialog run and of the
// window procedure's calls, and scripted answers that click and tick through the real window
// procedure. Installed for the process's assertions while a ScriptedDialogs::Installed lives.
#pragma once

#include <deque>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "assert/AssertDialogs.h"
#include "assert/CustomWinDialogBox.h"

class ScriptedDialogs : public qkAssert::IDialogSystem {
 public:
  using Box = qkAssert::CustomWinDialogBox;

  // One thing done to a running dialog.
  struct Step {
    enum Kind { click, tick, escape } kind;
    uint16_t id;
  };
  using Answer = std::vector<Step>;

  // A dialog as it was run.
  struct Run {
    std::string title;
    std::string text;  // the multi-line text
    std::vector<uint16_t> check_boxes;
    std::vector<uint16_t> buttons;
    intptr_t result = -1;
  };

  struct Installed {
    explicit Installed(ScriptedDialogs& dialogs) : previous(qkAssert::set_dialog_system(&dialogs)) {}
    ~Installed() { qkAssert::set_dialog_system(previous); }
    qkAssert::IDialogSystem* previous;
  };

  // A running dialog; its address is its handle.
  struct Window {
    explicit Window(Box* shown) : box(shown) {}
    Box* box;
    std::map<uint16_t, bool> checked;
    bool ended = false;
    intptr_t result = -1;
  };

  // Answers for the next runs, in order; a run without one ends with -1, as a window that failed.
  void answer(Answer steps) { answers_.push_back(std::move(steps)); }

  std::vector<Run> runs;
  std::vector<std::string> calls;  // the window procedure's calls, in order
  bool has_font = true;
  bool print_runs = false;  // each run as "[TITLE] TEXT" on standard error, for a child's parent
  std::function<void()> before_answer;
  int32_t map_right = 1500, map_bottom = 1625, screen_width = 1920, screen_height = 1080;
  std::vector<qkAssert::DialogChild> child_windows;

  bool message_font(qkAssert::DialogFont& font, int32_t& dots_per_inch) override {
    font = {-12, 400, 0, 1, u"Sans"};
    dots_per_inch = 96;
    return has_font;
  }
  bool map_thousand_dialog_units(int32_t& right, int32_t& bottom) override {
    right = map_right;
    bottom = map_bottom;
    return map_right > 0;
  }
  void screen_size(int32_t& width, int32_t& height) override {
    width = screen_width;
    height = screen_height;
  }

  intptr_t run(Box& box) override {
    Run record{box.title(), {}, {}, {}, -1};
    for (const auto& control : box.controls()) {
      if (control.kind == Box::ControlKind::multi_line_text) record.text = control.text;
      if (control.kind == Box::ControlKind::check_box) record.check_boxes.push_back(control.id);
      if (control.kind == Box::ControlKind::button) record.buttons.push_back(control.id);
    }
    const size_t index = runs.size();
    runs.push_back(record);
    if (print_runs) std::cerr << "[" << record.title << "] " << record.text << std::endl;
    if (before_answer) before_answer();
    Window window(&box);
    Box::procedure(*this, &window, qkAssert::kMessageInitDialog, 0, reinterpret_cast<intptr_t>(&box));
    if (!answers_.empty()) {
      const Answer steps = answers_.front();
      answers_.pop_front();
      for (const Step& step : steps) {
        if (window.ended) break;
        if (step.kind == Step::tick) window.checked[step.id] = !window.checked[step.id];
        const uint16_t id = step.kind == Step::escape ? uint16_t(qkAssert::kIdCancel) : step.id;
        Box::procedure(*this, &window, qkAssert::kMessageCommand, id, 0);
      }
    }
    if (!window.ended) Box::forget(&window);
    runs[index].result = window.ended ? window.result : -1;
    return runs[index].result;
  }

  void check_dlg_button(qkAssert::DialogHandle dialog, uint16_t id, bool checked) override {
    calls.push_back("check " + std::to_string(id) + (checked ? " on" : " off"));
    static_cast<Window*>(dialog)->checked[id] = checked;
  }
  void message_beep(uint32_t sound) override { calls.push_back("beep " + std::to_string(sound)); }
  void set_focus(qkAssert::DialogHandle) override { calls.push_back("focus"); }
  void show_cursor(bool show) override { calls.push_back(show ? "cursor on" : "cursor off"); }
  qkAssert::DialogRect client_rect(qkAssert::DialogHandle dialog) override {
    const qkAssert::PackedRect rect = static_cast<Window*>(dialog)->box->rect();
    return {0, 0, rect.width * 2, rect.height * 2};
  }
  std::vector<qkAssert::DialogChild> children(qkAssert::DialogHandle) override { return child_windows; }
  void move_window(qkAssert::DialogHandle child, int32_t x, int32_t y, int32_t width, int32_t height,
                   bool repaint) override {
    calls.push_back("move " + std::to_string(reinterpret_cast<uintptr_t>(child)) + " " + std::to_string(x) +
                    "," + std::to_string(y) + " " + std::to_string(width) + "x" + std::to_string(height) +
                    (repaint ? " repaint" : ""));
  }
  bool is_dlg_button_checked(qkAssert::DialogHandle dialog, uint16_t id) override {
    return static_cast<Window*>(dialog)->checked[id];
  }
  void end_dialog(qkAssert::DialogHandle dialog, intptr_t id) override {
    calls.push_back("end " + std::to_string(id));
    auto* window = static_cast<Window*>(dialog);
    window->ended = true;
    window->result = id;
  }

 private:
  std::deque<Answer> answers_;
};

// The ids of the assertion window.
enum AssertIds : uint16_t {
  kAbort = 3,
  kRetry = 4,
  kIgnore = 5,
  kHelp = 9,
  kLineAndFile = 1001,
  kFunction = 1002,
  kMessage = 1003,
  kCallstack = 1004,
};
