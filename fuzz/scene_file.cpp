// The scene file reader: any bytes are either refused with ChunkFormatError or SceneError, or
// checked and loaded into objects whose attributes read their own chunks. Nothing else may escape.
#include <cstdint>
#include <string>

#include "ChunkFile.h"
#include "HostServices.h"
#include "HostStandIn.h"
#include "PluginEntry.h"
#include "SceneFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The bundled catalogue, so that attributes naming its materials take their fields from it. Both
  // live to the process's end, as the host keeps the plug-in.
  static ConsoleHostServices services(QK_EXAMPLES_DIR);
  static HostStandIn* host = [] {
    setHostServices(&services);
    auto* made = new HostStandIn();
    made->classes().loadLibrary(pluginExports());
    return made;
  }();
  try {
    const ChunkFile file(std::string(reinterpret_cast<const char*>(data), size));
    const SceneRecord record = readSceneRecord(file);
    LoadedScene loaded = loadScene(file, record, host->classes());
  } catch (const ChunkFormatError&) {
  } catch (const SceneError&) {
  }
  return 0;
}
