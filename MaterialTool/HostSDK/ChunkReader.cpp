#include "ChunkReader.h"

#include <cstring>

#include "qk_format.h"

ChunkReader::ChunkReader(const ChunkFile& file, int parent) : file_(file) {
  next_.push_back(parent < 0 ? file.first() : file.nodes()[static_cast<size_t>(parent)].firstChild);
}

IOResult ChunkReader::fail(const std::string& what) {
  if (failure_.empty()) failure_ = what;
  return IO_ERROR;
}

const ChunkNode* ChunkReader::innermost() const {
  return open_.empty() ? nullptr : &file_.nodes()[static_cast<size_t>(open_.back().node)];
}

IOResult ChunkReader::OpenChunk() {
  const int index = next_.back();
  if (index < 0) return IO_END;
  const ChunkNode& node = file_.nodes()[static_cast<size_t>(index)];
  next_.back() = node.nextSibling;
  open_.push_back({index, 0});
  next_.push_back(node.container ? node.firstChild : -1);
  return IO_OK;
}

USHORT ChunkReader::CurChunkID() {
  const ChunkNode* node = innermost();
  return node ? node->id : 0;
}

IOResult ChunkReader::CloseChunk() {
  if (open_.empty()) return fail("CloseChunk without an open chunk");
  open_.pop_back();
  next_.pop_back();
  return IO_OK;
}

IOResult ChunkReader::Read(void* buffer, ULONG size, ULONG* read) {
  if (read) *read = 0;
  const ChunkNode* node = innermost();
  if (!node) return fail("a read outside any chunk");
  size_t& done = open_.back().read;
  const size_t left = node->bodySize() - done;
  if (size > left)
    return fail(qk_format("chunk 0x%04X at offset %zu: a read of %u bytes where %zu are left", node->id,
                          node->offset, size, left));
  if (size > 0) std::memcpy(buffer, file_.bytes().data() + node->body() + done, size);
  done += size;
  if (read) *read = size;
  return IO_OK;
}

IOResult ChunkReader::ReadWStringChunk(MCHAR*& text) {
  text_.clear();
  text = text_.data();
  const ChunkNode* node = innermost();
  if (!node) return fail("a string read outside any chunk");
  std::string error;
  if (!decodeWString(file_.body(*node), text_, error))
    return fail(qk_format("chunk 0x%04X at offset %zu: %s", node->id, node->offset, error.c_str()));
  open_.back().read = node->bodySize();
  text = text_.data();
  return IO_OK;
}
