#include "RunCommand.h"

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "HostModule.h"
#include "HostSession.h"
#include "LogOption.h"
#include "MountOption.h"
#include "RunStats.h"
#include "ToolFiles.h"
#include "ToolOutput.h"
#include "ToolPaths.h"
#include "qk_format.h"
#include "qk_locations.h"
#include "qk_lua.h"
#include "qk_lua_sandbox.h"

namespace {

class StateHolder {
 public:
  StateHolder() : L(qk_lua_newstate("qkmt run")) {}
  ~StateHolder() { qk_lua_close(L); }
  StateHolder(const StateHolder&) = delete;
  StateHolder& operator=(const StateHolder&) = delete;
  lua_State* const L;
};

// The words of the command line in the global `arg`: the script at 0, what comes before it below.
void setArg(lua_State* L, const Invocation& invocation) {
  const int base = static_cast<int>(invocation.rest);
  lua_createtable(L, static_cast<int>(invocation.words.size()) - base, base);
  for (size_t i = 0; i < invocation.words.size(); ++i) {
    lua_pushlstring(L, invocation.words[i].data(), invocation.words[i].size());
    lua_rawseti(L, -2, static_cast<int>(i) - base);
  }
  lua_setglobal(L, "arg");
}

// The message handler of every protected call: the message with a stack traceback, as the stock
// interpreter gives it. A message that isn't text stays as it is.
int traceback(lua_State* L) {
  if (!lua_isstring(L, 1)) return 1;
  lua_getfield(L, LUA_GLOBALSINDEX, "debug");
  if (!lua_istable(L, -1)) {
    lua_pop(L, 1);
    return 1;
  }
  lua_getfield(L, -1, "traceback");
  if (!lua_isfunction(L, -1)) {
    lua_pop(L, 2);
    return 1;
  }
  lua_pushvalue(L, 1);
  lua_pushinteger(L, 2);  // leaves this handler out
  lua_call(L, 2, 1);
  return 1;
}

// Standard input whole; false on a read error.
bool readStandardInput(std::string& code) {
  char piece[65536];
  size_t n;
  while ((n = std::fread(piece, 1, sizeof piece, stdin)) > 0) code.append(piece, n);
  if (std::ferror(stdin)) return false;
  if (!code.empty() && code[0] == '#')
    code.erase(0, code.find('\n') == std::string::npos ? code.size() : code.find('\n'));
  return true;
}

// Loads the script (words[rest]) and runs it with its arguments; the status of Lua, the message on
// top when it isn't 0.
int runScript(lua_State* L, const Invocation& invocation, int handler) {
  const std::string& script = invocation.words[invocation.rest];
  int status;
  if (script == "-") {
    std::string code;
    if (!readStandardInput(code)) {
      lua_pushstring(L, "standard input can't be read");
      return LUA_ERRFILE;
    }
    status = luaL_loadbuffer(L, code.data(), code.size(), "=stdin");
  } else {
    const std::string path = loaderSpelling(script);
    const std::string reason = unreadableReason(path);
    if (!reason.empty()) {
      lua_pushstring(L, (script + ": " + reason).c_str());
      return LUA_ERRFILE;
    }
    // The script the user named loads whatever the level: the sandbox confines what it loads,
    // opens and lists itself.
    const int level = qk_lua_sandbox_level(L);
    qk_lua_set_sandbox_level(L, 0);
    status = qk_lua_loadfile(L, path.c_str());
    qk_lua_set_sandbox_level(L, level);
  }
  if (status != 0) return status;
  const size_t first = invocation.rest + 1;
  for (size_t i = first; i < invocation.words.size(); ++i)
    lua_pushlstring(L, invocation.words[i].data(), invocation.words[i].size());
  return qk_lua_pcall(L, static_cast<int>(invocation.words.size() - first), 0, handler);
}

void report(lua_State* L) {
  const char* message = lua_tostring(L, -1);
  writeErr(std::string("qkmt: ") + (message ? message : "(error object is not a string)") + "\n");
}

class RunCommand : public ToolCommand {
 public:
  const char* name() const override { return "run"; }
  const char* summary() const override {
    return "Run a Lua script with the module \"host\", the plug-in as the host drives it";
  }
  bool takesRest() const override { return true; }

