#include "SceneCommand.h"

#include <cstdio>
#include <memory>
#include <string>

#include "ChunkFile.h"
#include "SceneFile.h"
#include "ScenePrint.h"

namespace {

struct Options {
  std::string file;
  bool json = false;
  bool chunks = false;
};

void write(FILE* stream, const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
}

int fail(const std::string& file, const std::string& reason) {
  write(stderr, "qkmt scene: " + file + ": " + reason + "\n");
  return 1;
}

int run(const Options& options) {
  std::string bytes;
  try {
    bytes = readWholeFile(options.file);
  } catch (const std::exception& error) {
    write(stderr, std::string("qkmt scene: ") + error.what() + "\n");
    return 1;
  }
  if (options.chunks) {
    std::string out;
    try {
      chunkTree(bytes, out);
    } catch (const ChunkFormatError& error) {
      write(stdout, out);
      return fail(options.file, error.what());
    }
    write(stdout, out);
    return 0;
  }
  try {
    const ChunkFile file(std::move(bytes));
    const SceneRecord record = readSceneRecord(file);
    write(stdout, options.json ? sceneJson(file, record) + "\n" : sceneText(options.file, file, record));
    return 0;
  } catch (const ChunkFormatError& error) {
    return fail(options.file, error.what());
  } catch (const SceneError& error) {
    return fail(options.file, error.what());
  }
}

}  // namespace

CLI::App* addSceneCommand(CLI::App& app, std::function<int()>& runner) {
  auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("scene", "Print what a scene file holds, without the catalogue");
  command->footer(
      "Exit status: 0 printed, 1 the file is missing or broken (the reason on standard error), 2 usage.");
  command->add_option("file", options->file, "The scene file")->required();
  CLI::Option* json = command->add_flag("--json", options->json, "Print one JSON document");
  command->add_flag("--chunks", options->chunks, "Print the raw chunk tree, bodies in hexadecimal")
      ->excludes(json);
  runner = [options] { return run(*options); };
  return command;
}
