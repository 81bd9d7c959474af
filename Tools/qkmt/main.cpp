// qkmt: the command-line face of the material plug-in and its core library.
#include <functional>
#include <string>

#include <CLI/CLI.hpp>

#include "CatalogueCommand.h"
#include "MountOption.h"
#include "RunCommand.h"
#include "SceneCommand.h"
#include "VfsCommands.h"
#include "qk_log.h"

int main(int argc, char** argv) {
  CLI::App app{"qkmt - check material catalogues and run the material plug-in's pipeline work"};
  app.set_version_flag("--version", std::string("qkmt ") + QKMT_VERSION);
  app.require_subcommand(1);
  // The log's DEBUG lines are hidden unless -v is given, before the command or among its options.
  qk_log_set_stderr_levels(0xFFFFu & ~unsigned(qk::log::DEBUG));
  addVerboseFlag(app);

  std::function<int()> catalogue;
  CLI::App* catalogueCommand = addCatalogueCommand(app, catalogue);
  std::function<int()> run;
  CLI::App* runCommand = addRunCommand(app, run);
  std::function<int()> scene;
  CLI::App* sceneCommand = addSceneCommand(app, scene);
  const std::function<int()> vfs = addVfsCommands(app);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const int status = app.exit(error);
    return status == 0 ? 0 : 2;  // help and version succeed; anything else is a usage error
  }
  if (const int status = vfs(); status >= 0) return status;
  if (catalogueCommand->parsed()) return catalogue();
  if (runCommand->parsed()) return run();
  if (sceneCommand->parsed()) return scene();
  return 2;
}
