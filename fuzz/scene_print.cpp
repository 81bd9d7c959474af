// What `qkmt scene` prints of a scene file. The chunk tree of --chunks walks any bytes without
// reading outside them and names the same first break, in the same words, as the chunk file's own
// check (a cut container is walked on, but what it answers is that check's first failure); an
// intact tree is exactly the tree the check accepts. The text and JSON of a checked scene refuse a
// broken attribute with SceneError and nothing else.
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

#include "ChunkFile.h"
#include "SceneFile.h"
#include "ScenePrint.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  std::string tree;
  const std::string broken = chunkTree(bytes, tree);
  std::optional<ChunkFile> file;
  try {
    file.emplace(bytes);
  } catch (const ChunkFormatError& error) {
    if (broken != error.what()) std::abort();  // another break, or other words
    return 0;
  }
  if (!broken.empty()) std::abort();  // the tree found a break the check doesn't
  try {
    const SceneRecord record = readSceneRecord(*file);
    sceneText("fuzz.qks", *file, record);
    sceneJson("fuzz.qks", *file, record);
  } catch (const ChunkFormatError&) {  // a string chunk that isn't one
  } catch (const SceneError&) {
  }
  return 0;
}
