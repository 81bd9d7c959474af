// qkmt: the command-line face of the material plug-in and its core library.
#include <cstdlib>
#include <cstring>

#include "CatalogueCommand.h"
#include "CommandLine.h"
#include "PackCommand.h"
#include "RunCommand.h"
#include "SceneCommand.h"
#include "VerifyCommand.h"
#include "VfsCommands.h"
#include "qk_assert.h"
#include "qk_log.h"

int main(int argc, char** argv) {
  // QK_ABORT_ON_ASSERT=1: a failed assertion prints its report and aborts, without a question.
  if (const char* abort_on_assert = std::getenv("QK_ABORT_ON_ASSERT"))
    qkAssert::abort_on_assert = std::strcmp(abort_on_assert, "1") == 0;
  // The log's DEBUG lines (such as "Mounted: ...") reach standard error only with -v; lines logged
  // with RELIABLE, which scripts' `print` lines are, always do.
  qk_log_set_stderr_levels((0xFFFFu & ~unsigned(qk::log::DEBUG)) | qk::log::RELIABLE);
  ToolCommandList commands;
  commands.push_back(makeCatalogueCommand());
  commands.push_back(makeRunCommand());
  commands.push_back(makeSceneCommand());
  commands.push_back(makeLsCommand());
  commands.push_back(makeStatCommand());
  commands.push_back(makeCatCommand());
  commands.push_back(makePackCommand());
  commands.push_back(makeVerifyCommand());
  return runCommandLine(argc, argv, commands);
}
