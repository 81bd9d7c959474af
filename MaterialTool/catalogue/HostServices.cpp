#include "HostServices.h"

#include <cstdio>

namespace {

ConsoleHostServices console_services;
IHostServices* installed = &console_services;

}  // namespace

IHostServices& hostServices() { return *installed; }

void setHostServices(IHostServices* services) { installed = services ? services : &console_services; }

qk::wstring ConsoleHostServices::getDir(int which) {
  return which == APP_PLUGCFG_DIR ? qk_to_wide(plugCfgDir_) : qk::wstring();
}

int ConsoleHostServices::messageBox(const qk::wchar* text, const qk::wchar* caption, unsigned) {
  std::fflush(stdout);  // what was printed before the box comes before it in a joined stream
  const std::string line = "[" + qk_to_utf8(caption) + "] " + qk_to_utf8(text) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
  return IDOK;
}

qk::wstring ConsoleHostServices::ansiToWide(std::string_view bytes) {
  qk::wstring wide(bytes.size(), u'\0');
  for (size_t i = 0; i < bytes.size(); ++i) wide[i] = static_cast<unsigned char>(bytes[i]);
  return wide;
}

bool ConsoleHostServices::pickAnimatables(std::vector<Animatable*>& picked) {
  picked.clear();
  return false;
}
