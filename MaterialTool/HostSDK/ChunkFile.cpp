#include "ChunkFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "qk_format.h"

namespace {

// A level being walked: where its chunks end, and which chunk it belongs to.
struct Level {
  size_t end;
  int node;
};

std::string where(const Level& level, const std::vector<ChunkNode>& nodes) {
  return level.node < 0 ? std::string("the file")
                        : qk_format("chunk 0x%04X at offset %zu", nodes[static_cast<size_t>(level.node)].id,
                                    nodes[static_cast<size_t>(level.node)].offset);
}

// The walk itself: fills `nodes` with every chunk and its links as it goes.
void walk(std::string_view bytes, std::vector<ChunkNode>& nodes,
          const std::function<void(const ChunkNode&, int)>& visit) {
  std::vector<Level> levels{{bytes.size(), -1}};
  std::vector<int> lastAtLevel{-1};
  size_t at = 0;
  while (true) {
    while (levels.size() > 1 && at == levels.back().end) {
      levels.pop_back();
      lastAtLevel.pop_back();
    }
    if (at == levels.back().end) return;
    const size_t left = levels.back().end - at;
    if (left < CHUNK_HEADER_SIZE)
      throw ChunkFormatError(qk_format("truncated chunk header at offset %zu: %zu bytes left in %s", at, left,
                                       where(levels.back(), nodes).c_str()));
    ChunkNode node;
    node.id = u16At(bytes, at);
    const uint32_t field = u32At(bytes, at + 2);
    node.container = (field & CHUNK_CONTAINER_BIT) != 0;
    node.length = field & ~CHUNK_CONTAINER_BIT;
    node.offset = at;
    node.depth = static_cast<int>(levels.size()) - 1;
    node.parent = levels.back().node;
    if (node.length < CHUNK_HEADER_SIZE)
      throw ChunkFormatError(
          qk_format("chunk 0x%04X at offset %zu: length %u is shorter than its 6-byte header", node.id, at,
                    node.length));
    if (node.length > left)
      throw ChunkFormatError(
          qk_format("chunk 0x%04X at offset %zu: length %u runs past the end of %s (%zu bytes left)", node.id,
                    at, node.length, where(levels.back(), nodes).c_str(), left));
    if (node.container && node.depth + 1 >= MAX_CHUNK_DEPTH)
      throw ChunkFormatError(qk_format("chunk 0x%04X at offset %zu: chunks nested deeper than %d levels",
                                       node.id, at, MAX_CHUNK_DEPTH));
    const int index = static_cast<int>(nodes.size());
    if (lastAtLevel.back() >= 0)
      nodes[static_cast<size_t>(lastAtLevel.back())].nextSibling = index;
    else if (node.parent >= 0)
      nodes[static_cast<size_t>(node.parent)].firstChild = index;
    lastAtLevel.back() = index;
    nodes.push_back(node);
    visit(node, index);
    if (node.container && node.length > CHUNK_HEADER_SIZE) {
      at += CHUNK_HEADER_SIZE;
      levels.push_back({node.offset + node.length, index});
      lastAtLevel.push_back(-1);
    } else {
      at += node.length;
    }
  }
}

}  // namespace

void walkChunks(std::string_view bytes, const std::function<void(const ChunkNode&, int)>& visit) {
  std::vector<ChunkNode> nodes;
  walk(bytes, nodes, visit);
}

ChunkFile::ChunkFile(std::string bytes) : bytes_(std::move(bytes)) {
  walk(bytes_, nodes_, [](const ChunkNode&, int) {});
}

std::string_view ChunkFile::body(const ChunkNode& node) const {
  return std::string_view(bytes_).substr(node.body(), node.bodySize());
}

MSTR ChunkFile::string(const ChunkNode& node) const {
  MSTR text;
  std::string error;
  if (!decodeWString(body(node), text, error))
    throw ChunkFormatError(qk_format("chunk 0x%04X at offset %zu: %s", node.id, node.offset, error.c_str()));
  return text;
}

bool decodeWString(std::string_view body, MSTR& out, std::string& error) {
  out.clear();
  if (body.size() % 2 != 0) {
    error = qk_format("a string of odd length %zu", body.size());
    return false;
  }
  if (body.size() < 2 || u16At(body, body.size() - 2) != 0) {
    error = "a string without its terminating 0 unit";
    return false;
  }
  for (size_t i = 0; i + 2 < body.size(); i += 2) {
    const uint16_t unit = u16At(body, i);
    if (unit == 0) break;
    out.push_back(static_cast<MCHAR>(unit));
  }
  return true;
}

std::string readWholeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error(path + ": " + std::strerror(errno));
  std::ostringstream content;
  content << in.rdbuf();
  if (in.bad()) throw std::runtime_error(path + ": read error");
  return content.str();
}
