#include "CommandLine.h"

#include <algorithm>
#include <sstream>

#include "MountOption.h"
#include "ToolOutput.h"

namespace {

constexpr int kUsageError = 2;

// The option `word` of `app` or, through fallthrough, of its parents; null when there is none.
const CLI::Option* findOption(const CLI::App* app, const std::string& word) {
  const std::string name = word.substr(0, word.find('='));
  for (; app; app = app->get_parent())
    if (const CLI::Option* option = app->get_option_no_throw(name)) return option;
  return nullptr;
}

// The index of the first word from `from` on that isn't an option of `app` or an option's value;
// "--" counts as such a word. args.size() when there is none.
size_t firstFreeWord(const CLI::App* app, const std::vector<std::string>& args, size_t from) {
  for (size_t i = from; i < args.size(); ++i) {
    const std::string& word = args[i];
    if (word == "--" || word == "-" || word.empty() || word[0] != '-') return i;
    const bool attached = word.find('=') != std::string::npos || (word[1] != '-' && word.size() > 2);
    const CLI::Option* option = findOption(app, attached && word[1] != '-' ? word.substr(0, 2) : word);
    if (option && !attached && option->get_items_expected_min() > 0) ++i;  // its value
  }
  return args.size();
}

std::string commandNames(const ToolCommandList& commands) {
  std::string names;
  for (const auto& command : commands) names += std::string(command->name()) + ", ";
  return names + "help";
}

int usageError(const std::string& text) {
  writeErr("qkmt: " + text + "\n");
  return kUsageError;
}

// `qkmt help [COMMAND]`.
int showHelp(CLI::App& app, const std::string& topic, const ToolCommandList& commands) {
  if (topic.empty()) {
    // App::help would show the help of the command parsed, which is `help` itself.
    writeOut(app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal));
    return 0;
  }
  const std::vector<CLI::App*> all =
      app.get_subcommands([&](CLI::App* sub) { return sub->get_name() == topic; });
  CLI::App* command = all.empty() ? nullptr : all.front();
  if (topic == "help" || !command)
    return usageError("'" + topic + "' is not a qkmt command; the commands are " + commandNames(commands));
  writeOut(command->help(app.get_name()));
  return 0;
}

int parseAndRun(int argc, char** argv, ToolCommandList& commands) {
  CLI::App app{"qkmt - check material catalogues and run the material plug-in's pipeline work", "qkmt"};
  app.set_version_flag("--version", std::string("qkmt ") + QKMT_VERSION, "Print the version and exit");
  app.fallthrough();
  // "/textures" is a virtual path, never an option spelt the Windows way; the commands take this
  // from the tool when they are added below.
  app.allow_windows_style_options(false);
  addVerboseFlag(app);
  app.require_subcommand(0, 1);
  app.footer("Run 'qkmt help COMMAND' for the options of a command.");
  std::vector<std::pair<CLI::App*, ToolCommand*>> subcommands;
  for (const auto& command : commands) {
    CLI::App* sub = app.add_subcommand(command->name(), command->summary());
    command->define(*sub);
    subcommands.emplace_back(sub, command.get());
  }
  std::string topic;
  CLI::App* help = app.add_subcommand("help", "Show the help of qkmt or of one command");
  help->add_option("command", topic, "The command");

  std::vector<std::string> args(argv + 1, argv + argc);
  std::vector<std::string> words{argc > 0 ? argv[0] : "qkmt"};
  words.insert(words.end(), args.begin(), args.end());
  size_t rest = words.size();
  const size_t at = firstFreeWord(&app, args, 0);
  if (at < args.size() && args[at] != "--") {
    auto found = std::find_if(subcommands.begin(), subcommands.end(),
                              [&](const auto& entry) { return entry.first->get_name() == args[at]; });
    if (found == subcommands.end() && args[at] != "help")
      return usageError("'" + args[at] + "' is not a qkmt command; the commands are " +
                        commandNames(commands));
    if (found != subcommands.end() && found->second->takesRest()) {
      size_t start = firstFreeWord(found->first, args, at + 1);
      rest = start + 1;  // in `words`, which begin with argv[0]
      if (start < args.size() && args[start] == "--") ++rest;
      args.resize(start);
    }
  }

  try {
    std::reverse(args.begin(), args.end());  // CLI11 takes the words last first
    app.parse(args);
  } catch (const CLI::ParseError& error) {
    // Help, version and usage errors go through the tool's own writes, so that their errors count.
    std::ostringstream out, err;
    const int status = app.exit(error, out, err);
    writeOut(out.str());
    if (!err.str().empty()) writeErr(err.str());
    return status == 0 ? 0 : kUsageError;
  }
  if (help->parsed()) return showHelp(app, topic, commands);
  for (const auto& [sub, command] : subcommands)
    if (sub->parsed()) return command->run(Invocation{words, rest});
  return usageError("a command is wanted: " + commandNames(commands) + " (see 'qkmt help')");
}

}  // namespace

int runCommandLine(int argc, char** argv, ToolCommandList& commands) {
  return finishStandardOutput(parseAndRun(argc, argv, commands));
}
