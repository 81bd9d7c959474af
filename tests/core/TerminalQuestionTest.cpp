// The assertion question on a controlling terminal, driven through a pseudo-terminal as a person
// at it would answer; and a process without a terminal, which must not wait.
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

#include "ChildProcess.h"
#include "qk_assert.h"

namespace {

// A child whose controlling terminal is a new pseudo-terminal; the test holds the other side.
class Terminal {
 public:
  // False when no pseudo-terminal can be had.
  template <class Body>
  bool start(Body body) {
    child_ = forkpty(&leader_, nullptr, nullptr, nullptr);
    if (child_ < 0) return false;
    if (child_ == 0) {
      alarm(60);  // a question nobody answers ends the child, and the test fails
      body();
      std::fflush(stdout);
      _exit(0);
    }
    return true;
  }
  ~Terminal() {
    if (leader_ >= 0) close(leader_);
    if (child_ > 0 && !waited_) {
      kill(child_, SIGKILL);
      waitpid(child_, nullptr, 0);
    }
  }

  // What the terminal shows until `text` appears (line ends as "\n"); all of it at the end.
  std::string read_until(const std::string& text) {
    for (;;) {
      const size_t found = seen_.find(text);
      if (found != std::string::npos) {
        std::string shown = seen_.substr(0, found + text.size());
        seen_.erase(0, found + text.size());
        return shown;
      }
      pollfd ready{leader_, POLLIN, 0};
      if (poll(&ready, 1, 30000) <= 0) return "(nothing more came) " + seen_;
      char chunk[4096];
      const ssize_t n = read(leader_, chunk, sizeof chunk);
      if (n <= 0) return "(the terminal closed) " + seen_;
      for (ssize_t i = 0; i < n; ++i)
        if (chunk[i] != '\r') seen_ += chunk[i];
    }
  }

  void type(const std::string& keys) {
    ASSERT_EQ(write(leader_, keys.data(), keys.size()), ssize_t(keys.size()));
  }

  void hang_up() {
    close(leader_);
    leader_ = -1;
  }

  int wait() {
    int status = 0;
    waitpid(child_, &status, 0);
    waited_ = true;
    return status;
  }

 private:
  pid_t child_ = -1;
  int leader_ = -1;
  bool waited_ = false;
  std::string seen_;
};

const char kPrompt[] = "Choose (letters, then Enter; Enter alone: Abort): ";

void fail_twice_at_one_place() {
  for (int round = 0; round < 2; ++round) qk_assert(round < 0);
  std::printf("after the assertions\n");
}

TEST(TerminalQuestion, OffersTheThreeChoicesAndTheFieldsAndEnterAborts) {
  Terminal terminal;
  if (!terminal.start([] { qk_assert_msg(false, "asked on the terminal"); }))
    GTEST_SKIP() << "no pseudo-terminal can be opened here";
  const std::string shown = terminal.read_until(kPrompt);
  EXPECT_NE(shown.find("== Assertion failed! ==\nAssert notifications in Release build"), std::string::npos)
      << shown;
  EXPECT_NE(shown.find("Message:\n\"asked on the terminal\"\n\nCallstack:\n"), std::string::npos) << shown;
  EXPECT_NE(shown.find("\nwith same: ( ) [L]ine and file  ( ) [F]unction  ( ) [M]essage  ( ) [C]allstack\n"
                       "[A]bort  [R]etry (Debug break)  [I]gnore  [H]elp\n"),
            std::string::npos)
      << shown;
  terminal.type("\n");
  const int status = terminal.wait();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) << status;
}

TEST(TerminalQuestion, OnlyAChoiceEndsItAndHelpComesBack) {
  Terminal terminal;
  if (!terminal.start(fail_twice_at_one_place)) GTEST_SKIP() << "no pseudo-terminal can be opened here";
  std::string shown = terminal.read_until(kPrompt);
  EXPECT_EQ(shown.find("[M]essage"), std::string::npos) << shown;  // no message to compare
  EXPECT_NE(shown.find("( ) [C]allstack"), std::string::npos) << shown;

  terminal.type("\x1b\n");  // Esc: the close gesture
  EXPECT_NE(terminal.read_until(kPrompt).find("This question can't be closed without a choice."),
            std::string::npos);
  terminal.type("\x04\n");  // the end-of-file key is just a character now
  EXPECT_NE(terminal.read_until(kPrompt).find("No choice has the letter '^D'"), std::string::npos);
  terminal.type("m\n");  // no message box is offered
  EXPECT_NE(terminal.read_until(kPrompt).find("No choice has the letter 'm'"), std::string::npos);
  terminal.type("ai\n");
  EXPECT_NE(terminal.read_until(kPrompt).find("one button at a time"), std::string::npos);

  terminal.type("h\n");
  shown = terminal.read_until("Choose (letters, then Enter; Enter alone: Ok): ");
  EXPECT_NE(shown.find("== Assertion window help ==\nThis is help for the custom Quenka assertion window."),
            std::string::npos)
      << shown;
  terminal.type("\n");  // Ok
  EXPECT_NE(terminal.read_until(kPrompt).find("== Assertion failed! =="), std::string::npos);

  terminal.type("L\n");  // ticks the box and asks again
  EXPECT_NE(terminal.read_until(kPrompt).find("(x) [L]ine and file  ( ) [F]unction"), std::string::npos);
  terminal.type("i\n");  // the second failure at this place is skipped
  EXPECT_NE(terminal.read_until("after the assertions").find("after the assertions"), std::string::npos);
  const int status = terminal.wait();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(TerminalQuestion, ATerminalThatHangsUpMeansAbort) {
  Terminal terminal;
  // A hang-up ends the terminal's session with SIGHUP; a program that ignores it (under nohup)
  // sees its question end without an answer.
  if (!terminal.start([] {
        std::signal(SIGHUP, SIG_IGN);
        qk_assert(false);
      }))
    GTEST_SKIP() << "no pseudo-terminal can be opened here";
  terminal.read_until(kPrompt);
  terminal.hang_up();
  const int status = terminal.wait();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) << status;
}

TEST(TerminalQuestion, WithoutAControllingTerminalTheAnswerIsAbortAtOnce) {
  const ChildResult child = run_in_child([] {
    setsid();  // a new session has no controlling terminal
    qk_assert(false);
  });
  EXPECT_TRUE(child.killed_by(SIGABRT)) << child.status;  // SIGALRM would mean it waited
}

}  // namespace
