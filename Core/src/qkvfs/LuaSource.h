// The default script source: a chunk is a whole file read through qk_vfs_read_file, so that a name
// beginning with "/" comes from the virtual file system and any other from the real one.
#pragma once

#include "qk/IBuffer.h"
#include "qk_lua_source.h"

namespace qkvfs {

// Gives the whole chunk to Lua in one piece, straight from the buffer, with no copy.
class LuaBufferReader final : public qk::ILuaReader {
 public:
  explicit LuaBufferReader(qk::RefPtr<qk::IBuffer> chunk) : buffer(std::move(chunk)) {}
  ~LuaBufferReader() override = default;
  const char* read(lua_State* L, size_t* size) override;
  bool failed() override { return !buffer; }

 private:
  qk::RefPtr<qk::IBuffer> buffer;
  bool done = false;
};

// Stateless; one static instance serves all states on any thread.
class LuaSource final : public qk::ILuaSourceImpl {
 public:
  std::unique_ptr<qk::ILuaReader> open(const char* name) override;
  ~LuaSource() override = default;
};

}  // namespace qkvfs
