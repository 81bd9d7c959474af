// qkmt: the command-line face of the material plug-in and its core library.
#include <CLI/CLI.hpp>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "CatalogueCommand.h"
#include "RunCommand.h"
#include "SceneCommand.h"
#include "qk_assert.h"

int main(int argc, char** argv) {
  // QK_ABORT_ON_ASSERT=1: a failed assertion prints its report and aborts, without a question.
  if (const char* abort_on_assert = std::getenv("QK_ABORT_ON_ASSERT"))
    qkAssert::abort_on_assert = std::strcmp(abort_on_assert, "1") == 0;
  CLI::App app{"qkmt - check material catalogues and run the material plug-in's pipeline work"};
  app.set_version_flag("--version", std::string("qkmt ") + QKMT_VERSION);
  app.require_subcommand(1);

  std::function<int()> catalogue;
  CLI::App* catalogueCommand = addCatalogueCommand(app, catalogue);
  std::function<int()> run;
  CLI::App* runCommand = addRunCommand(app, run);
  std::function<int()> scene;
  CLI::App* sceneCommand = addSceneCommand(app, scene);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const int status = app.exit(error);
    return status == 0 ? 0 : 2;  // help and version succeed; anything else is a usage error
  }
  if (catalogueCommand->parsed()) return catalogue();
  if (runCommand->parsed()) return run();
  if (sceneCommand->parsed()) return scene();
  return 2;
}
