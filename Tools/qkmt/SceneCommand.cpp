#include "SceneCommand.h"

#include <string>

#include "ChunkFile.h"
#include "SceneFile.h"
#include "ScenePrint.h"
#include "ToolFiles.h"
#include "ToolOutput.h"

namespace {

class SceneCommand : public ToolCommand {
 public:
  const char* name() const override { return "scene"; }
  const char* summary() const override { return "Print what a scene file holds, without the catalogue"; }

  void define(CLI::App& command) override {
    command.footer(
        "Exit status: 0 printed, 1 the file is missing, unreadable or broken (the reason on standard\n"
        "error; --chunks prints the intact chunks first), 2 usage error.");
    command.add_option("file", file_, "The scene file")->required();
    CLI::Option* json = command.add_flag("--json", json_, "Print one JSON document");
    command.add_flag("--chunks", chunks_, "Print the raw chunk tree, bodies in hexadecimal")->excludes(json);
  }

  int run(const Invocation&) override {
    std::string bytes, reason;
    if (!readFileBytes(file_, bytes, reason)) return fail(reason);
    if (chunks_) {
      std::string tree;
      const std::string broken = chunkTree(bytes, tree);
      writeOut(tree);
      if (!broken.empty()) return fail(broken);
    }
    try {
      const ChunkFile file(std::move(bytes));
      const SceneRecord record = readSceneRecord(file);
      // The whole reading runs for --chunks too, so that all three forms share one exit rule.
      const std::string text = json_ ? sceneJson(file_, file, record) + "\n" : sceneText(file_, file, record);
      if (!chunks_) writeOut(text);
      return 0;
    } catch (const ChunkFormatError& error) {
      return fail(error.what());
    } catch (const SceneError& error) {
      return fail(error.what());
    }
  }

 private:
  // The reason on standard error; with --json also a document that says it.
  int fail(const std::string& reason) {
    if (json_) writeOut(sceneErrorJson(file_, reason) + "\n");
    writeErr("qkmt scene: " + file_ + ": " + reason + "\n");
    return 1;
  }

  std::string file_;
  bool json_ = false;
  bool chunks_ = false;
};

}  // namespace

std::unique_ptr<ToolCommand> makeSceneCommand() { return std::make_unique<SceneCommand>(); }
