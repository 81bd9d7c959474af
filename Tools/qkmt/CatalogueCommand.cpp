#include "CatalogueCommand.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "CatalogueJson.h"
#include "CatalogueText.h"
#include "HostServices.h"
#include "MaterialsList.h"
#include "ToolPaths.h"

namespace {

struct Options {
  std::string file;
  std::string plugcfg;
  bool json = false;
};

// The host's plug-in configuration directory: --plugcfg, else $QKMT_PLUGCFG, else the bundled
// examples.
std::string plugCfgDir(const Options& options) {
  if (!options.plugcfg.empty()) return options.plugcfg;
  const char* env = std::getenv("QKMT_PLUGCFG");
  if (env && *env) return env;
  return bundledExamplesDir();
}

void print(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

std::string summary(size_t count, bool failed) {
  if (failed)
    return "Load failed; " + std::to_string(count) + (count == 1 ? " material was" : " materials were") +
           " read before the failure.\n";
  if (count == 0) return "The catalogue has no materials.\n";
  return std::to_string(count) + (count == 1 ? " material.\n" : " materials.\n");
}

int run(const Options& options) {
  ConsoleHostServices host(loaderSpelling(plugCfgDir(options)));
  setHostServices(&host);
  MaterialsList& list = theMaterialsList();
  bool failed;
  if (options.file.empty()) {
    getMaterials();  // the host's way: the lazy load from the plug-in configuration directory
    failed = list.loadFailed();
  } else {
    failed = !list.loadMaterialsList(loaderSpelling(options.file).c_str());
  }
  setHostServices(nullptr);

  if (options.json) {
    print(catalogueJson(list.materials(), failed) + "\n");
  } else {
    std::string text = catalogueText(list.materials());
    if (!text.empty()) text += "\n";
    print(text + summary(list.materials().size(), failed));
  }
  return failed ? 1 : 0;
}

}  // namespace

CLI::App* addCatalogueCommand(CLI::App& app, std::function<int()>& runner) {
  auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand(
      "catalogue", "Load a material catalogue (materials.lua) as the plug-in does and print it");
  command->footer(
      "Without FILE the catalogue is found as the host finds it: DIR/materials.lua, where DIR is\n"
      "--plugcfg, else $QKMT_PLUGCFG, else the bundled examples folder. Load errors are shown as\n"
      "the artist's message box, one line \"[Error] <text>\" on standard error.\n"
      "Exit status: 0 loaded, 1 the load failed, 2 usage error.");
  CLI::Option* file =
      command->add_option("file", options->file, "A catalogue script to load directly")
          ->check([](const std::string& value) {
            return value.empty() ? std::string("FILE must not be empty") : std::string();
          });
  command->add_option("--plugcfg", options->plugcfg,
                      "The host's plug-in configuration directory (holds materials.lua)")
      ->excludes(file);
  command->add_flag("--json", options->json, "Print one JSON document instead of text");
  runner = [options] { return run(*options); };
  return command;
}
