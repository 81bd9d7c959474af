// Synchronisation and tasks: the semaphore's stops, events, threads and their observer, the task
// queue, tasks and group barriers, the task system and its shutdown with tasks still queued.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "TestPlatform.h"
#include "platform/qk_threads.h"
#include "qk/CriticalSection.h"
#include "qk/Event.h"
#include "qk/Semaphore.h"
#include "qk/SharedGroupBarrier.h"
#include "qk/SyncTaskQueue.h"
#include "qk/Thread.h"
#include "qk/tasks/MainTask.h"
#include "qk/tasks/TaskSystem.h"

namespace {

std::string threadName() { return qk_test_thread_name(); }

size_t countOf(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

constexpr char kPendingWarning[] = "WARNING QKCORESTATIC (";
constexpr char kPendingText[] = "qk::SyncTaskQueue is destructed with pending tasks on board";

// ---- Critical sections and events ------------------------------------------------------------

TEST(CriticalSection, ItsHolderTakesItAgainAndOtherThreadsWaitUntilItIsLeftAsOftenAsTaken) {
  qk::CriticalSection section;
  section.lock();
  EXPECT_TRUE(section.try_lock()) << "the holder enters again";
  bool otherGot = true;
  std::thread([&] { otherGot = section.try_lock(); }).join();
  EXPECT_FALSE(otherGot) << "held twice";
  section.unlock();
  std::thread([&] { otherGot = section.try_lock(); }).join();
  EXPECT_FALSE(otherGot) << "still held once";
  section.unlock();
  std::thread([&] {
    otherGot = section.try_lock();
    if (otherGot) section.unlock();
  }).join();
  EXPECT_TRUE(otherGot) << "left as often as taken";
}

TEST(CriticalSection, AConditionWaitGivesItUpAndTakesItBack) {
  qk::CriticalSection section;
  std::condition_variable_any changed;
  int stage = 0;
  std::thread other([&] {
    std::lock_guard<qk::CriticalSection> hold(section);
    stage = 1;
    changed.notify_all();
  });
  {
    std::unique_lock<qk::CriticalSection> hold(section);
    changed.wait(hold, [&] { return stage == 1; });
    EXPECT_TRUE(hold.owns_lock());
  }
  other.join();
}

TEST(Event, StaysSetForEveryWaitUntilResetAndANoneEventIsNotValid) {
  qk::Event none;
  EXPECT_FALSE(none.valid());
  qk::Event event(false);
  ASSERT_TRUE(event.valid());
  EXPECT_FALSE(event.isSet());
  std::atomic<int> woken{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) waiters.emplace_back([&] {
    event.wait();
    woken += 1;
  });
  event.set();
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_EQ(woken.load(), 3);
  EXPECT_TRUE(event.isSet());
  event.wait();  // returns at once: still set
  event.reset();
  EXPECT_FALSE(event.isSet());
  qk::Event moved(std::move(event));
  EXPECT_FALSE(event.valid());
  EXPECT_TRUE(moved.valid());
  moved.make(true);
  EXPECT_TRUE(moved.isSet());
  moved.close();
  EXPECT_FALSE(moved.valid());
}

// ---- Semaphore and threads -----------------------------------------------------------------

TEST(SemaphoreDeathTest, ANegativeStartOrAnOverflowEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(qk::Semaphore(-1), "");
  EXPECT_DEATH(
      {
        qk::Semaphore semaphore(qk::Semaphore::kMax - 1);
        semaphore.release(2);
      },
      "");
  EXPECT_DEATH(qk::Semaphore().release(-1), "");
}

TEST(Thread, IsNamedHasItsIdAndStaysJoinableAfterItEnded) {
  qk::Thread none;
  EXPECT_FALSE(none.joinable());
  none.join();  // does nothing
  EXPECT_EQ(none.settings, (std::array<int32_t, 3>{2, 5, 2}));
  std::string seenName;
  uint32_t seenId = 0;
  qk::Event ended(false);
  qk::Thread thread;
  thread.start("a name longer than fifteen", [&] {
    seenName = threadName();
    seenId = qk_platform_thread_id();
    ended.set();
  });
  ended.wait();
  EXPECT_TRUE(thread.joinable()) << "an ended thread can still be joined";
  try {
    thread.start("second", [] {});
    ADD_FAILURE() << "a Thread that has one was started again";
  } catch (const std::system_error& refused) {
    EXPECT_EQ(refused.code().value(), qk_platform_error_busy());
    EXPECT_EQ(refused.code().category(), std::system_category());
  }
  thread.join();
  EXPECT_FALSE(thread.joinable());
  EXPECT_EQ(seenName, "a name longer t");
  EXPECT_EQ(seenId, thread.id());
}

struct RecordingObserver : qk::IThreadObserver {
  std::vector<uint32_t> joined;
  void joining(uint32_t id) override { joined.push_back(id); }
};

TEST(Thread, TellsTheObserverAndReportsAFailedWait) {
  RecordingObserver observer;
  qk::qk_set_thread_observer(&observer);
  qk::Thread thread;
  std::string error;
  qk::Event failed(false);
  qk::Event started(false);
  thread.start("self joiner", [&] {
    started.wait();  // until start has returned and the wrapper holds the handle
    try {
      thread.join();  // a thread can't wait for itself
    } catch (const std::system_error& e) {
      error = e.what();
    }
    failed.set();
  });
  const uint32_t id = thread.id();
  started.set();
  failed.wait();
  qk::qk_set_thread_observer(nullptr);
  const std::string expected =
      "Wait for working thread failed with code " + std::to_string(qk_test_self_join_error()) + ".";
  EXPECT_EQ(error.rfind(expected, 0), 0u) << error;
  EXPECT_FALSE(thread.joinable()) << "the failed wait leaves no handle (the thread went on detached)";
  EXPECT_EQ(observer.joined, std::vector<uint32_t>{id});
}

// ---- Queue, tasks and barriers ---------------------------------------------------------------

TEST(SyncTaskQueue, ManyProducersOneConsumerLoseAndReorderNothing) {
  constexpr int kProducers = 4, kEach = 5000;
  std::vector<std::vector<int>> seen(kProducers);
  qk::SyncTaskQueue queue;
  std::vector<std::thread> producers;
  for (int p = 0; p < kProducers; ++p)
    producers.emplace_back([&, p] {
      for (int i = 0; i < kEach; ++i)
        queue.push(qk::MainTask::create([&seen, p, i] { seen[p].push_back(i); }));
    });
  int taken = 0;
  while (taken < kProducers * kEach) {
    if (qk::MainTask* task = queue.pop()) {
      task->run();
      task->release();
      ++taken;
    }
  }
  for (auto& p : producers) p.join();
  EXPECT_TRUE(queue.empty());
  for (int p = 0; p < kProducers; ++p) {
    ASSERT_EQ(seen[p].size(), size_t(kEach));
    for (int i = 0; i < kEach; ++i) ASSERT_EQ(seen[p][i], i) << "producer " << p;
  }
}

TEST(SyncTaskQueue, DestroyedWithThreeTasksWarnsOnceReleasesThemAndWakesTheirGroup) {
  const uint32_t inUse = qk::MainTask::pool.items_in_use();
  const uint32_t barriers = qk::SharedGroupBarrier::pool.items_in_use();
  auto group = qk::SharedGroupBarrier::create();
  auto ran = std::make_shared<int>(0);
  std::thread waiter;
  testing::internal::CaptureStderr();
  {
    qk::SyncTaskQueue queue;
    for (int i = 0; i < 3; ++i) queue.push(qk::MainTask::create([ran] { *ran += 1; }, group.get()));
    EXPECT_EQ(group->pendingCount(), 3u);
    waiter = std::thread([&group] { group->wait(); });
  }
  const std::string log = testing::internal::GetCapturedStderr();
  waiter.join();
  EXPECT_EQ(countOf(log, kPendingText), 1u) << log;
  EXPECT_EQ(*ran, 0) << "released without running";
  EXPECT_EQ(ran.use_count(), 1) << "the tasks' work is destroyed";
  EXPECT_EQ(group->pendingCount(), 0u);
  EXPECT_EQ(qk::MainTask::pool.items_in_use(), inUse);
  group.reset();
  EXPECT_EQ(qk::SharedGroupBarrier::pool.items_in_use(), barriers) << "the last reference returns it";
}

TEST(MainTask, AThrowingTaskIsLoggedAndStillReleasesItsGroup) {
  auto group = qk::SharedGroupBarrier::create();
  qk::MainTask* task = qk::MainTask::create([] { throw std::runtime_error("disk on fire"); }, group.get());
  testing::internal::CaptureStderr();
  task->run();
  const std::string log = testing::internal::GetCapturedStderr();
  task->release();
  EXPECT_NE(log.find("ERROR   QKCORESTATIC"), std::string::npos);
  EXPECT_NE(log.find("Task failed: disk on fire"), std::string::npos) << log;
  EXPECT_EQ(group->pendingCount(), 0u);
}

// ---- The task system -------------------------------------------------------------------------

TEST(TaskSystem, RunsWorkOnItsNamedThreadsAndCountsItsGroups) {
  ASSERT_TRUE(qk::qk_tasks_start({2, 1}));
  EXPECT_FALSE(qk::qk_tasks_start({})) << "started once";
  auto group = qk::SharedGroupBarrier::create();
  std::atomic<int> ran{0};
  std::atomic<bool> onTaskThreads{true};
  for (int i = 0; i < 500; ++i)
    ASSERT_TRUE(qk::qk_tasks_run(
        [&] {
          ran += 1;
          if (!qk::qk_tasks_is_task_thread()) onTaskThreads = false;
        },
        group.get(), i % 2 ? qk::TaskPriority::Urgent : qk::TaskPriority::Normal));
  std::string ioName, serialOrder;
  std::mutex orderLock;
  ASSERT_TRUE(qk::qk_tasks_run_io([&] { ioName = threadName(); }, group.get()));
  for (char c : std::string("ordered"))
    ASSERT_TRUE(qk::qk_tasks_run_serial(
        [&, c] {
          std::lock_guard<std::mutex> hold(orderLock);
          serialOrder += c;
        },
        group.get()));
  group->wait();
  EXPECT_EQ(ran.load(), 500);
  EXPECT_TRUE(onTaskThreads.load());
  EXPECT_FALSE(qk::qk_tasks_is_task_thread());
  EXPECT_EQ(ioName, "qk io 0");
  EXPECT_EQ(serialOrder, "ordered");

  std::string mainThread;
  ASSERT_TRUE(qk::qk_tasks_post_main([&] { mainThread = threadName(); }));
  EXPECT_EQ(qk::qk_tasks_run_main(), 1u);
  EXPECT_EQ(mainThread, threadName()) << "main tasks run on the thread that pumps them";
  qk::qk_tasks_stop();
  EXPECT_FALSE(qk::qk_tasks_started());
  EXPECT_FALSE(qk::qk_tasks_run([] {})) << "nothing is made once the system is gone";
}

// Sets an event when the thread it watches for is joined: by then the pool's `stop` is set.
struct JoinSignal : qk::IThreadObserver {
  std::atomic<uint32_t> watched{0};
  qk::Event joined{false};
  void joining(uint32_t id) override {
    if (id == watched) joined.set();
  }
};

TEST(TaskSystem, StoppingWithTasksStillQueuedReleasesThemUnrunAndWakesTheirGroups) {
  ASSERT_TRUE(qk::qk_tasks_start({1, 1}));
  JoinSignal signal;
  qk::qk_set_thread_observer(&signal);
  auto mainGroup = qk::SharedGroupBarrier::create();
  auto workerGroup = qk::SharedGroupBarrier::create();
  std::atomic<int> ran{0};
  qk::Event busy(false);
  // The one worker sits in a task until its pool is being stopped.
  ASSERT_TRUE(qk::qk_tasks_run([&] {
    signal.watched = qk_platform_thread_id();
    busy.set();
    signal.joined.wait();
  }));
  busy.wait();
  for (int i = 0; i < 5; ++i) ASSERT_TRUE(qk::qk_tasks_run([&] { ran += 1; }, workerGroup.get()));
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(qk::qk_tasks_post_main([&] { ran += 1; }, mainGroup.get()));
  std::thread waiter([&] {
    mainGroup->wait();
    workerGroup->wait();
  });

  testing::internal::CaptureStderr();
  qk::qk_tasks_stop();
  const std::string log = testing::internal::GetCapturedStderr();
  waiter.join();
  qk::qk_set_thread_observer(nullptr);
  EXPECT_EQ(ran.load(), 0);
  EXPECT_EQ(mainGroup->pendingCount(), 0u);
  EXPECT_EQ(workerGroup->pendingCount(), 0u);
  EXPECT_EQ(countOf(log, kPendingText), 2u) << "the main queue and the worker's list, once each:\n" << log;
  EXPECT_EQ(countOf(log, kPendingWarning), 2u);
}

TEST(TaskSystemDeathTest, ARunningSystemStopsAtExit) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        qk::qk_tasks_start({1, 1});
        qk::qk_tasks_post_main([] {});
        std::exit(0);
      },
      testing::ExitedWithCode(0), kPendingText);
}

}  // namespace
