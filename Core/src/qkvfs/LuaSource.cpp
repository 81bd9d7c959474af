#include "qkvfs/LuaSource.h"

#include <new>

#include "qkvfs/qk_vfs.h"

namespace qkvfs {

const char* LuaBufferReader::read(lua_State*, size_t* size) {
  if (done) return nullptr;
  done = true;
  *size = buffer->size();
  return static_cast<const char*>(buffer->data());
}

std::unique_ptr<qk::ILuaReader> LuaSource::open(const char* name) {
  qk::RefPtr<qk::IBuffer> buffer = qk_vfs_read_file(name, true);
  if (!buffer) return nullptr;
  return std::unique_ptr<qk::ILuaReader>(new (std::nothrow) LuaBufferReader(std::move(buffer)));
}

}  // namespace qkvfs
