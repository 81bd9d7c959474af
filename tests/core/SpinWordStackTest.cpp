// The spin-word stack under one thread and under many.
#include <algorithm>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qk/SpinWordStack.h"

namespace {

struct Node {
  void* link;
  int value;
};

TEST(SpinWordStack, PopsInReverseOrderOfPushes) {
  qk::SpinWordStack stack;
  Node a{nullptr, 1}, b{nullptr, 2};
  EXPECT_EQ(stack.pop(), nullptr);
  stack.push(&a);
  stack.push(&b);
  EXPECT_FALSE(stack.empty());
  EXPECT_EQ(stack.pop(), &b);
  EXPECT_EQ(stack.pop(), &a);
  EXPECT_EQ(stack.pop(), nullptr);
  EXPECT_TRUE(stack.empty());
}

TEST(SpinWordStack, LosesNoNodeUnderContention) {
  constexpr int kThreads = 4, kNodes = 256, kRounds = 20000;
  std::vector<Node> nodes(kNodes);
  qk::SpinWordStack stack;
  for (int i = 0; i < kNodes; ++i) {
    nodes[i].value = i;
    stack.push(&nodes[i]);
  }
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&] {
      for (int r = 0; r < kRounds; ++r)
        if (void* node = stack.pop()) stack.push(node);
    });
  for (std::thread& t : threads) t.join();
  std::vector<int> seen;
  while (void* node = stack.pop()) seen.push_back(static_cast<Node*>(node)->value);
  std::sort(seen.begin(), seen.end());
  ASSERT_EQ(seen.size(), size_t(kNodes));
  for (int i = 0; i < kNodes; ++i) EXPECT_EQ(seen[i], i);
}

}  // namespace
