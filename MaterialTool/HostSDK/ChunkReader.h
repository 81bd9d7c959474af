// ILoad over a checked ChunkFile: an object reads the chunks of one level of the file, the top
// level or the children of one chunk.
//
// Reads are checked against the body of the chunk they read from: a read longer than what is left,
// a string of odd length or without its 0 unit, and calls out of place answer IO_ERROR, read
// nothing, and are recorded. The first such failure stays in failure(), so that the host can refuse
// the file even when the object that read ignored the result. The file must outlive the reader.
#pragma once

#include <string>
#include <vector>

#include "ChunkFile.h"
#include "ChunkIO.h"

class ChunkReader : public ILoad {
 public:
  // Reads the children of chunk `parent` of `file`, or its top level for -1.
  ChunkReader(const ChunkFile& file, int parent);

  IOResult OpenChunk() override;
  USHORT CurChunkID() override;
  IOResult CloseChunk() override;
  IOResult Read(void* buffer, ULONG size, ULONG* read) override;
  IOResult ReadWStringChunk(MCHAR*& text) override;

  bool failed() const { return !failure_.empty(); }
  const std::string& failure() const { return failure_; }

 private:
  struct Open {
    int node;
    size_t read;  // bytes of the body read so far
  };
  IOResult fail(const std::string& what);
  const ChunkNode* innermost() const;

  const ChunkFile& file_;
  std::vector<Open> open_;
  std::vector<int> next_;  // the next chunk to open at each level, -1 for none
  MSTR text_;
  std::string failure_;
};
