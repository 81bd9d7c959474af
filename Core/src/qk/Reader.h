// Reader: a forward-only source of bytes with a known remainder.
//
// The pair chunk() and skip() is the point of the interface: a consumer looks at the bytes that the
// source already holds in memory, uses what it wants, and says how many it used, with no copy.
// Decompressing readers take their input this way and serve their output through the same
// interface, so readers stack. There is no seek: going back means making a new reader.
//
// Ownership: whoever made a reader ends it with release(), which deletes it unless a pooled kind
// says otherwise; ReaderPtr does that. A reader that stands on a source doesn't own the source.
// Threads: a reader belongs to one thread at a time.
// Failures are exceptions derived from ReadError (qk/ReadError.h).
#pragma once

#include <cstddef>
#include <memory>

namespace qk {

// A run of bytes that a reader holds now. Valid until the reader moves on or ends.
struct ByteSpan {
  const unsigned char* data = nullptr;
  size_t size = 0;

  bool empty() const { return size == 0; }
};

class Reader {
 public:
  Reader() = default;
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // The operations in the order of their slots.
  virtual ~Reader();

  // Ends the reader: deletes it, or gives it back to its pool. Called through a pointer that isn't
  // null; ReaderPtr and qk_release_reader take care of the null case.
  virtual void release();

  // Copies up to `n` bytes to `dst` and moves on; fewer than `n` only at the end.
  virtual size_t read(void* dst, size_t n) = 0;

  // Moves on by up to `n` bytes; answers how many were passed over.
  virtual size_t skip(size_t n) = 0;

  // The bytes left, as the kind of reader counts them.
  virtual size_t remaining() = 0;

  // A name for messages; the empty text unless the kind has one.
  virtual const char* name();

  // The bytes available now, empty at the end. Doesn't consume: the same span comes back until
  // read() or skip() moves on.
  virtual ByteSpan chunk() = 0;
};

// release() for a pointer that may be null.
inline void qk_release_reader(Reader* reader) {
  if (reader) reader->release();
}

struct ReaderRelease {
  void operator()(Reader* reader) const { qk_release_reader(reader); }
};

// The owner of a reader: releases it when it goes.
template <class T = Reader>
using ReaderPtr = std::unique_ptr<T, ReaderRelease>;

}  // namespace qk
