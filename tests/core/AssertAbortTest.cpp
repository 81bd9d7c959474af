// Failed assertions on every road that ends in abort or in a debugger, each in a child process
// (fork) that ends by SIGABRT or is traced.
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/stat.h>

#include <csignal>
#include <regex>
#include <string>

#include "ChildProcess.h"
#include "ScriptedDialogs.h"
#include "TempDir.h"
#include "qk_assert.h"

namespace {

using Step = ScriptedDialogs::Step;

class AssertAbort : public testing::Test {
 protected:
  ScriptedDialogs dialogs;
  ScriptedDialogs::Installed installed{dialogs};
};

// ---- Roads to abort and to the debugger ------------------------------------------------------

TEST_F(AssertAbort, AbortAFailedWindowAndNoWindowAllAbort) {
  EXPECT_TRUE(run_in_child([&] {
                dialogs.answer({{Step::click, kAbort}});
                qk_assert(false);
              }).killed_by(SIGABRT));
  EXPECT_TRUE(run_in_child([&] { qk_assert(false); }).killed_by(SIGABRT));  // no answer: -1
  EXPECT_TRUE(run_in_child([&] {
                dialogs.has_font = false;
                dialogs.answer({{Step::click, kIgnore}});
                qk_assert(false);
              }).killed_by(SIGABRT));
}

TEST_F(AssertAbort, AbortOnAssertPrintsTheReportWithoutItsCallstack) {
  const ChildResult child = run_in_child([] {
    qkAssert::abort_on_assert = true;
    qkAssert::helpers::assertImpl("x", {3, 1, "f.cpp", "int g()"}, "boom %d", 1);
  });
  EXPECT_TRUE(child.killed_by(SIGABRT));
  EXPECT_EQ(child.error_output,
            "Assertion failed!\n\nCondition: \"x\"\n\nFile: \"f.cpp\"\nLine: 3\nFunction: \"int "
            "g()\"\n\nMessage:\n\"boom 1\"");
}

TEST_F(AssertAbort, RetryWithoutADebuggerToLaunchShowsTheNoticeThenAborts) {
  const ChildResult child = run_in_child([&] {
    setenv("PATH", "/nonexistent", 1);
    dialogs.print_runs = true;
    dialogs.answer({{Step::click, kRetry}});
    dialogs.answer({{Step::click, qkAssert::kIdOk}});
    qk_assert(false);
  });
  EXPECT_TRUE(child.killed_by(SIGABRT));
  EXPECT_NE(
      child.error_output.find(
          "[Debug break failed!] Failed to launch debugger. Maybe, gdb is missing from system folder.\n"),
      std::string::npos)
      << child.error_output;
}

TEST_F(AssertAbort, RetryLaunchesGdbFromThePathAndAbortsWhenNoneAttaches) {
  TempDir dir;
  dir.write("gdb", "#!/bin/sh\necho \"$@\" > arguments\nexit 3\n");
  chmod("gdb", 0755);
  const ChildResult child = run_in_child([&] {
    setenv("PATH", dir.path().c_str(), 1);
    dialogs.print_runs = true;
    dialogs.answer({{Step::click, kRetry}});
    qk_assert(false);
  });
  EXPECT_TRUE(child.killed_by(SIGABRT));
  EXPECT_EQ(child.error_output.find("Debug break failed!"), std::string::npos);  // it was launched
  EXPECT_TRUE(std::regex_match(TempDir::read("arguments"), std::regex("-q -p [0-9]+ -ex continue\n")))
      << TempDir::read("arguments");
}

TEST(AssertDebugger, RetryUnderADebuggerBreaksAndContinuingReturns) {
  const pid_t child = fork();
  if (child == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(77);
    raise(SIGSTOP);
    ScriptedDialogs dialogs;
    ScriptedDialogs::Installed installed(dialogs);
    dialogs.answer({{Step::click, kRetry}});
    qk_assert(false);
    _exit(dialogs.runs.size() == 1 ? 0 : 3);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 77) GTEST_SKIP() << "this system refuses to trace a child";
  ASSERT_TRUE(WIFSTOPPED(status) && WSTOPSIG(status) == SIGSTOP);
  ptrace(PTRACE_CONT, child, nullptr, nullptr);
  bool trapped = false;
  for (;;) {
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (!WIFSTOPPED(status)) break;
    const int signal = WSTOPSIG(status);
    if (signal == SIGTRAP) trapped = true;
    // The debugger continues; the trap isn't handed on, any other signal is.
    ptrace(PTRACE_CONT, child, nullptr, reinterpret_cast<void*>(intptr_t(signal == SIGTRAP ? 0 : signal)));
  }
  EXPECT_TRUE(trapped);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

}  // namespace
