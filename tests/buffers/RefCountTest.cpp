// Reference counts and holders across threads, and the empty buffer.
#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qk/EmptyBuffer.h"
#include "qk/IBuffer.h"

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

// Runs `a` and `b` on two threads that start together.
template <class A, class B>
void at_once(A a, B b) {
  std::atomic<int> ready{0};
  auto start = [&ready] {
    ready.fetch_add(1);
    while (ready.load() < 2) {
    }
  };
  std::thread first([&] { start(); a(); });
  std::thread second([&] { start(); b(); });
  first.join();
  second.join();
}

TEST(RefPtr, OneHolderClearedFromTwoThreadsReleasesOnce) {
  for (int round = 0; round < 500; ++round) {
    std::atomic<int> destroyed{0};
    qk::RefPtr<qk::IBuffer> holder(new CountedBuffer(destroyed));
    at_once([&] { holder.reset(); }, [&] { holder = nullptr; });
    ASSERT_EQ(destroyed.load(), 1) << "round " << round;
    EXPECT_FALSE(holder);
  }
}

TEST(RefPtr, TwoHoldersClearedAtOnceReleaseOnce) {
  for (int round = 0; round < 500; ++round) {
    std::atomic<int> destroyed{0};
    qk::RefPtr<qk::IBuffer> first(new CountedBuffer(destroyed));
    qk::RefPtr<qk::IBuffer> second = first;
    ASSERT_EQ(first->refCount(), 2u);
    at_once([&] { first.reset(); }, [&] { second.reset(); });
    ASSERT_EQ(destroyed.load(), 1) << "round " << round;
  }
}

TEST(RefPtr, CopiesAndMovesCountAndReassignmentReleasesTheOld) {
  std::atomic<int> destroyed{0};
  qk::RefPtr<qk::IBuffer> a(new CountedBuffer(destroyed));
  qk::RefPtr<qk::IBuffer> b = a;
  EXPECT_EQ(a->refCount(), 2u);
  qk::RefPtr<qk::IBuffer> c = std::move(b);
  EXPECT_FALSE(b);
  EXPECT_EQ(a->refCount(), 2u);
  c = qk::RefPtr<qk::IBuffer>(new CountedBuffer(destroyed));
  EXPECT_EQ(a->refCount(), 1u);
  a = c;  // the first object's last holder
  EXPECT_EQ(destroyed.load(), 1);
  a.reset();
  c.reset();
  EXPECT_EQ(destroyed.load(), 2);
}

TEST(EmptyBuffer, IsOneInstanceThatNoCountEnds) {
  qk::RefPtr<qk::IBuffer> empty = qk::EmptyBuffer::instance();
  EXPECT_EQ(empty.get(), qk::EmptyBuffer::instance().get());
  EXPECT_EQ(empty->data(), nullptr);
  EXPECT_EQ(empty->size(), 0u);
  // Releases far past zero leave it as it was, from any thread.
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([] {
      for (int i = 0; i < 1000; ++i) {
        qk::RefPtr<qk::IBuffer> held = qk::EmptyBuffer::instance();
        held->release();
      }
    });
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(qk::EmptyBuffer::instance()->size(), 0u);
  EXPECT_EQ(qk::EmptyBuffer::instance()->data(), nullptr);
}

}  // namespace
