// ISave into memory: the bytes of a chunk file, made as objects write.
//
// A chunk holds either data or chunks. Misuse is recorded, not thrown: data written outside any
// chunk or into a chunk that holds chunks, a chunk begun in a chunk that holds data, an EndChunk
// with nothing open, and a chunk longer than the length field can tell. The first such failure is
// kept in failure(); the bytes are complete when failure() is empty and no chunk is open.
#pragma once

#include <string>
#include <vector>

#include "ChunkIO.h"

class ChunkWriter : public ISave {
 public:
  void BeginChunk(USHORT id) override;
  void EndChunk() override;
  IOResult Write(const void* buffer, ULONG size, ULONG* written) override;
  IOResult WriteWString(const char* text) override;
  IOResult WriteWString(const MCHAR* text) override;

  const std::string& bytes() const { return bytes_; }
  bool complete() const { return open_.empty() && failure_.empty(); }
  const std::string& failure() const { return failure_; }

 private:
  struct Open {
    size_t header;
    USHORT id;
    bool data;
    bool chunks;
  };
  void fail(const std::string& what);

  std::string bytes_;
  std::vector<Open> open_;
  std::string failure_;
};