  void define(CLI::App& command) override {
    command.footer(
        "SCRIPT and every word after it belong to the script (--help too); - reads the script from\n"
        "standard input. The script finds its arguments in the global `arg` and in `...`.\n"
        "`require \"host\"` gives the plug-in over a host stand-in; see the README.\n"
        "What the script prints with `print` is a log line on standard error, shown without -v.\n"
        "Exit status: 0 when everything ran to its end, 1 on an error (its message and a stack\n"
        "traceback on standard error) or, with --strict, an error box or a lost material name,\n"
        "2 usage error.");
    command.add_option("-e", code_, "Run the Lua chunk CODE first; may be given several times")
        ->type_name("CODE")
        ->allow_extra_args(false);
    addMountOption(command, mounts_);
    command
        .add_option(
            "--log", logs_,
            "Write the log's lines to the file FILE too, those its RULES take: MODULE[@THREAD][=LEVEL+...] "
            "separated by commas (without them every module at every level but trace); repeatable")
        ->type_name("FILE[:RULES]")
        ->take_all()
        ->allow_extra_args(false);
    command.add_option("--sandbox", sandbox_, "Run the script at sandbox level N (0 none, 1 to 4 stricter)")
        ->type_name("N");
    command.add_option("--currentdir", currentDir_, "The sandbox's and lfs's current directory (./)")
        ->type_name("DIR");
    command.add_option("--writedir", writeDir_, "The sandbox's and lfs's write directory (./)")
        ->type_name("DIR");
    command.add_option("--tempdir", tempDir_, "The sandbox's and lfs's temporary directory (./Temp/)")
        ->type_name("DIR");
    command.add_flag(
        "--stats", stats_,
        "At the end, print each Lua state's bytes, peak, allocation time and load on standard error");
    command.add_flag("--strict", strict_,
                     "Exit with status 1 when the run showed an error box or a scene lost a material name");
    command.add_option("script", shownOnly_, "The Lua script to run, - for standard input")
        ->type_name("SCRIPT");
    command.add_option("args", shownOnly_, "The script's arguments")->type_name("ARGS...");
  }

  int run(const Invocation& invocation) override {
    const bool hasScript = invocation.rest < invocation.words.size();
    if (!hasScript && code_.empty()) {
      writeErr("qkmt run: a SCRIPT or -e CODE is wanted; see 'qkmt help run'\n");
      return 2;
    }
    std::vector<LogOutputSpec> outputs;
    for (const std::string& text : logs_) {
      std::string error;
      std::optional<LogOutputSpec> output = parseLogOption(text, error);
      if (!output) {
        writeErr("qkmt: --log " + text + ": " + error + "\n");
        return 2;
      }
      outputs.push_back(std::move(*output));
    }
    RunLog log(outputs);
    RunStats stats(stats_);
    // As real paths, spelled relative to the working directory (an absolute one would be virtual).
    for (std::optional<std::string>* dir : {&currentDir_, &writeDir_, &tempDir_})
      if (*dir) **dir = loaderSpelling(**dir);
    VFS_set_directories(currentDir_ ? currentDir_->c_str() : nullptr,
                        writeDir_ ? writeDir_->c_str() : nullptr, tempDir_ ? tempDir_->c_str() : nullptr);
    if (const int mounted = applyMounts(mounts_)) return mounted;
    HostSession session(loaderSpelling(defaultPlugCfgDir()));
    int status = 0;
    {
      StateHolder state;
      lua_State* L = state.L;
      qk_lua_openlibs(L);
      qkmt_install_host(L, session);
      qk_lua_set_sandbox_level(L, sandbox_);
      setArg(L, invocation);
      lua_pushcfunction(L, traceback);
      const int handler = lua_gettop(L);
      for (const std::string& code : code_) {
        status = luaL_loadbuffer(L, code.data(), code.size(), "=(command line)");
        if (status == 0) status = qk_lua_pcall(L, 0, 0, handler);
        if (status != 0) break;
      }
      if (status == 0 && hasScript) status = runScript(L, invocation, handler);
      if (status != 0) report(L);
    }
    stats.print();
    status = status == 0 ? 0 : 1;
    const int boxes = session.services().errorBoxes();
    const int warnings = session.warnings();
    if (strict_ && (boxes || warnings)) {
      writeErr(qk_format("qkmt: --strict: the run showed %d error %s and %d %s\n", boxes,
                         boxes == 1 ? "box" : "boxes", warnings, warnings == 1 ? "warning" : "warnings"));
      status = 1;
    }
    return status;
  }

 private:
  std::vector<std::string> code_;
  std::vector<std::string> mounts_;
  std::vector<std::string> logs_;
  bool strict_ = false;
  int sandbox_ = 0;
  std::optional<std::string> currentDir_, writeDir_, tempDir_;
  bool stats_ = false;
  std::string shownOnly_;  // SCRIPT and ARGS are shown in the help; the words come unparsed
};

}  // namespace

std::unique_ptr<ToolCommand> makeRunCommand() { return std::make_unique<RunCommand>(); }
