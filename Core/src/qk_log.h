// qk_log: the one reporting channel of the core and of the plug-in.
//
// A message becomes a log record and then a line. What happens to the record depends on the
// log's mode, chosen by its flags:
//   - not started (the plug-in's mode, and where every process begins): the one static record is
//     formatted and dispatched on the calling thread, to the debugger channel and to standard
//     error. While a thread is using the static record, a message of another thread is lost
//     without a count.
//   - not started, debugger only (qk_log_set_debug_string_only): the same, to the debugger channel
//     alone.
//   - started IMMEDIATE: records from the pools, dispatched on the calling thread.
//   - started ASYNC: records from the pools, queued for the log's worker thread.
// TRACE never reaches the console or the debugger channel. A level in the fatal levels (ALERT at
// first) calls the fatal-level handler before the line is written anywhere: on a terminal it asks
// Abort/Retry/Ignore, elsewhere it answers 0 at once. An answer other than 0 (Ignore) trips it,
// and it is never called again.
//
// Safe from any thread and from static initialisers; qk_log never fails and reports nothing to
// its caller. A lost message leaves at most a counter (qk_log_dropped).
//
// A line in the FULL format reads: time (UTC, from the log's monotonic clock plus the wall-clock
// base, which is 0 until the log is started), level, module, thread in parentheses, ": " and the
// text, for example
//   1970-01-01 00:00:12.345 ALERT   QKCORESTATIC (4711): Out of memory in qk_malloc for 1024 bytes.
// The thread is the thread's name, else its decimal id. A line is cut to 65,535 bytes and always
// ends in a line feed.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "qk_format.h"
#include "qk_time.h"

// The module name of the core library.
inline constexpr char QKCORESTATIC[] = "QKCORESTATIC";

namespace qk {
struct LogRecord;
}

namespace qk::log {

// Levels are bits of one word; RELIABLE may be or-ed to any level.
enum Level : unsigned {
  ALERT = 0x2,
  ERROR = 0x8,
  WARNING = 0x10,
  ERROR_ONCE = 0x20,
  INFO = 0x40,
  DEBUG = 0x80,
  TRACE = 0x100,
  ALL = 0xFF,
  ALL_LEVELS = 0xFF,
  RELIABLE = 0x8000,
};

// The format word of a line.
enum Format : unsigned {
  MESSAGE = 0,
  TIME = 0x1,  // wall-clock time in UTC; the name TIME_UTC is taken by <time.h>
  LEVEL = 0x2,
  MODULE = 0x4,
  THREAD = 0x8,
  TIME_RELATIVE = 0x80,
  TIME_LOCAL = 0x81,
  SKIP_DUPLICATES = 0x100,
  FULL = 0x10F,
  EXTRA_INFO = 0x200,
  MODELTIME = 0x200,
  NO_HEADER_FOOTER = 0x4000,
  BACKUP = 0x8000,
};

// Modes of qk_log_start.
enum Mode : unsigned {
  ASYNC = 0,
  IMMEDIATE = 1,
};

}  // namespace qk::log

// ---- Logging ---------------------------------------------------------------------------------

void qk_log(const char* module, unsigned level, const char* format, ...) QK_PRINTF_FORMAT(3, 4);
void qk_log_v(const char* module, unsigned level, const char* format, va_list args);
// Logs `text` as it stands, without formatting. A level in the fatal levels reaches the handler
// twice, in the commit and once more afterwards (unless the first call tripped it).
void qk_log_write(const char* module, unsigned level, const char* text);

// A record to build a text in place: `text` has room for `capacity` bytes and a terminator.
// `record` is null when none was free; the message is then lost.
struct qk_log_message {
  qk::LogRecord* record;
  char* text;
  size_t capacity;
};
qk_log_message qk_log_alloc_message(const char* module, unsigned level);
// Finishes a record from qk_log_alloc_message with its text's length (cut to the capacity).
void qk_log_commit_message(qk::LogRecord* record, size_t length);

// The level's text in a line, padded to seven characters ("ERROR_ONCE" is the one longer word);
// "UNKNOWN" for anything that isn't exactly one level once RELIABLE is masked off.
const char* qk_log_level_name(unsigned level);

