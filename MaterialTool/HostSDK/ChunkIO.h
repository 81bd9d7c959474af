// The chunk stream of a scene file, as objects write it (ISave) and read it back (ILoad).
//
// On disk a chunk is a header of 6 bytes, then its body:
//   u16 id          little-endian
//   u32 length      little-endian; counts the header and the body. Bit 31 is set when the body is
//                   a sequence of chunks (a container), clear when it is data.
// A file is a sequence of chunks. A string chunk holds UTF-16LE code units and a 0 unit behind
// them. docs/scene-format.md describes the scene file made of these chunks.
//
// An object writes chunks inside the chunk its host opened for it, and reads them back in any
// order: OpenChunk steps to the next chunk of the current level, and CloseChunk leaves it. Each
// writer and reader serves one object at a time on the host's main thread.
#pragma once

#include "HostTypes.h"

// The size of a chunk header.
constexpr ULONG CHUNK_HEADER_SIZE = 6;
// The bit of the length field that marks a container.
constexpr uint32_t CHUNK_CONTAINER_BIT = 0x80000000u;

class ISave {
 public:
  virtual ~ISave() = default;
  // Opens a chunk inside the current one.
  virtual void BeginChunk(USHORT id) = 0;
  // Closes the innermost open chunk and sets its length.
  virtual void EndChunk() = 0;
  // Appends `size` bytes to the body of the innermost open chunk.
  virtual IOResult Write(const void* buffer, ULONG size, ULONG* written) = 0;
  // Appends a string: the text's UTF-16LE units and a 0 unit. The narrow form takes UTF-8.
  virtual IOResult WriteWString(const char* text) = 0;
  virtual IOResult WriteWString(const MCHAR* text) = 0;
};

class ILoad {
 public:
  virtual ~ILoad() = default;
  // Opens the next chunk of the current level: IO_OK, or IO_END when the level has no more.
  virtual IOResult OpenChunk() = 0;
  // The id of the innermost open chunk.
  virtual USHORT CurChunkID() = 0;
  // Leaves the innermost open chunk, wherever reading stopped in it.
  virtual IOResult CloseChunk() = 0;
  // Reads the next `size` bytes of the innermost open chunk's body; IO_ERROR when fewer remain.
  virtual IOResult Read(void* buffer, ULONG size, ULONG* read) = 0;
  // The whole body of the innermost open chunk as a string. `text` points at text that the reader
  // owns, valid until its next call.
  virtual IOResult ReadWStringChunk(MCHAR*& text) = 0;
};
