// The log's outputs: rules and patterns, files, the duplicate filter, backups, the question whether
// a message would be written, listeners, and the assertions of bad arguments.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <ctime>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "ScriptedDialogs.h"
#include "TempDir.h"
#include "TestPlatform.h"
#include "log/LogBackup.h"
#include "log/LogRules.h"
#include "qk_log.h"

namespace {

qk_log_output_rule rule(uint32_t flags, const char* module, uint32_t levels = 0, const char* thread = "") {
  qk_log_output_rule r{};
  r.flags = flags;
  std::strncpy(r.module, module, sizeof r.module - 1);
  r.levels = levels;
  std::strncpy(r.thread, thread, sizeof r.thread - 1);
  return r;
}

// ---- Rules -----------------------------------------------------------------------------------

bool takes(const std::vector<qk_log_output_rule>& given, unsigned level, const char* module,
           const char* thread = "main", unsigned extra_levels = 0) {
  std::vector<qk::LogCompiledRule> rules;
  for (const auto& r : given) rules.push_back(qk::compile_log_rule(r, extra_levels));
  return qk::log_rules_accept(rules.data(), rules.size(), level, module, thread);
}

TEST(LogRules, TheWalkTakesTheFirstRuleThatDecides) {
  using qk::log::DEBUG;
  using qk::log::INFO;
  const auto lua = rule(QK_LOG_RULE_MODULE, "Lua*");
  EXPECT_TRUE(takes({lua}, INFO, "Lua::Config"));
  EXPECT_TRUE(takes({lua}, INFO, "Lua"));
  EXPECT_FALSE(takes({lua}, INFO, "LUA"));  // case counts
  EXPECT_FALSE(takes({lua}, INFO, "Lu"));

  // A negated rule alone refuses its name and accepts nothing else.
  const auto not_lua = rule(QK_LOG_RULE_MODULE, "!LUA");
  EXPECT_FALSE(takes({not_lua}, INFO, "LUA"));
  EXPECT_FALSE(takes({not_lua}, INFO, "LOG"));
  EXPECT_TRUE(takes({not_lua, rule(QK_LOG_RULE_MODULE, "*")}, INFO, "LOG"));
  EXPECT_FALSE(takes({not_lua, rule(QK_LOG_RULE_MODULE, "*")}, INFO, "LUA"));
  EXPECT_FALSE(takes({rule(QK_LOG_RULE_MODULE, "!")}, INFO, ""));
  EXPECT_FALSE(takes({}, INFO, "LOG"));  // no rules, nothing taken

  // A rule whose level doesn't fit doesn't apply; the next one may.
  const auto info_only = rule(QK_LOG_RULE_MODULE | QK_LOG_RULE_LEVELS, "*", INFO);
  EXPECT_FALSE(takes({info_only}, DEBUG, "LOG"));
  EXPECT_TRUE(takes({info_only, rule(QK_LOG_RULE_MODULE, "LOG")}, DEBUG, "LOG"));
  EXPECT_TRUE(takes({rule(QK_LOG_RULE_MODULE, "*")}, DEBUG, "LOG", "main", INFO | DEBUG));  // extra levels
  EXPECT_FALSE(takes({rule(QK_LOG_RULE_MODULE, "*")}, DEBUG, "LOG", "main", INFO));

  // The thread decides once the module matched.
  const auto workers = rule(QK_LOG_RULE_MODULE | QK_LOG_RULE_THREAD, "LOG", 0, "worker*");
  EXPECT_TRUE(takes({workers}, INFO, "LOG", "worker 2"));
  EXPECT_FALSE(takes({workers}, INFO, "LOG", "main"));
  const auto not_main = rule(QK_LOG_RULE_THREAD, "", 0, "!main");
  EXPECT_FALSE(takes({not_main, rule(QK_LOG_RULE_MODULE, "*")}, INFO, "LOG", "main"));
  EXPECT_TRUE(takes({not_main, rule(QK_LOG_RULE_MODULE, "*")}, INFO, "LOG", "other"));
}

TEST(LogFilePath, NamesWithADotStayNamesWithoutGetTheExtension) {
  EXPECT_EQ(qk::log_file_path("build.log", "logs", ""), "logs/build.log");
  EXPECT_EQ(qk::log_file_path("build", "logs", ""), "logs/build.log");
  EXPECT_EQ(qk::log_file_path(".hidden", "logs", ""), "logs/.hidden.log");  // a dot only at the start
  EXPECT_EQ(qk::log_file_path("a.b", "", ""), "./a.b");
  EXPECT_EQ(qk::log_file_path("", "logs", "game"), "logs/game.log");
  EXPECT_EQ(qk::log_file_path("/var/log/x", "logs", ""), "/var/log/x");
  EXPECT_EQ(qk::log_file_path(std::string(300, 'n'), "d", "").size(), 256u);
}

// ---- Outputs through real files --------------------------------------------------------------

class LogOutputs : public testing::Test {
 protected:
  void start(unsigned mode) {
    testing::internal::CaptureStderr();
    qk_log_options options;
    options.mode = mode;
    ASSERT_TRUE(qk_log_start(options));
  }
  // Stops the log and answers what reached standard error.
  std::string stop() {
    qk_log_stop();
    return testing::internal::GetCapturedStderr();
  }

