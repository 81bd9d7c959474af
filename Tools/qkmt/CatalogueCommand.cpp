#include "CatalogueCommand.h"

#include <string>

#include "CatalogueJson.h"
#include "CatalogueLint.h"
#include "CatalogueText.h"
#include "HostServices.h"
#include "LintReport.h"
#include "MaterialsList.h"
#include "ToolFiles.h"
#include "ToolOutput.h"
#include "ToolPaths.h"

namespace {

// The console's services, keeping the text of the box it shows.
class RecordingServices : public ConsoleHostServices {
 public:
  using ConsoleHostServices::ConsoleHostServices;
  int messageBox(const qk::wchar* text, const qk::wchar* caption, unsigned style) override {
    box = qk_to_utf8(text);
    return ConsoleHostServices::messageBox(text, caption, style);
  }
  std::string box;
};

std::string summary(size_t count, bool failed) {
  if (failed)
    return "Load failed; " + std::to_string(count) + (count == 1 ? " material was" : " materials were") +
           " read before the failure.\n";
  if (count == 0) return "The catalogue has no materials.\n";
  return std::to_string(count) + (count == 1 ? " material.\n" : " materials.\n");
}

class CatalogueCommand : public ToolCommand {
 public:
  const char* name() const override { return "catalogue"; }
  const char* summary() const override {
    return "Load a material catalogue (materials.lua) as the plug-in does and print it";
  }

  void define(CLI::App& command) override {
    command.footer(
        "Without FILE the catalogue is found as the host finds it: DIR/materials.lua, where DIR is\n"
        "--plugcfg, else $QKMT_PLUGCFG, else the working directory when it holds materials.lua, else\n"
        "the bundled examples folder. A line on standard error names the file. Load errors are the\n"
        "artist's message box, \"[Error] <text>\" on standard error.\n"
        "Exit status: 0 loaded (with --lint: no findings), 1 the load failed (with --lint: findings),\n"
        "2 usage error.");
    CLI::Option* file = command.add_option("file", file_, "A catalogue script to load directly")
                            ->check([](const std::string& value) {
                              return value.empty() ? std::string("FILE must not be empty") : std::string();
                            });
    command
        .add_option("--plugcfg", plugcfg_, "The host's plug-in configuration directory (holds materials.lua)")
        ->excludes(file);
    command.add_flag("--json", json_, "Print one JSON document instead of text");
    command.add_flag("--lint", lint_,
                     "Check the catalogue for what the plug-in would silently drop, change or die on");
  }

  int run(const Invocation&) override {
    const std::string dir = plugcfg_.empty() ? defaultPlugCfgDir() : plugcfg_;
    const std::string file = file_.empty() ? loaderSpelling(dir) + "/materials.lua" : loaderSpelling(file_);
    writeErr("qkmt: catalogue " + file + "\n");
    RecordingServices host(loaderSpelling(dir));
    setHostServices(&host);
    const int status = lint_ ? runLint(file) : runLoad(file, host);
    setHostServices(nullptr);
    return status;
  }

 private:
  int runLint(const std::string& file) {
    std::vector<LintFinding> findings;
    {
      StdoutDiversion scriptOutput;
      findings = lintCatalogue(file);
    }
    const std::string reason = unreadableReason(file);
    if (!reason.empty() && !findings.empty() && findings.front().code == "load-failed")
      findings.front().message += "; the file can't be opened: " + reason;
    writeOut(json_ ? lintJson(file, findings) : lintText(findings));
    return findings.empty() ? 0 : 1;
  }

  int runLoad(const std::string& file, const RecordingServices& host) {
    MaterialsList& list = theMaterialsList();
    CatalogueOutcome outcome{file, false, {}, {}};
    {
      StdoutDiversion scriptOutput;
      if (file_.empty()) {
        getMaterials();  // the host's way: the lazy load from the plug-in configuration directory
        outcome.loadFailed = list.loadFailed();
      } else {
        outcome.loadFailed = !list.loadMaterialsList(file.c_str());
      }
    }
    if (outcome.loadFailed) {
      outcome.error = host.box;
      outcome.reason = unreadableReason(file);
      // The box's text stays as the plug-in words it; the system's reason follows on its own line.
      if (!outcome.reason.empty()) writeErr("qkmt: " + file + ": " + outcome.reason + "\n");
    }
    if (json_) {
      writeOut(catalogueJson(outcome, list.materials()) + "\n");
    } else {
      std::string text = catalogueText(list.materials());
      if (!text.empty()) text += "\n";
      writeOut(text + ::summary(list.materials().size(), outcome.loadFailed));
    }
    return outcome.loadFailed ? 1 : 0;
  }

  std::string file_;
  std::string plugcfg_;
  bool json_ = false;
  bool lint_ = false;
};

}  // namespace

std::unique_ptr<ToolCommand> makeCatalogueCommand() { return std::make_unique<CatalogueCommand>(); }
