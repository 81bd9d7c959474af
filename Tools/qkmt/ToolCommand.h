// ToolCommand: one command of qkmt (`qkmt catalogue`, `qkmt run`, ...). A command names itself,
// adds its options to the CLI11 subcommand made for it, and runs once the command line is parsed.
//
// Adding a command is a class derived from this in a file pair of its own and one line in the
// table of main.cpp; the command line (CommandLine.h) gives it `qkmt help NAME`, `--help`,
// `--version` and the handling of standard output's errors. One object per process, main thread.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

// The command line as given, and where a command's unparsed rest begins.
struct Invocation {
  std::vector<std::string> words;  // argv[0] first
  size_t rest;                     // the index in `words` of the rest's first word; words.size() for none
};

class ToolCommand {
 public:
  virtual ~ToolCommand() = default;

  // The word on the command line and the one-line purpose shown by `qkmt help`.
  virtual const char* name() const = 0;
  virtual const char* summary() const = 0;

  // Adds the options, positionals and footer to `command`, the subcommand made for this command.
  virtual void define(CLI::App& command) = 0;

  // True when the first word after the command's options and everything after it belong to the
  // command unparsed (`qkmt run SCRIPT ARGS...`): they are `words` from `rest` on, `--help` included. A `--`
  // before that word ends the options, so that the word may begin with "-".
  virtual bool takesRest() const { return false; }

  // Runs the command after a successful parse; answers the exit status.
  virtual int run(const Invocation& invocation) = 0;
};

using ToolCommandList = std::vector<std::unique_ptr<ToolCommand>>;
