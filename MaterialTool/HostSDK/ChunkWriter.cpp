#include "ChunkWriter.h"

#include "qk_format.h"

namespace {

void putU16(std::string& out, uint16_t value) {
  out.push_back(static_cast<char>(value & 0xFF));
  out.push_back(static_cast<char>(value >> 8));
}

void putU32At(std::string& out, size_t at, uint32_t value) {
  for (int i = 0; i < 4; ++i) out[at + static_cast<size_t>(i)] = static_cast<char>((value >> (8 * i)) & 0xFF);
}

}  // namespace

void ChunkWriter::fail(const std::string& what) {
  if (failure_.empty()) failure_ = what;
}

void ChunkWriter::BeginChunk(USHORT id) {
  if (!open_.empty()) {
    Open& parent = open_.back();
    if (parent.data)
      fail(qk_format("chunk 0x%04X begun inside chunk 0x%04X, which holds data", id, parent.id));
    parent.chunks = true;
  }
  open_.push_back({bytes_.size(), id, false, false});
  putU16(bytes_, id);
  bytes_.append(4, '\0');
}

void ChunkWriter::EndChunk() {
  if (open_.empty()) return fail("EndChunk without an open chunk");
  const Open chunk = open_.back();
  open_.pop_back();
  const size_t length = bytes_.size() - chunk.header;
  if (length >= CHUNK_CONTAINER_BIT)
    return fail(qk_format("chunk 0x%04X is %zu bytes long, more than a length can tell", chunk.id, length));
  const uint32_t field = static_cast<uint32_t>(length) | (chunk.chunks ? CHUNK_CONTAINER_BIT : 0);
  putU32At(bytes_, chunk.header + 2, field);
}

IOResult ChunkWriter::Write(const void* buffer, ULONG size, ULONG* written) {
  if (written) *written = 0;
  if (open_.empty()) {
    fail("data written outside any chunk");
    return IO_ERROR;
  }
  Open& chunk = open_.back();
  if (chunk.chunks) {
    fail(qk_format("data written into chunk 0x%04X, which holds chunks", chunk.id));
    return IO_ERROR;
  }
  if (size == 0) return IO_OK;
  bytes_.append(static_cast<const char*>(buffer), size);
  chunk.data = true;
  if (written) *written = size;
  return IO_OK;
}

IOResult ChunkWriter::WriteWString(const char* text) {
  const MSTR wide = qk_to_wide(text ? text : "");
  return WriteWString(wide.c_str());
}

IOResult ChunkWriter::WriteWString(const MCHAR* text) {
  std::string units;
  for (const MCHAR* p = text ? text : u""; *p; ++p) putU16(units, *p);
  putU16(units, 0);
  ULONG written = 0;
  return Write(units.data(), static_cast<ULONG>(units.size()), &written);
}