  TempDir dir;
};

constexpr unsigned kPlain = qk::log::LEVEL | qk::log::MODULE | qk::log::NO_HEADER_FOOTER;

TEST_F(LogOutputs, TheRulesChooseTheLinesOfTheFile) {
  start(qk::log::IMMEDIATE);
  qk_log_set_output("lua.log", "Lua*", 0, kPlain);
  qk_log("LUA", qk::log::INFO, "not this");
  qk_log("Lua::Config", qk::log::ERROR, "first %d", 1);
  qk_log("Lua", qk::log::DEBUG, "second");
  qk_log("LOG", qk::log::INFO, "not this either");
  stop();
  EXPECT_EQ(TempDir::read("lua.log"), "ERROR   Lua::Config: first 1\nDEBUG   Lua: second\n");
}

TEST_F(LogOutputs, DuplicatesAreCountedAndSummedUpBeforeTheNextText) {
  start(qk::log::IMMEDIATE);
  qk_log_set_output("dup", nullptr, qk::log::ALL, kPlain | qk::log::THREAD | qk::log::SKIP_DUPLICATES);
  qk_log("A", qk::log::INFO, "same");
  qk_log("B", qk::log::ERROR, "same");  // module and level don't count
  qk_log("A", qk::log::WARNING, "same");
  qk_log("A", qk::log::INFO, "other");
  qk_log("A", qk::log::INFO, "same");  // a new run
  qk_log("A", qk::log::INFO, "same");
  stop();  // the pending count is written as the output closes
  const std::string lines =
      std::regex_replace(TempDir::read("dup.log"), std::regex("A \\([^)]*\\)"), "A (t)");
  EXPECT_EQ(lines,
            "INFO    A (t): same\n"
            "WARNING LOG (): 2 duplicate message(s) skipped.\n"
            "INFO    A (t): other\n"
            "INFO    A (t): same\n"
            "WARNING LOG (): 1 duplicate message(s) skipped.\n");
}

TEST_F(LogOutputs, AFileIsMadeOnFirstUseAndClosedWithItsFooterWhenRemoved) {
  start(qk::log::IMMEDIATE);
  qk_log_output_rule not_lua = rule(QK_LOG_RULE_MODULE, "!LUA");
  qk_log_set_output_rules("quiet", 1, &not_lua, 0, qk::log::FULL);
  qk_log_set_output("loud", "*", 0, qk::log::FULL);
  qk_log("LUA", qk::log::INFO, "hi");
  qk_log("LOG", qk::log::INFO, "there");
  qk_log_set_output("loud", nullptr, 0, 0);  // removed
  qk_log("LOG", qk::log::INFO, "after");
  stop();
  EXPECT_FALSE(std::filesystem::exists("quiet.log"));  // it took nothing
  const std::string loud = TempDir::read("loud.log");
  const std::string stamp = "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d";
  EXPECT_TRUE(std::regex_match(
      loud, std::regex("---- log opened " + stamp + " UTC ----\n" + stamp +
                       "\\.\\d{3} INFO    LUA \\([^)]+\\): hi\n" + stamp +
                       "\\.\\d{3} INFO    LOG \\([^)]+\\): there\n---- log closed " + stamp + " UTC ----\n")))
      << loud;
}

TEST_F(LogOutputs, OutputsShareTheQueueOfTheWorker) {
  start(qk::log::ASYNC);
  EXPECT_EQ(qk_log_is_enabled("LUA", qk::log::INFO), 0);  // no outputs yet
  qk_log_set_output("async.log", "LUA", qk::log::INFO | qk::log::DEBUG,
                    qk::log::MESSAGE | qk::log::NO_HEADER_FOOTER);
  // The rule set may still be on its way: the worker answers.
  EXPECT_EQ(qk_log_is_enabled("LUA", qk::log::INFO), 1);
  EXPECT_EQ(qk_log_is_enabled("LUA", qk::log::ERROR), 0);
  EXPECT_EQ(qk_log_is_enabled("LOG", qk::log::INFO), 0);
  for (int i = 0; i < 3; ++i) qk_log("LUA", qk::log::DEBUG, "debug %d", i);  // an output takes DEBUG
  qk_log("LUA", qk::log::TRACE, "trace");
  stop();
  EXPECT_EQ(TempDir::read("async.log"), "debug 0\ndebug 1\ndebug 2\n");
}

TEST_F(LogOutputs, RequestsSentBeforeTheStartAreServedByIt) {
  qk_log_set_output("early", "*", 0, qk::log::MESSAGE | qk::log::NO_HEADER_FOOTER);
  start(qk::log::IMMEDIATE);
  qk_log("LOG", qk::log::INFO, "served");
  stop();
  EXPECT_EQ(TempDir::read("early.log"), "served\n");
}

TEST_F(LogOutputs, AFileThatCantBeMadeIsReportedOnce) {
  start(qk::log::IMMEDIATE);
  qk_log_set_output("missing/x.log", "LOG", 0, qk::log::FULL);
  qk_log("LOG", qk::log::INFO, "one");
  qk_log("LOG", qk::log::INFO, "two");
  const std::string console = stop();
  // The reason is the system's own text ("No such file or directory" on Linux).
  const std::string failure = "Failed to open log output ./missing/x.log: ";
  ASSERT_NE(console.find(failure), std::string::npos) << console;
  EXPECT_EQ(console.find(failure, console.find(failure) + 1), std::string::npos) << console;
}

// Sets a file's modification time.
void touch(const std::string& path, time_t when) { ASSERT_TRUE(qk_test_set_file_time(path, when)) << path; }

std::string backup_name(const char* stem, time_t when, const char* extension) {
  char stamp[32];
  const tm broken = qk_test_utc(when);
  std::strftime(stamp, sizeof stamp, "%Y-%m-%d_%H-%M-%S", &broken);
  return std::string(stem) + "." + stamp + extension;
}

TEST_F(LogOutputs, ABackupMovesTheOldFileAsideAndPrunesTheOldestBackups) {
  const time_t now = time(nullptr), old_run = now - 100;
  dir.write("b.log", "old run\n");  // 8 bytes
  touch("b.log", old_run);
  dir.write("b.2001-01-01_00-00-00.log", "too old");
  touch("b.2001-01-01_00-00-00.log", now - 2 * 86400);
  dir.write("b.2001-01-02_00-00-00.log", "fifteen bytes..");
  touch("b.2001-01-02_00-00-00.log", now - 3600);
  dir.write("b.2001-01-03_00-00-00-2.log", "1234");
  touch("b.2001-01-03_00-00-00-2.log", now - 7200);
  dir.write("b.notes.log", "not a backup");
  touch("b.notes.log", now - 5 * 86400);

  start(qk::log::IMMEDIATE);
  const qk::log::limits limits{20, 86400};
  qk_log_backup("b.log", &limits);
  qk_log_set_output("b.log", "*", 0, qk::log::MESSAGE | qk::log::NO_HEADER_FOOTER);
  qk_log("LOG", qk::log::INFO, "new run");
  stop();

  EXPECT_EQ(TempDir::read("b.log"), "new run\n");
  EXPECT_EQ(TempDir::read(backup_name("b", old_run, ".log")), "old run\n");
  EXPECT_FALSE(std::filesystem::exists("b.2001-01-01_00-00-00.log"));    // older than a day
  EXPECT_FALSE(std::filesystem::exists("b.2001-01-02_00-00-00.log"));    // 8 + 15 bytes is over 20
  EXPECT_FALSE(std::filesystem::exists("b.2001-01-03_00-00-00-2.log"));  // older than one that went
  EXPECT_TRUE(std::filesystem::exists("b.notes.log"));
}

TEST_F(LogOutputs, BadArgumentsFailTheirAssertions) {
  ScriptedDialogs dialogs;
  ScriptedDialogs::Installed installed(dialogs);
  for (int i = 0; i < 3; ++i) dialogs.answer({{ScriptedDialogs::Step::click, kIgnore}});
  qk_log_set_output_rules(nullptr, 0, nullptr, 0, 0);
  qk_log_set_output_rules("", 0, nullptr, 0, 0);
  ASSERT_EQ(dialogs.runs.size(), 3u);
  EXPECT_NE(dialogs.runs[0].text.find("Condition: \"logname && (num_rules == 0 || rules != nullptr)\""),
            std::string::npos);
  EXPECT_NE(dialogs.runs[0].text.find("Message:\n\"qk_log_set_output_rules: invalid args.\""),
            std::string::npos);
  for (size_t i : {1u, 2u}) {
    EXPECT_NE(dialogs.runs[i].text.find("Condition: \"0\""), std::string::npos);
    EXPECT_NE(
        dialogs.runs[i].text.find(
            "Message:\n\"qk_log_set_output_rules: logname is empty! See on the stack who's doing this.\""),
        std::string::npos);
  }
}

// ---- Listeners -------------------------------------------------------------------------------

std::vector<std::string> heard;

void listener(const qk_log_listener_message& m) {
  heard.push_back(std::string(static_cast<const char*>(m.user)) + " " + m.module + " " + m.text + " " +
                  std::to_string(m.level) + (m.wall_time > 1e9 && m.thread[0] ? "" : " (no time or thread)"));
  qk_log("LOG", qk::log::INFO, "from a listener");  // reaches no listener
}

TEST_F(LogOutputs, ListenersHearEachMessageInTheirOrder) {
  heard.clear();
  start(qk::log::IMMEDIATE);
  static char first[] = "first", second[] = "second";
  ASSERT_TRUE(qk_log_add_listener(listener, first));
  ASSERT_TRUE(qk_log_add_listener(listener, second));
  qk_log("LUA", qk::log::ERROR, "hello");
  ASSERT_TRUE(qk_log_remove_listener(listener, first));
  EXPECT_FALSE(qk_log_remove_listener(listener, first));
  qk_log("LUA", qk::log::INFO, "again");
  ASSERT_TRUE(qk_log_remove_listener(listener, second));
  stop();
  EXPECT_EQ(heard,
            (std::vector<std::string>{"first LUA hello 8", "second LUA hello 8", "second LUA again 64"}));
}

}  // namespace
