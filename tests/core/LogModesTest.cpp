// The started log: pooled records, immediate dispatch, the queue and its worker thread.
#include <atomic>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "log/LogQueue.h"
#include "qk_log.h"

namespace {

size_t count_of(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

class LogModes : public testing::Test {
 protected:
  void SetUp() override { testing::internal::CaptureStderr(); }
  // Stops the log (if a test left it running) and answers what reached standard error.
  std::string stop() {
    qk_log_stop();
    return testing::internal::GetCapturedStderr();
  }
};

TEST_F(LogModes, ImmediateDispatchesOnTheCallerWithTheWallClock) {
  qk_log_options options;
  options.mode = qk::log::IMMEDIATE;
  ASSERT_TRUE(qk_log_start(options));
  EXPECT_FALSE(qk_log_start(options));
  EXPECT_EQ(qk_log_is_enabled("LOG", qk::log::INFO), 0);  // no worker runs
  qk_log("LOG", qk::log::INFO, "now");
  const std::string lines = stop();
  EXPECT_TRUE(std::regex_match(lines, std::regex("20\\d\\d-\\d\\d-\\d\\d [0-9:.]+ INFO    LOG \\([^)]+\\): now\n")))
      << lines;
}

TEST_F(LogModes, AnEmptyPoolDropsAndCounts) {
  qk_log_options options;
  options.mode = qk::log::IMMEDIATE;
  ASSERT_TRUE(qk_log_start(options));
  std::vector<qk_log_message> held;
  const uint64_t dropped = qk_log_dropped();
  for (unsigned level : {unsigned(qk::log::INFO), unsigned(qk::log::ERROR)}) {
    for (int i = 0; i < 1024; ++i) held.push_back(qk_log_alloc_message("LOG", level));
    EXPECT_EQ(held.back().capacity, 255u);
    EXPECT_EQ(qk_log_alloc_message("LOG", level).record, nullptr);  // and no waiting
  }
  EXPECT_EQ(qk_log_dropped(), dropped + 2);
  for (const qk_log_message& m : held) {
    m.text[0] = 'm';
    qk_log_commit_message(m.record, 1);
  }
  qk_log("LOG", qk::log::ERROR, "after");  // the records came back
  const std::string lines = stop();
  EXPECT_EQ(count_of(lines, "): m\n"), 2048u);
  EXPECT_EQ(count_of(lines, "): after\n"), 1u);
}

TEST_F(LogModes, TheWorkerWritesWhatTwoThreadsQueued) {
  const uint64_t dropped = qk_log_dropped();
  ASSERT_TRUE(qk_log_start(qk_log_options{}));
  EXPECT_EQ(qk_log_is_enabled("LOG", qk::log::INFO), 0);  // no output takes anything
  auto produce = [](const char* name) {
    for (int i = 0; i < 3000; ++i) qk_log("LOG", i % 2 ? qk::log::ERROR : qk::log::INFO, "%s %d", name, i);
  };
  std::thread a(produce, "a"), b(produce, "b");
  a.join();
  b.join();
  qk_log("LOG", qk::log::DEBUG, "unheard");
  const std::string lines = stop();
  // INFO is dropped, and counted, when its pool runs dry; ERROR waits for a record.
  EXPECT_EQ(count_of(lines, " INFO    LOG (") + (qk_log_dropped() - dropped), 3000u);
  for (const char* name : {"a", "b"})
    for (int i = 1; i < 3000; i += 2)
      ASSERT_NE(lines.find(std::string(": ") + name + " " + std::to_string(i) + "\n"), std::string::npos);
  EXPECT_EQ(lines.find("unheard"), std::string::npos);
}

TEST_F(LogModes, AReliableMessageWaitsForAFreeRecord) {
  ASSERT_TRUE(qk_log_start(qk_log_options{}));
  std::vector<qk_log_message> held;
  for (int i = 0; i < 1024; ++i) held.push_back(qk_log_alloc_message("LOG", qk::log::ERROR));
  std::atomic<bool> logged{false};
  std::thread waiter([&] {
    qk_log("LOG", qk::log::ERROR, "waited");
    logged = true;
  });
  for (const qk_log_message& m : held) qk_log_commit_message(m.record, 0);
  waiter.join();
  EXPECT_TRUE(logged);
  const std::string lines = stop();
  EXPECT_EQ(count_of(lines, "): \n"), 1024u);
  EXPECT_EQ(count_of(lines, "): waited\n"), 1u);
}

TEST(LogQueue, KeepsEachProducersOrder) {
  struct Item : qk::LogRecord {
    int producer = 0, sequence = 0;
  };
  constexpr int kEach = 20000;
  std::vector<Item> items(2 * kEach);
  qk::LogQueue queue;
  auto produce = [&](int p) {
    for (int i = 0; i < kEach; ++i) {
      Item& item = items[size_t(p * kEach + i)];
      item.producer = p;
      item.sequence = i;
      queue.push(&item);
    }
  };
  std::thread a(produce, 0), b(produce, 1);
  int next[2] = {0, 0}, taken = 0;
  while (taken < 2 * kEach) {
    if (auto* item = static_cast<Item*>(queue.pop())) {
      ASSERT_EQ(item->sequence, next[item->producer]++);
      ++taken;
    }
  }
  a.join();
  b.join();
  EXPECT_EQ(queue.pop(), nullptr);
}

}  // namespace
