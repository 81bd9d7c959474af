#include "qkvfs/FileReader.h"

#include <utility>

#include "qk/BufferReader.h"
#include "qk/MemBuffer.h"
#include "qkvfs/FileReaderImpl.h"

qk::ReaderPtr<> qk_vfs_make_reader(qkvfs::IFile& file) {
  const uint64_t size = file.size(), position = file.tell();
  const uint64_t left = size > position ? size - position : 0;
  if (left <= qkvfs::kWholeReadLimit) {
    qk::RefPtr<qk::MemBuffer> buffer = qk::MemBuffer::create(size_t(left));
    if (buffer && buffer->size() == left) {
      buffer->resize(left ? file.read(buffer->mutableData(), size_t(left)) : 0);
      return qk::ReaderPtr<>(new qk::BufferReader(qk::RefPtr<qk::IBuffer>(std::move(buffer))));
    }
  }
  return qk::ReaderPtr<>(new qkvfs::FileReaderImpl(&file, qkvfs::FileReaderImpl::kDefaultChunkSize));
}

namespace qkvfs {

FileReader::FileReader(IFile* file) : FileReaderWrapper(qk_vfs_make_reader(*file)), file_(file) {}

FileReader::~FileReader() { file_->release(); }

FileReaderAdapter::FileReaderAdapter(IFile& file) : FileReaderWrapper(qk_vfs_make_reader(file)) {}

}  // namespace qkvfs
