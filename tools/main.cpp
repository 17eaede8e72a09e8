// kxsupt: look at and change the library's files and formats by hand. The
// command line is built from the command table; every command is one file.
#include <kxsupt.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <iomanip>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "command.h"

namespace kxtool {

std::vector<CommandInfo> &CommandTable() {
  static std::vector<CommandInfo> table;
  return table;
}

void Complain(const std::string &message) {
  std::cerr << "kxsupt: " << message << '\n';
}

int ReportConfigStatus(uint32_t status, const std::string &what, const char *missing_entry) {
  switch (status) {
    case SM_STATUS_FILE_OPEN_FAILED:
      Complain(what + ": the file cannot be opened");
      return kExitNotFound;
    case SM_STATUS_ENTRY_NOT_FOUND:
      Complain(what + ": " + missing_entry);
      return kExitNotFound;
    case SM_STATUS_NO_MEMORY:
      Complain(what +
               ": the file lock cannot be made (is there a product registry naming a "
               "data directory? see KXSUPT_REGISTRY_FILE)");
      return kExitBadInput;
    default:
      Complain(what + ": the library refused it with status " + std::to_string(status));
      return kExitBadInput;
  }
}

namespace {

// The package version (the project's), set by the build.
constexpr const char *kToolVersion = KXSUPT_PACKAGE_VERSION;

std::string VersionText() {
  return std::string("kxsupt ") + kToolVersion + " (libkxsupt interface " +
         std::to_string(SUPTGetMajorVersion()) + "." + std::to_string(SUPTGetMinorVersion()) + "." +
         std::to_string(SUPTGetRevision()) + ")";
}

// The first word that is not an option names a command, at every level that
// has commands. An unknown one is named on standard error, with the commands
// that exist, before the command line is parsed: nothing after it (a
// "--help" included) may make the line look valid. False when one was named.
bool CommandsExist(const CLI::App &app, int argc, char **argv) {
  // Option groups are nameless subcommands to the parser: they are not commands.
  const auto named_commands = [](const CLI::App *at) {
    std::vector<const CLI::App *> commands;
    for (const CLI::App *sub : at->get_subcommands({})) {
      if (!sub->get_name().empty()) commands.push_back(sub);
    }
    return commands;
  };
  const CLI::App *level = &app;
  std::string path = "kxsupt";
  for (int i = 1; i < argc && !named_commands(level).empty(); ++i) {
    const std::string word = argv[i];
    if (word.size() > 1 && word[0] == '-') continue;  // an option of this level
    std::vector<const CLI::App *> commands = named_commands(level);
    const auto named = std::find_if(commands.begin(), commands.end(), [&word](const CLI::App *sub) {
      return sub->get_name() == word;
    });
    if (named != commands.end()) {
      level = *named;
      path += " " + word;
      continue;
    }
    Complain("'" + word + "' is not a " + path + " command; see '" + path + " --help'");
    std::sort(commands.begin(), commands.end(),
              [](const CLI::App *a, const CLI::App *b) { return a->get_name() < b->get_name(); });
    std::cerr << "The " << path << " commands are:\n";
    for (const CLI::App *sub : commands) {
      std::cerr << "  " << std::left << std::setw(10) << sub->get_name() << sub->get_description()
                << '\n';
    }
    return false;
  }
  return true;
}

}  // namespace

}  // namespace kxtool

int main(int argc, char **argv) {
  using namespace kxtool;
  CLI::App app{"kxsupt: inspect and edit the support library's data formats and files"};
  app.set_version_flag("--version", VersionText());
  app.require_subcommand(1);
  app.fallthrough(false);

  std::vector<std::pair<CLI::App *, std::unique_ptr<Command>>> commands;
  for (const CommandInfo &info : CommandTable()) {
    CLI::App *sub = app.add_subcommand(info.name, info.summary);
    auto command = info.make();
    command->Configure(*sub);
    commands.emplace_back(sub, std::move(command));
  }

  if (!CommandsExist(app, argc, argv)) return kExitBadInput;
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp &) {
    std::cout << app.help();
    return kExitOk;
  } catch (const CLI::CallForAllHelp &) {
    std::cout << app.help("", CLI::AppFormatMode::All);
    return kExitOk;
  } catch (const CLI::CallForVersion &) {
    std::cout << VersionText() << '\n';
    return kExitOk;
  } catch (const CLI::ParseError &error) {
    // A subcommand's --help is reported through the same exception path.
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
      return app.exit(error);
    }
    Complain(error.what());
    std::cerr << "Run 'kxsupt --help' for usage.\n";
    return kExitBadInput;
  }

  for (auto &[sub, command] : commands) {
    if (sub->parsed()) {
      try {
        return command->Run();
      } catch (const std::exception &error) {
        Complain(error.what());
        return kExitBadInput;
      }
    }
  }
  return kExitBadInput;
}
