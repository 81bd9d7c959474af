// Standard output and standard error as the tool writes them.
//
// What a command prints as its result goes to standard output through the C runtime's stream
// (a script's `print` and `io.write` too); messages for the user go to standard error, after
// standard output is flushed, so that a pipe that joins both keeps their order. A write error on
// standard output (a full disk, /dev/full, a closed descriptor) is never silent: the command line
// ends every command with finishStandardOutput. Main thread only.
#pragma once

#include <string_view>

// Writes a command's result to standard output.
void writeOut(std::string_view text);

// Flushes standard output, then writes a message to standard error.
void writeErr(std::string_view text);

// Flushes standard output. When anything written there was lost, says why on standard error
// ("qkmt: standard output can't be written: No space left on device") and answers 1, or `status`
// when that is already a failure; otherwise answers `status`.
int finishStandardOutput(int status);

// While it lives, what is written to standard output goes to standard error: for the catalogue
// script, whose `print` must not mix with the tool's report.
class StdoutDiversion {
 public:
  StdoutDiversion();
  ~StdoutDiversion();
  StdoutDiversion(const StdoutDiversion&) = delete;
  StdoutDiversion& operator=(const StdoutDiversion&) = delete;

 private:
  int token_;
};
