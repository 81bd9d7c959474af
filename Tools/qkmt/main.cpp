// qkmt: the command-line face of the material plug-in and its core library.
#include <functional>
#include <string>

#include <CLI/CLI.hpp>

#include "CatalogueCommand.h"

int main(int argc, char** argv) {
  CLI::App app{"qkmt - check material catalogues and run the material plug-in's pipeline work"};
  app.set_version_flag("--version", std::string("qkmt ") + QKMT_VERSION);
  app.require_subcommand(1);

  std::function<int()> catalogue;
  CLI::App* catalogueCommand = addCatalogueCommand(app, catalogue);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const int status = app.exit(error);
    return status == 0 ? 0 : 2;  // help and version succeed; anything else is a usage error
  }
  if (catalogueCommand->parsed()) return catalogue();
  return 2;
}
