// The attribute's chunks: MaterialAttrib::Load over any bytes read as a chunk stream. The stream is
// either refused whole (ChunkFormatError) or read by Load, which must answer and leave a
// description whose save is a fixed point: loading what was saved and saving again gives the same
// bytes and the same catalogue entry. Nothing else may escape; a violation aborts.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ChunkFile.h"
#include "ChunkReader.h"
#include "ChunkWriter.h"
#include "FuzzHost.h"
#include "MaterialAttrib.h"

namespace {

[[noreturn]] void violation(const char* what) {
  std::fprintf(stderr, "attribute property violated: %s\n", what);
  std::abort();
}

std::string saved(MaterialAttrib& attrib) {
  ChunkWriter out;
  if (attrib.Save(&out) != IO_OK || !out.complete()) violation("save failed");
  return out.bytes();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzzHost();

  MaterialAttrib attrib;
  try {
    const ChunkFile file(std::string(reinterpret_cast<const char*>(data), size));
    ChunkReader reader(file, -1);
    attrib.Load(&reader);
  } catch (const ChunkFormatError&) {
    return 0;
  }

  const std::string first = saved(attrib);
  MaterialAttrib again;
  const ChunkFile file(first);
  ChunkReader reader(file, -1);
  if (again.Load(&reader) != IO_OK || reader.failed()) violation("what Save wrote doesn't load");
  if (saved(again) != first) violation("a second save differs from the first");
  const IMaterialDesc& a = *attrib.getMaterialDesc();
  const IMaterialDesc& b = *again.getMaterialDesc();
  if (std::strcmp(a.getName(), b.getName()) != 0 || std::strcmp(a.getShaderName(), b.getShaderName()) != 0 ||
      std::strcmp(a.getDefaultUniforms(), b.getDefaultUniforms()) != 0 ||
      a.getTextureCount() != b.getTextureCount() || a.getNormals() != b.getNormals())
    violation("the reloaded attribute has another catalogue entry");
  return 0;
}
