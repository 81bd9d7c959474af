// The scene file reader: any bytes are either refused with ChunkFormatError or SceneError, or
// checked and loaded into objects whose attributes read their own chunks. Nothing else may escape.
#include <cstdint>
#include <string>

#include "ChunkFile.h"
#include "FuzzHost.h"
#include "SceneFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  HostStandIn& host = fuzzHost();
  try {
    const ChunkFile file(std::string(reinterpret_cast<const char*>(data), size));
    const SceneRecord record = readSceneRecord(file);
    LoadedScene loaded = loadScene(file, record, host.classes());
  } catch (const ChunkFormatError&) {
  } catch (const SceneError&) {
  }
  return 0;
}
