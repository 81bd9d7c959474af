// Host services for tests: a plug-in configuration directory of the test's choosing, and message
// boxes recorded instead of shown.
#pragma once

#include <string>
#include <vector>

#include "HostServices.h"

struct Box {
  std::string caption, text;
  unsigned style;
};

class RecordingHost : public ConsoleHostServices {
 public:
  explicit RecordingHost(std::string dir = ".") : ConsoleHostServices(std::move(dir)) {
    setHostServices(this);
  }
  ~RecordingHost() override { setHostServices(nullptr); }

  int messageBox(const qk::wchar* text, const qk::wchar* caption, unsigned style) override {
    boxes.push_back({qk_to_utf8(caption), qk_to_utf8(text), style});
    return IDOK;
  }

  std::vector<Box> boxes;
};
