// --log FILE[:RULES]: log outputs of `qkmt run`, and the run's log, which makes them work.
//
// FILE is a log name as a script's log.set_output takes it: a name with a "." after its first
// character is the file as it stands, any other gets ".log" appended; relative names are under the
// working directory, and "/..." is an absolute real path (log files are never virtual). A FILE
// can't hold ":" (the first one begins the rules). The output writes the log's FULL lines (UTC time,
// level, module, thread), skips repeated texts with a summary line, and has a header and a footer
// line; its file is made when its first line comes, so an output that takes nothing leaves none.
//
// RULES is a comma-separated list of rules, walked in order as the log walks an output's rules (the
// first rule that decides wins). A rule is
//     [MODULE][@THREAD][=LEVEL[+LEVEL...]]
// MODULE and THREAD are the log's patterns: a name, "Prefix*", "*" for every name, each with a
// leading "!" to refuse; an absent MODULE checks no module, an absent THREAD no thread. LEVEL is
// one of alert, error, warning, error_once, info, debug, trace, all (every level but trace) and
// reliable, in any case; without "=" a rule takes `all`. Without RULES the output takes every module
// at every level but trace, as ":*" does. Examples:
//     run.log                      everything but TRACE
//     lua.log:!Lua::Config,Lua*    the modules that begin with "Lua" but Lua::Config
//     errors:=error+alert          ERROR and ALERT lines of every module, into errors.log
// A pattern is at most 127 bytes; an empty rule, "@" or "=" with nothing behind, and an unknown
// level are errors. --log may be given several times; a FILE given twice keeps its last rules, and
// a script's log.set_output for the same name replaces them as well.
//
// The parser is pure and reentrant. RunLog belongs to the run, on the main thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qk_log.h"

// One output as --log gives it.
struct LogOutputSpec {
  std::string logname;
  std::vector<qk_log_output_rule> rules;
};

// The output of one --log text, or nothing with `error` set (a sentence without the option's text)
// when the text can't be read.
std::optional<LogOutputSpec> parseLogOption(std::string_view text, std::string& error);

// The log of one run: started IMMEDIATE (every line written on the thread that logs it, in order
// with what the tool prints, and no thread started), with the system's clock, so that lines show
// the real date and time in UTC; the outputs are sent at once, in order. The destructor stops the
// log, which writes what is pending, closes the files and returns the log to its unstarted mode.
class RunLog {
 public:
  explicit RunLog(const std::vector<LogOutputSpec>& outputs);
  ~RunLog();
  RunLog(const RunLog&) = delete;
  RunLog& operator=(const RunLog&) = delete;
};
