// Reference counts across threads, and the empty buffer that no count ends.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "qk/EmptyBuffer.h"

namespace {

// A buffer that counts the times its last release reached destroy().
class CountedBuffer final : public qk::RefCountedImpl<qk::IBuffer> {
 public:
  explicit CountedBuffer(std::atomic<int>& destroyed) : destroyed_(destroyed) {}
  const void* data() const override { return nullptr; }
  size_t size() const override { return 0; }

 protected:
  void destroy() override {
    destroyed_.fetch_add(1);
    delete this;
  }

 private:
  std::atomic<int>& destroyed_;
};

// Clears `a` and `b` on two threads that start together; answers how often the object died.
int clear_at_once(qk::RefPtr<qk::IBuffer>& a, qk::RefPtr<qk::IBuffer>& b, std::atomic<int>& destroyed) {
  std::atomic<int> ready{0};
  auto clear = [&ready](qk::RefPtr<qk::IBuffer>& holder) {
    ready.fetch_add(1);
    while (ready.load() < 2) {
    }
    holder.reset();
  };
  std::thread first(clear, std::ref(a)), second(clear, std::ref(b));
  first.join();
  second.join();
  return destroyed.load();
}

TEST(RefPtr, HoldersClearedFromTwoThreadsReleaseOnce) {
  for (int round = 0; round < 500; ++round) {
    std::atomic<int> destroyed{0};
    qk::RefPtr<qk::IBuffer> one(new CountedBuffer(destroyed));
    ASSERT_EQ(clear_at_once(one, one, destroyed), 1) << "one holder, round " << round;

    qk::RefPtr<qk::IBuffer> first(new CountedBuffer(destroyed)), second = first;
    ASSERT_EQ(first->refCount(), 2u);
    ASSERT_EQ(clear_at_once(first, second, destroyed), 2) << "two holders, round " << round;
  }
}

TEST(EmptyBuffer, IsOneInstanceThatReleasesPastZeroLeaveAlive) {
  qk::RefPtr<qk::IBuffer> empty = qk::EmptyBuffer::instance();
  EXPECT_EQ(empty.get(), qk::EmptyBuffer::instance().get());
  for (int i = 0; i < 10; ++i) empty->release();
  EXPECT_EQ(qk::EmptyBuffer::instance()->data(), nullptr);
  EXPECT_EQ(qk::EmptyBuffer::instance()->size(), 0u);
}

}  // namespace