// ---- Counters --------------------------------------------------------------------------------

// Messages lost because a pool had no free record.
uint64_t qk_log_dropped();
// Times a record's text had to grow past its capacity.
uint64_t qk_log_text_reallocations();

// ---- Fatal-level handler ---------------------------------------------------------------------

// Answers non-zero to be silenced for the rest of the process.
using qk_log_fatal_handler = int (*)(const char* text, const char* level_text);

// The handler the log starts with: Abort/Retry/Ignore through the platform (a terminal's
// question; 0 at once without a terminal). Ignore answers 1; Abort and Retry answer 0 and abort
// nothing.
int qk_log_default_fatal_handler(const char* text, const char* level_text);
// Sets the handler (null for none) and clears the tripped state; answers the previous handler.
qk_log_fatal_handler qk_log_set_fatal_handler(qk_log_fatal_handler handler);
// True once a handler answered non-zero.
bool qk_log_fatal_tripped();
// The levels that call the handler; ALERT at first.
void qk_log_set_fatal_levels(unsigned levels);

// ---- Outputs and rules ----------------------------------------------------------------------
//
// An output is a log file with rules that say which records it takes, a format word and a filter
// of duplicates. Its rule set travels to the log as a request in the log's queue, and whoever
// serves the queue installs it: the worker in ASYNC mode, the sending thread itself in IMMEDIATE
// mode. While the log isn't started (the plug-in's mode) requests wait in the queue, and a later
// qk_log_start installs them.
//
// Files. The log name gives the file: a name that begins with "/" as it stands; a name with a "."
// anywhere but at its first position in the log folder (qk_log_options::log_directory, the working
// directory when empty), any other name there with ".log" appended; an empty name is the default
// log name. An output's file is made (or emptied) when its first line is written, so an output
// that takes nothing leaves no file; a backup request for that file (qk_log_backup) moves the old
// one aside first. Unless the format has NO_HEADER_FOOTER, the file starts with
// "---- log opened YYYY-MM-DD hh:mm:ss UTC ----" and ends with "---- log closed ... ----". A file
// that can't be made or written is reported once at ERROR under QKCORESTATIC, and the output
// drops its lines until it is set again.
//
// Writing. ASYNC mode writes through a buffer of the output, which reaches the file whenever the
// worker finds the queue empty, when the buffer is full, and when the output closes. IMMEDIATE
// mode writes each line through at once.
//
// Duplicates (format bit 0x100, part of FULL). A text equal to the last one this output took is
// counted instead of written; the next different text is preceded by the line
// "%d duplicate message(s) skipped." (WARNING, module "LOG", no thread, the time of that text). A
// count still pending when the output closes is written the same way before the footer.
//
// An output closes when a rule set with no rules and format 0 is sent for its name, and when the
// log stops.

// The checks of a rule.
enum : uint32_t {
  QK_LOG_RULE_LEVELS = 0x2,  // the record's level must have a bit of `levels`
  QK_LOG_RULE_MODULE = 0x4,  // the module must match `module`
  QK_LOG_RULE_THREAD = 0x8,  // the thread's name must match `thread`
};

// A rule as a caller gives it. Patterns (log/LogRules.h): a name, "Prefix*", either with a leading
// "!" to refuse; "*" is every name.
struct qk_log_output_rule {
  uint32_t flags;
  char module[128];
  uint32_t levels;
  char thread[128];
};

namespace qk::log {

// The limits of a file's backups: their total size in bytes and their age in seconds; 0 is no
// limit.
struct limits {
  uint64_t max_total_size = 0xA00000;  // 10 MiB
  uint64_t max_age = 604800;           // seven days
};

}  // namespace qk::log

// One rule for `logname`: the module pattern (checked when not null or empty) and the levels
// (checked when not 0). A null module with level and format 0 removes the output.
void qk_log_set_output(const char* logname, const char* module, unsigned level, unsigned format);
// Sends the rule set of `logname`. `levels`, when not 0, is added to every rule's mask and turns on
// its level check. Fails an assertion for a null name, for null rules with a count (the set is
// then sent without rules), and for an empty name (nothing is sent).
void qk_log_set_output_rules(const char* logname, uint64_t num_rules, const qk_log_output_rule* rules,
                             unsigned levels, unsigned format);
