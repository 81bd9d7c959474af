// The os and log libraries of a state, driven from Lua: what os keeps, removes and routes through
// the sandbox at each level, with every refusal's text; the log's constants, the text of a log call
// and its fallback, and outputs, rules and backups through real files.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "ScriptDirectories.h"
#include "TempDir.h"
#include "TestPlatform.h"
#include "qk_locations.h"
#include "qk_log.h"
#include "qk_lua.h"
#include "qk_lua_sandbox.h"

namespace {

struct State {
  lua_State* L = qk_lua_newstate("os log test");
  State() { qk_lua_openlibs(L); }
  ~State() { qk_lua_close(L); }
  // Runs `code`: its first result as text ("nil" for nil), the second when the first is nil and a
  // second exists (a failure's message), "none" for no result, or "error: <message>".
  std::string run(const std::string& code) {
    const int height = lua_gettop(L);
    std::string result;
    if (luaL_loadstring(L, code.c_str()) != 0 || lua_pcall(L, 0, LUA_MULTRET, 0) != 0) {
      result = "error: " + std::string(lua_tostring(L, -1));
    } else if (lua_gettop(L) == height) {
      result = "none";
    } else {
      const int first = height + 1;
      const int shown = lua_isnil(L, first) && lua_gettop(L) > first ? first + 1 : first;
      lua_getglobal(L, "tostring");
      lua_pushvalue(L, shown);
      lua_call(L, 1, 1);
      result = lua_tostring(L, -1);
    }
    lua_settop(L, height);
    return result;
  }
};

// Standard error for a scope, read back as log lines "LEVEL MODULE: text" (time and thread left
// out; the level's word without its padding).
class Console {
 public:
  Console() { testing::internal::CaptureStderr(); }
  ~Console() {
    if (!taken_) testing::internal::GetCapturedStderr();
  }
  std::vector<std::string> lines() {
    taken_ = true;
    std::istringstream captured(testing::internal::GetCapturedStderr());
    const std::regex header("^\\S+ \\S+ (\\S+) +(.*?) \\([^)]*\\): (.*)$");
    std::vector<std::string> lines;
    std::smatch match;
    for (std::string line; std::getline(captured, line);)
      if (std::regex_match(line, match, header))
        lines.push_back(std::string(match[1]) + " " + std::string(match[2]) + ": " + std::string(match[3]));
    return lines;
  }

