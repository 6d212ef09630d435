// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iostream>
#include <string>
#include <string_view>
#include <system_error>

#include "Command.hpp"
#include "Options.hpp"
#include "ProjectTemplate.hpp"
#include "Tessaly/Core/Foundation/UUID.hpp"

namespace TessalyTool {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view help = R"(Usage: tessaly new [--toolkit <toolkit>] <directory>

Makes a directory with an application that has a setting, a background task, a formatted text and a log line. The last
name of the directory becomes the name of the application: letters, digits, '-' and '_', and a letter in front. Its
identifier is org.example.<name>; change it in CMakeLists.txt and none.cpp. Prints a command that builds and runs the
application with CMake; without a toolkit, before it, one with make.

  --toolkit <toolkit>   gtk, qt or none; without it none. A build may choose another one by -DTOOLKIT=<toolkit>.

Exit codes: 0 done, 1 failed (a directory that exists already, for example), 2 wrong usage.
)";

constexpr std::array<std::string_view, 3> toolkits{"gtk", "qt", "none"};
constexpr std::string_view templateName = "first-hour";
constexpr std::string_view templateToolkit = "set(TOOLKIT none";

bool isName(std::string_view name) {
  const auto isLetter = [](unsigned char unit) { return unit < 0x80 && std::isalpha(unit) != 0; };
  return !name.empty() && isLetter(static_cast<unsigned char>(name.front())) &&
         std::ranges::all_of(name, [&](unsigned char unit) {
           return isLetter(unit) || (unit >= '0' && unit <= '9') || unit == '-' || unit == '_';
         });
}

void replaceAll(std::string& text, std::string_view old, std::string_view replacement) {
  for (std::size_t at = text.find(old); at != std::string::npos; at = text.find(old, at + replacement.size())) {
    text.replace(at, old.size(), replacement);
  }
}

void write(const fs::path& file, std::string text, std::string_view name, std::string_view toolkit) {
  replaceAll(text, templateToolkit, "set(TOOLKIT " + std::string(toolkit));
  replaceAll(text, templateName, name);
  std::ofstream stream(file, std::ios::binary);
  stream << text;
  stream.close();
  if (!stream) throw CommandError(file.filename().string() + " cannot be written: " + std::strerror(errno));
}

/// Writes into a new directory beside the wanted one and renames it, so that no incomplete application remains.
void make(const fs::path& directory, std::string_view name, std::string_view toolkit) {
  fs::path part = directory;
  part += "." + Tessaly::UUID::random().uuidString() + ".part";
  try {
    fs::create_directory(part);
    for (const TemplateFile& file : templateFiles()) write(part / file.name, std::string(file.text), name, toolkit);
    fs::rename(part, directory);
  } catch (const std::exception& error) {
    std::error_code ignored;
    fs::remove_all(part, ignored);
    const auto* const failed = dynamic_cast<const fs::filesystem_error*>(&error);
    throw CommandError(directory.string() + ": " + (failed != nullptr ? failed->code().message() : error.what()));
  }
}

/// A path as one word of a POSIX shell.
std::string quotedForShell(const std::string& path) {
  constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./-";
  if (path.find_first_not_of(plain) == std::string::npos) return path;
  std::string quoted = "'";
  for (const char c : path) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

ExitCode run(Arguments arguments) {
  const CommandLine line(arguments, {}, {"--toolkit"});
  fs::path directory = line.onlyWord("A directory");
  if (!directory.has_filename()) directory = directory.parent_path();  // A slash at the end.
  const std::string name = directory.filename().string();
  const std::string_view toolkit = line.value("--toolkit", "none");
  if (std::ranges::find(toolkits, toolkit) == toolkits.end()) {
    throw UsageError("\"" + std::string(toolkit) + "\" is no toolkit: use gtk, qt or none");
  }
  if (!isName(name))
    throw UsageError("\"" + name +
                     "\" is no name of an application: use letters, digits, '-' and '_', and a letter in front");
  if (fs::exists(fs::symlink_status(directory))) throw CommandError(directory.string() + " is there already");
  make(directory, name, toolkit);
  const std::string sources = quotedForShell(directory.string());
  const std::string build = quotedForShell((directory / "build").string());
  // The compiler of this program serves its applications, too. Debian 12 has a g++ that does not.
#ifdef __clang__
  const std::string clang = "clang++-" + std::to_string(__clang_major__);
  const std::string forMake = " CXX=" + clang;
  const std::string forCMake = " -DCMAKE_CXX_COMPILER=" + clang;
#else
  const std::string forMake;
  const std::string forCMake;
#endif
  if (toolkit == "none") {
    std::cout << "make -C " << sources << forMake << " && " << quotedForShell((directory / name).string()) << '\n';
  }
  std::cout << "cmake -G Ninja -S " << sources << " -B " << build << forCMake << " && cmake --build " << build << " && "
            << quotedForShell((directory / "build" / name).string()) << '\n';
  return success;
}

}  // namespace

const Command newCommand{.name = "new", .summary = "make the sources of a new application", .help = help, .run = run};

}  // namespace TessalyTool
