#include "RunCommand.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "HostModule.h"
#include "HostSession.h"
#include "MountOption.h"
#include "ToolPaths.h"
#include "qk_lua.h"

namespace {

struct Options {
  std::vector<std::string> mounts;
  std::string script;
  std::vector<std::string> args;
};

// The plug-in configuration directory the host answers until the script sets another: as for
// `qkmt catalogue`, $QKMT_PLUGCFG, else the bundled examples.
std::string defaultPlugCfgDir() {
  const char* env = std::getenv("QKMT_PLUGCFG");
  return loaderSpelling(env && *env ? env : bundledExamplesDir());
}

void setArg(lua_State* L, const Options& options) {
  lua_createtable(L, static_cast<int>(options.args.size()), 2);
  lua_pushstring(L, "qkmt");
  lua_rawseti(L, -2, -2);
  lua_pushstring(L, "run");
  lua_rawseti(L, -2, -1);
  lua_pushstring(L, options.script.c_str());
  lua_rawseti(L, -2, 0);
  for (size_t i = 0; i < options.args.size(); ++i) {
    lua_pushstring(L, options.args[i].c_str());
    lua_rawseti(L, -2, static_cast<int>(i) + 1);
  }
  lua_setglobal(L, "arg");
}

void report(lua_State* L) {
  const char* message = lua_tostring(L, -1);
  const std::string line =
      std::string("qkmt: ") + (message ? message : "(error object is not a string)") + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
}

int run(const Options& options) {
  if (const int status = applyMounts(options.mounts)) return status;
  HostSession session(defaultPlugCfgDir());
  lua_State* L = qk_lua_newstate("qkmt run");
  qk_lua_openlibs(L);
  qkmt_preload_host(L, session);
  setArg(L, options);
  int status = qk_lua_loadfile(L, loaderSpelling(options.script).c_str());
  if (status == 0) {
    for (const std::string& arg : options.args) lua_pushstring(L, arg.c_str());
    status = qk_lua_pcall(L, static_cast<int>(options.args.size()), 0, 0);
  }
  if (status != 0) report(L);
  qk_lua_close(L);
  return status == 0 ? 0 : 1;
}

}  // namespace

CLI::App* addRunCommand(CLI::App& app, std::function<int()>& runner) {
  auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand(
      "run", "Run a Lua script with the module \"host\", the plug-in as the host drives it");
  command->prefix_command();
  command->footer(
      "The script finds its arguments in the global `arg` and in `...`. `require \"host\"` gives the\n"
      "plug-in over a host stand-in; see the README. Exit status: 0 when the script ran to its end,\n"
      "1 on an error (its message on standard error), 2 usage error.");
  addMountOption(*command, options->mounts);
  addVerboseFlag(*command);
  command->add_option("script", options->script, "The Lua script to run")->required();
  runner = [options, command] {
    options->args = command->remaining();
    return run(*options);
  };
  return command;
}