 private:
  bool taken_ = false;
};

using Lines = std::vector<std::string>;

// ---- os ----------------------------------------------------------------------------------------

TEST(LuaOs, KeepsTheHarmlessStockFunctionsAndRemovesTheHarmfulOnes) {
  State s;
  EXPECT_EQ(s.run("return type(os.clock) .. type(os.date) .. type(os.difftime) .. type(os.time)"),
            "functionfunctionfunctionfunction");
  EXPECT_EQ(s.run("return tostring(os.exit) .. tostring(os.tmpname) .. tostring(os.setlocale)"), "nilnilnil");
  EXPECT_EQ(s.run("return os.getpid()"), std::to_string(getpid()));
  // lfs came with os, as a global of its own.
  EXPECT_EQ(s.run("return type(lfs.currentdir)"), "function");
  EXPECT_EQ(s.run("os.exit(3)").rfind("error: ", 0), 0u);  // a script can't end the host
}

// Each case's result at the levels -1, 0, 1, 2, 3, 4, 5, in a folder with c/ as the current, w/
// as the write and t/ as the temporary directory; "!NAME(ARG)" is the refusal "NAME(ARG): sandbox
// violation"; "?N" is what the C runtime's system() answers for a shell that exits with N. Files
// are made afresh for each level.
struct LevelCase {
  const char* code;
  const char* at[7];
};

const LevelCase level_cases[] = {
    {"os.remove('w/a')",
     {"true", "true", "true", "true", "!os.remove(w/a)", "!os.remove(w/a)", "!os.remove(w/a)"}},
    {"os.remove('c/b')",
     {"true", "true", "!os.remove(c/b)", "!os.remove(c/b)", "!os.remove(c/b)", "!os.remove(c/b)",
      "!os.remove(c/b)"}},
    {"os.rename('w/a', 't/a')",
     {"true", "true", "true", "true", "!lfs.rename(w/a)", "!lfs.rename(w/a)", "!lfs.rename(w/a)"}},
    // Only oldname is writable: the refusal of levels 1 and 2 is named lfs.remove.
    {"os.rename('w/a', 'c/a')",
     {"true", "true", "!lfs.remove(w/a)", "!lfs.remove(w/a)", "!lfs.rename(w/a)", "!lfs.rename(w/a)",
      "!lfs.rename(w/a)"}},
    {"os.rename('c/b', 'w/b')",
     {"true", "true", "!lfs.remove(c/b)", "!lfs.remove(c/b)", "!lfs.rename(c/b)", "!lfs.rename(c/b)",
      "!lfs.rename(c/b)"}},
    {"os.getenv('QK_OS_TEST')",
     {"set", "set", "set", "set", "set", "!os.getenv(QK_OS_TEST)", "!os.getenv(QK_OS_TEST)"}},
    {"os.execute('exit 3')",
     {"!execute(exit 3)", "?3", "!execute(exit 3)", "!execute(exit 3)", "!execute(exit 3)",
      "!execute(exit 3)", "!execute(exit 3)"}},
    {"os.execute()",
     {"!execute(nil)", "1", "!execute(nil)", "!execute(nil)", "!execute(nil)", "!execute(nil)",
      "!execute(nil)"}},
    {"os.open_uri('missing.txt')",
     {"!os.open_uri(missing.txt)", "2", "!os.open_uri(missing.txt)", "!os.open_uri(missing.txt)",
      "!os.open_uri(missing.txt)", "!os.open_uri(missing.txt)", "!os.open_uri(missing.txt)"}},
};

TEST(LuaOs, EachLevelRefusesWhatItsColumnSays) {
  TempDir dir;
  ScriptDirectories dirs("c/", "w/", "t/");
  qk_test_setenv("QK_OS_TEST", "set");
  for (const LevelCase& c : level_cases) {
    for (int level = -1; level <= 5; ++level) {
      for (const char* folder : {"c", "w", "t"}) std::filesystem::create_directories(folder);
      dir.write("w/a", "a");
      dir.write("c/b", "b");
      State s;
      qk_lua_set_sandbox_level(s.L, level);
      Console console;
      const std::string result = s.run(std::string("return ") + c.code);
      const Lines lines = console.lines();
      std::string expected = c.at[level + 1];
      if (expected[0] == '?')
        expected = std::to_string(qk_test_shell_status(std::atoi(expected.c_str() + 1)));
      const bool refused = expected[0] == '!';
      EXPECT_EQ(result, refused ? expected.substr(1) + ": sandbox violation" : expected)
          << c.code << " at level " << level;
      // A refusal is logged under LUA with the state's name; nothing else is.
      EXPECT_EQ(lines, refused ? Lines{"ERROR LUA: os log test -> " + result} : Lines{})
          << c.code << " at level " << level;
      for (const char* folder : {"c", "w", "t"}) std::filesystem::remove_all(folder);
    }
  }
  qk_test_unsetenv("QK_OS_TEST");
}

TEST(LuaOs, FailuresAnswerNilAndTheirMessageAndMissingFilesLogNothing) {
  TempDir dir;
  std::filesystem::create_directories("d");
  State s;
  Console console;
  EXPECT_EQ(s.run("return os.remove('gone')"), "os.remove('gone') failed. See log for details.");
  EXPECT_EQ(s.run("return os.remove('d')"), "os.remove('d') failed. See log for details.");
  EXPECT_EQ(s.run("return os.rename('gone', 'x')"), "os.rename('gone', 'x') failed. See log for details.");
  EXPECT_EQ(console.lines(),
            (Lines{"ERROR QKCORESTATIC: Failed to delete d: " + system_words(qk_test_failure::folder_as_file),
                   "ERROR QKCORESTATIC: Failed to move gone to x: " + system_words(qk_error_not_found())}));
  dir.write("from", "moved");
  dir.write("to", "replaced");
  EXPECT_EQ(s.run("return os.rename('from', 'to')"), "true");
  EXPECT_EQ(TempDir::read("to"), "moved");
}

TEST(LuaOs, MissingArgumentsRaiseTheirOwnMessages) {
  State s;
  EXPECT_NE(s.run("os.remove()").find("bad argument #1 to 'remove' (path is required)"), std::string::npos);
  EXPECT_NE(s.run("os.rename()").find("bad argument #1 to 'rename' (oldname is required)"),
            std::string::npos);
  EXPECT_NE(s.run("os.rename('a')").find("bad argument #2 to 'rename' (newname is required)"),
            std::string::npos);
  EXPECT_NE(s.run("os.getenv()").find("bad argument #1 to 'getenv' (string expected, got no value)"),
            std::string::npos);
}

TEST(LuaOs, AStockFunctionThatRaisesBehindTheGuardIsLoggedAndAnswersNothing) {
  State s;
  Console console;
  EXPECT_EQ(s.run("return os.execute({})"), "none");
  const Lines lines = console.lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].rfind("ERROR LUA: sanbox('execute'): bad argument #1 to ", 0), 0u) << lines[0];
  EXPECT_NE(lines[0].find("(string expected, got table)"), std::string::npos) << lines[0];
}

