// qkmt: the command-line face of the material plug-in and its core library.
#include "CatalogueCommand.h"
#include "CommandLine.h"
#include "RunCommand.h"
#include "SceneCommand.h"

int main(int argc, char** argv) {
  ToolCommandList commands;
  commands.push_back(makeCatalogueCommand());
  commands.push_back(makeRunCommand());
  commands.push_back(makeSceneCommand());
  return runCommandLine(argc, argv, commands);
}
