// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <exception>
#include <iomanip>
#include <iostream>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "Command.hpp"
#include "Signals.hpp"

namespace TessalyTool {
namespace {

const std::array commands{&awakeCommand, &copyCommand, &defaultsCommand, &digestCommand, &formatCommand, &infoCommand,
                          &listCommand,  &logCommand,  &newCommand,      &reachCommand,  &watchCommand,  &zipCommand};

void printHelp(std::ostream& stream) {
  stream << "Usage: tessaly <command> [argument...]\n"
            "       tessaly help [command] | --version\n\nCommands:\n";
  for (const Command* command : commands) {
    stream << "  " << std::left << std::setw(10) << command->name << command->summary << '\n';
  }
  stream << "\n'tessaly <command> --help' tells more.\n"
            "Exit codes: 0 done, 1 failed (a key that is not there, for example), 2 wrong usage.\n";
}

bool isHelpOption(std::string_view argument) { return argument == "--help" || argument == "-h"; }
bool isHelp(std::string_view argument) { return isHelpOption(argument) || argument == "help"; }

const Command* commandOf(std::string_view name) {
  const auto found = std::ranges::find(commands, name, &Command::name);
  return found == commands.end() ? nullptr : *found;
}

/// Flushes the output. The command fails if the output cannot be written.
ExitCode finished(std::string_view name, ExitCode code) {
  std::cout.flush();
  if (std::cout) return code;
  endIfNobodyReads();
  std::cerr << "tessaly" << name << ": Cannot write to standard output\n";
  return failure;
}

ExitCode run(Arguments arguments) {
  if (arguments.empty()) {
    printHelp(std::cerr);
    return wrongUsage;
  }
  if (arguments[0] == "--version") {
    std::cout << "tessaly " TESSALY_VERSION "\n";
    return finished("", success);
  }
  if (isHelp(arguments[0]) && arguments.size() == 1) {
    printHelp(std::cout);
    return finished("", success);
  }
  const bool isHelpOnCommand = arguments[0] == "help";
  const std::string_view wanted = arguments[isHelpOnCommand ? 1 : 0];
  const Command* const found = commandOf(wanted);
  if (found == nullptr) {
    std::cerr << "tessaly: There is no command \"" << wanted << "\". 'tessaly --help' lists them.\n";
    return wrongUsage;
  }
  const Command& command = *found;
  const Arguments rest = arguments.subspan(1);
  const std::string name = ' ' + std::string(command.name);
  if (isHelpOnCommand || (!rest.empty() && (isHelp(rest[0]) || (rest.size() == 2 && isHelpOption(rest[1]))))) {
    std::cout << command.help;
    return finished(name, success);
  }
  try {
    return finished(name, command.run(rest));
  } catch (const UsageError& error) {
    std::cerr << "tessaly " << command.name << ": " << error.what() << "\n'tessaly " << command.name
              << " --help' tells how to use it.\n";
    return wrongUsage;
  } catch (const std::bad_alloc&) {
    std::cerr << "tessaly " << command.name << ": There is not enough memory\n";
    return failure;
  } catch (const std::exception& error) {
    if (!std::cout) return finished(name, failure);
    std::cerr << "tessaly " << command.name << ": " << error.what() << '\n';
    return failure;
  }
}

}  // namespace
}  // namespace TessalyTool

int main(int count, char** arguments) {
  TessalyTool::ignoreBrokenPipes();
  const std::vector<std::string_view> words(arguments + std::min(count, 1), arguments + count);
  return TessalyTool::run(words);
}