TEST(LuaOs, GetenvAnswersWhatFitsItsBufferAndNilOtherwise) {
  State s;
  Console console;
  EXPECT_EQ(s.run("return os.getenv('QK_NO_SUCH_VARIABLE')"), "nil");
  // The buffer holds 32,767 bytes and the terminator. Two-byte characters reach its edge on every
  // system: Windows keeps no variable longer than 32,766 units.
  std::string fits;
  for (int i = 0; i < 16383; ++i) fits += "\xC3\xA4";  // U+00E4
  qk_test_setenv("QK_OS_BIG", (fits + "v").c_str());
  EXPECT_EQ(s.run("return #os.getenv('QK_OS_BIG')"), "32767");
  qk_test_setenv("QK_OS_BIG", (fits + "\xC3\xA4").c_str());
  EXPECT_EQ(s.run("return os.getenv('QK_OS_BIG')"), "nil");
  qk_test_unsetenv("QK_OS_BIG");
  EXPECT_EQ(console.lines(),
            Lines{"ERROR QKCORESTATIC: SYS_getenv(\"QK_OS_BIG\"): variable value is too big."});
}

// ---- log: the table and the text of a call ------------------------------------------------------

TEST(LuaLog, TheTableHoldsEveryConstantAndNineFunctions) {
  State s;
  EXPECT_EQ(s.run(R"(
    local expected = { ALERT = 0x2, ERROR = 0x8, WARNING = 0x10, INFO = 0x40, DEBUG = 0x80, ALL = 0xFF,
      ALL_LEVELS = 0xFF, TRACE = 0x100, RELIABLE = 0x8000, MESSAGE = 0, TIME = 1, TIME_UTC = 1,
      TIME_RELATIVE = 0x80, TIME_LOCAL = 0x81, MODULE = 4, THREAD = 8, LEVEL = 2, FULL = 0x10F,
      EXTRA_INFO = 0x200, MODELTIME = 0x200, NO_HEADER_FOOTER = 0x4000, BACKUP = 0x8000, ASYNC = 0,
      IMMEDIATE = 1 }
    local functions, numbers = {}, 0
    for k, v in pairs(log) do
      if type(v) == "function" then functions[#functions + 1] = k
      elseif expected[k] ~= v then return "wrong: " .. k
      else numbers = numbers + 1 end
    end
    table.sort(functions)
    return numbers .. " " .. table.concat(functions, ","))"),
            "24 alert,backup,debug,error,info,set_output,set_output_rules,warning,write");
  EXPECT_EQ(s.run("return package.loaded.log == log"), "true");
}

TEST(LuaLog, ACallFormatsWithStringFormatAndFallsBackToTheFormatAsItStands) {
  State s;
  Console console;
  s.run(R"(
    log.info("a")
    log.info("%s", "a")
    log.info("a%")           -- no arguments: never formatted
    log.info("a%", 1)        -- string.format fails: the format as it stands
    log.info("%d", "x")
    log.info(12)
    log.warning("%d%%", 50)
    log.error("e")
    log.debug("d")
    log.write("Mod", log.WARNING, "w %s", "x")
    log.write("Mod", log.INFO + log.RELIABLE, "%d")
    local format = string.format
    string.format = function() error("no") end
    log.info("%s", "kept")
    string.format = format
    log.info()               -- no text: an empty line
  )");
  EXPECT_EQ(console.lines(),
            (Lines{"INFO os log test: a", "INFO os log test: a", "INFO os log test: a%",
                   "INFO os log test: a%", "INFO os log test: %d", "INFO os log test: 12",
                   "WARNING os log test: 50%", "ERROR os log test: e", "DEBUG os log test: d",
                   "WARNING Mod: w x", "INFO Mod: %d", "INFO os log test: %s", "INFO os log test: "}));
}

TEST(LuaLog, TheModuleIsTheStatesNameOrLua) {
  State s;
  lua_pushnumber(s.L, 5);
  lua_setfield(s.L, LUA_REGISTRYINDEX, "QK.id");
  const qk_log_fatal_handler handler = qk_log_set_fatal_handler(nullptr);
  Console console;
  s.run("log.alert('stop')");
  qk_log_set_fatal_handler(handler);
  EXPECT_EQ(console.lines(), Lines{"ALERT LUA: stop"});
}

TEST(LuaLog, BadArgumentsRaiseAndAStringGlobalThatIsntATableToo) {
  State s;
  EXPECT_NE(
      s.run("log.write('m', 'x', 'text')").find("bad argument #2 to 'write' (number expected, got string)"),
      std::string::npos);
  EXPECT_NE(s.run("log.set_output('x', 'm', log.ALL)").find("bad argument #4 to 'set_output'"),
            std::string::npos);
  EXPECT_NE(s.run("log.set_output_rules('x', 'LUA', 0, 0)")
                .find("bad argument #2 to 'set_output_rules' (table expected, got string)"),
            std::string::npos);
  EXPECT_NE(s.run("log.backup()").find("bad argument #1 to 'backup'"), std::string::npos);
  EXPECT_NE(s.run("string = nil; log.info('%d', 1)").find("attempt to index"), std::string::npos);
}

// ---- log: outputs, rules and backups through real files ---------------------------------------------

class LuaLogOutputs : public testing::Test {
 protected:
  LuaLogOutputs() {
    qk_log_options options;
    options.mode = qk::log::IMMEDIATE;
    qk_log_start(options);
  }
  ~LuaLogOutputs() override { qk_log_stop(); }

  TempDir dir;
  Console console;  // keeps the test's lines off the terminal
  State s;
};

TEST_F(LuaLogOutputs, SetOutputRulesTakesAtMostSixteenRulesWithTheirFieldsAsGiven) {
  s.run(R"(
    local plain = log.LEVEL + log.MODULE + log.NO_HEADER_FOOTER
    log.set_output_rules("lua", { { module = "!Lua::Config" }, { module = "Lua*", level = log.ERROR } }, 0, plain)
    log.set_output_rules("empty", { { module = "" } }, 0, plain)     -- takes the empty module alone
    log.set_output_rules("number", { { module = 42 } }, log.INFO, plain)  -- and INFO alone
    log.set_output_rules("thread", { { module = "*", thread = "no such thread" } }, 0, plain)
    local rules = {}
    for i = 1, 16 do rules[i] = { module = "none" } end
    rules[17] = { module = "*" }      -- never looked at
    log.set_output_rules("seventeen", rules, 0, plain)
    log.set_output_rules("stops", { { module = "none" }, "not a table", { module = "*" } }, 0, plain)
    log.write("Lua::Config", log.ERROR, "refused")
    log.write("Lua", log.ERROR, "taken")
    log.write("Lua", log.INFO, "wrong level")
    log.write("", log.INFO, "empty")
    log.write("42", log.ERROR, "not INFO")
    log.write("42", log.INFO, "forty-two")
  )");
  qk_log_stop();
  EXPECT_EQ(TempDir::read("lua.log"), "ERROR   Lua: taken\n");
  EXPECT_EQ(TempDir::read("empty.log"), "INFO    : empty\n");
  EXPECT_EQ(TempDir::read("number.log"), "INFO    42: forty-two\n");
  for (const char* untouched : {"thread.log", "seventeen.log", "stops.log"})
    EXPECT_FALSE(std::filesystem::exists(untouched)) << untouched;
}

TEST_F(LuaLogOutputs, SetOutputWritesItsLinesAndRemovesTheOutputWithNoRules) {
  s.run(R"(
    log.set_output("m.txt", "m", log.WARNING, log.MESSAGE + log.NO_HEADER_FOOTER)
    log.write("m", log.WARNING, "one")
    log.write("m", log.INFO, "not this level")
    log.write("n", log.WARNING, "not this module")
    log.set_output_rules("m.txt", {}, 0, 0)
    log.write("m", log.WARNING, "after")
  )");
  EXPECT_EQ(TempDir::read("m.txt"), "one\n");
}

// Sets a file's modification time to `age` seconds ago.
void age(const std::string& path, time_t age) {
  const time_t when = time(nullptr) - age;
  ASSERT_TRUE(qk_test_set_file_time(path, when)) << path;
}

TEST_F(LuaLogOutputs, TheBackupBitAsksForBackupsWithTheTablesLimits) {
  dir.write("x.log", "old run\n");
  age("x.log", 60);
  dir.write("x.2001-01-01_00-00-00.log", std::string(700 << 10, 'a'));
  age("x.2001-01-01_00-00-00.log", 3600);
  dir.write("x.2001-01-02_00-00-00.log", std::string(700 << 10, 'b'));  // over 1 MiB with the others
  age("x.2001-01-02_00-00-00.log", 7200);
  s.run(R"(
    log.max_total_size_mbytes = 1
    log.set_output("x", "m", log.ALL, log.MESSAGE + log.NO_HEADER_FOOTER + log.BACKUP)
    log.write("m", log.INFO, "new run")
  )");
  qk_log_stop();
  EXPECT_EQ(TempDir::read("x.log"), "new run\n");
  int backups = 0;
  for (const auto& entry : std::filesystem::directory_iterator("."))
    backups += entry.path().filename().string().rfind("x.", 0) == 0 &&
               TempDir::read(entry.path().string()) == "old run\n";
  EXPECT_EQ(backups, 1);
  EXPECT_TRUE(std::filesystem::exists("x.2001-01-01_00-00-00.log"));
  EXPECT_FALSE(std::filesystem::exists("x.2001-01-02_00-00-00.log"));
}

TEST_F(LuaLogOutputs, BackupReadsTheTablesFieldsThenItsOptions) {
  for (const char* name : {"a", "b"}) {
    dir.write(std::string(name) + ".log", "old run");  // pruning comes with the move of an old file
    dir.write(std::string(name) + ".2001-01-01_00-00-00.log", "two days old");
    age(std::string(name) + ".2001-01-01_00-00-00.log", 2 * 86400);
    dir.write(std::string(name) + ".2001-01-02_00-00-00.log", "four days old");
    age(std::string(name) + ".2001-01-02_00-00-00.log", 4 * 86400);
  }
  s.run(R"(
    log.max_age_days = 1
    local saved = log
    log = { max_age_days = 100 }     -- the library reads its own table, not the global
    saved.backup("a")                -- a day
    saved.backup("b", { max_age_days = 3, max_total_size_mbytes = "big" })  -- three days
    for _, name in ipairs({ "a", "b" }) do
      saved.set_output(name, "m", saved.ALL, saved.MESSAGE + saved.NO_HEADER_FOOTER)
    end
    saved.write("m", saved.INFO, "line")
  )");
  qk_log_stop();
  EXPECT_FALSE(std::filesystem::exists("a.2001-01-01_00-00-00.log"));
  EXPECT_FALSE(std::filesystem::exists("a.2001-01-02_00-00-00.log"));
  EXPECT_TRUE(std::filesystem::exists("b.2001-01-01_00-00-00.log"));
  EXPECT_FALSE(std::filesystem::exists("b.2001-01-02_00-00-00.log"));
}

}  // namespace
