// A chunk file read whole and checked: the tree of its chunks, each checked before use.
//
// Bad input policy: a scene file is untrusted. Every header and length is checked against the
// bytes that hold it before anything is read: a header cut short, a length shorter than its header
// or longer than what its parent (or the file) has left, and nesting deeper than MAX_CHUNK_DEPTH
// levels are refused with a ChunkFormatError that names the chunk and its offset. Nothing is read
// outside the bytes. A string body of odd length or without its 0 unit is refused the same way.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ChunkIO.h"
#include "HostTypes.h"

constexpr int MAX_CHUNK_DEPTH = 64;

// Little-endian values at `at`, which the caller has checked to lie inside `bytes`.
inline uint16_t u16At(std::string_view bytes, size_t at) {
  return static_cast<uint16_t>(static_cast<unsigned char>(bytes[at]) |
                               (static_cast<unsigned char>(bytes[at + 1]) << 8));
}

inline uint32_t u32At(std::string_view bytes, size_t at) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i)
    value |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
  return value;
}

class ChunkFormatError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One chunk. Offsets are into the file's bytes; links are indexes into ChunkFile::nodes, -1 for none.
struct ChunkNode {
  USHORT id = 0;
  bool container = false;
  size_t offset = 0;    // of the header
  uint32_t length = 0;  // header and body
  int depth = 0;        // 0 at the top level
  int parent = -1;
  int firstChild = -1;
  int nextSibling = -1;

  size_t body() const { return offset + 6; }
  size_t bodySize() const { return length - 6u; }
};

// Walks the chunks of `bytes` in file order (a parent before its children), calling `visit` for
// each chunk as soon as its header is checked, with its index in visiting order. A broken chunk
// throws after everything before it was visited.
void walkChunks(std::string_view bytes, const std::function<void(const ChunkNode&, int index)>& visit);

class ChunkFile {
 public:
  // Checks the whole tree; throws ChunkFormatError.
  explicit ChunkFile(std::string bytes);

  const std::string& bytes() const { return bytes_; }
  // All chunks in file order.
  const std::vector<ChunkNode>& nodes() const { return nodes_; }
  // The first chunk of the top level, or -1 for an empty file.
  int first() const { return nodes_.empty() ? -1 : 0; }
  std::string_view body(const ChunkNode& node) const;
  // The body as a string; throws ChunkFormatError when it isn't one.
  MSTR string(const ChunkNode& node) const;

 private:
  std::string bytes_;
  std::vector<ChunkNode> nodes_;
};

// The string in a chunk body: true with the text in `out`, or false with the reason in `error`.
bool decodeWString(std::string_view body, MSTR& out, std::string& error);

// Reads a whole file; throws std::runtime_error naming the path when it can't.
std::string readWholeFile(const std::string& path);