// Asks for backups of the file of `logname`, within `limits` (null: the defaults). When the output
// next makes its file, an old file that isn't empty is moved to NAME.YYYY-MM-DD_hh-mm-ss.EXT beside
// it (the time of its last change, UTC; "-2", "-3", ... behind the time when taken). Then backups
// of that file older than max_age go, and, counting sizes from the newest, the first that brings the
// total over max_total_size goes with every older one. The request keeps its limits until the log
// stops; an output whose file is open already has made it, and the limits apply the next time an
// output makes that file.
void qk_log_backup(const char* logname, const qk::log::limits* limits);

// Non-zero if a message of this module and level would reach an output: 0 while no worker runs
// (not started, or IMMEDIATE); else the outputs' rules decide, asked of the worker while rule sets
// are on their way to it.
int qk_log_is_enabled(const char* module, unsigned level);

// ---- Listeners -------------------------------------------------------------------------------
//
// Up to 16 functions that see every dispatched message (IMMEDIATE mode, and the worker in ASYNC
// mode; not while the log isn't started), in the order they were added, under a lock of their
// own. A message a listener logs itself reaches no listener.

struct qk_log_listener_message {
  double time;  // seconds of the log's clock
  const char* module;
  const char* text;
  unsigned level;
  unsigned reserved;
  double wall_time;  // seconds since 1970-01-01 UTC
  const char* thread;
  void* user;
};
using qk_log_listener = void (*)(const qk_log_listener_message& message);

// False when 16 are registered already. Neither call may come from a listener during its round.
bool qk_log_add_listener(qk_log_listener listener, void* user);
// False when that pair isn't registered.
bool qk_log_remove_listener(qk_log_listener listener, void* user);

// ---- Start and stop, for embedders -----------------------------------------------------------
//
// The plug-in never starts the log. An embedder that wants pooled records, a worker thread or
// real wall-clock times starts it once, from one thread, before other threads log heavily, and
// stops it at the end from the same thread. Starting fills both pools (1024 records each) once per
// process and sets the reliable pool's free-slot count to 1024; ASYNC also starts the worker
// thread that drains the queue (and sets `running`: reliable levels then wait for a free record
// instead of being dropped, and DEBUG and TRACE are dropped before formatting while no output
// takes them). IMMEDIATE dispatches on each calling thread and starts no thread.

struct qk_log_options {
  unsigned mode = qk::log::ASYNC;
  // Seconds added to the log's clock for wall-clock times; taken from the system's clock, so that
  // lines show the real date and time, unless `use_system_clock` is false.
  bool use_system_clock = true;
  int64_t wall_clock_base = 0;
  // Folder of the log files (the working directory when empty), and the name used when an output
  // or a backup names no file.
  const char* log_directory = "";
  const char* default_log_name = "";
  // Every message takes the reliable pool.
  bool all_reliable = false;
};

// False if the log is already started. Rule sets and backup requests sent before are installed.
bool qk_log_start(const qk_log_options& options);
// Stops the worker after it has written every queued record, writes whatever was committed while
// it ended, closes every output, and returns the log to the not-started mode. Nothing happens if
// it isn't started.
void qk_log_stop();

// While not started: serve only the debugger channel.
void qk_log_set_debug_string_only(bool on);
// The levels whose lines are written to standard error (every level at first). RELIABLE counts as a
// level bit of its own: a mask that has it lets through every line logged with RELIABLE, whatever
// its level, so that a tool can hide DEBUG and still show the scripts' `print` (DEBUG | RELIABLE).
// The debugger channel and the outputs keep every line.
void qk_log_set_stderr_levels(unsigned levels);
// The format word of the console and debugger line; FULL at first.
void qk_log_set_console_format(unsigned format);
// The callback of the EXTRA_INFO piece (null for none).
void qk_log_set_extra_info(size_t (*extra_info)(char* target, size_t room));
