// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "DefaultsOperations.hpp"
#include "Interruption.hpp"
#include "Tessaly/Core/Foundation/Data+AtomicWrite.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Values.hpp"

namespace TessalyTool {
namespace {

using Tessaly::Data;
using Tessaly::JournaledUserDefaults;
using Tessaly::KeyValueChange;
using Tessaly::PropertyList;
using Tessaly::PropertyListFormat;
using Tessaly::PropertyListSerialization;
using Tessaly::UserDefaultsProblem;
using namespace Defaults;

constexpr std::string_view help = R"(Usage: tessaly defaults <operation> <identifier> [argument...]

Reads and writes the settings of the application with that identifier, while it runs or not.

  read <identifier> [key]             print one value, or every key with its value
  write [--force] <identifier> <key> <value>
                                      store a value; see below
  delete <identifier> [key]           remove one key, or all of them
  export <identifier> [file] [--xml]  write everything as a property list, binary or XML
  import <identifier> [file]          store everything that a property list holds, of either format
  watch <identifier> [key...]         print changes as they are made, until interrupted
  describe <identifier> [key]         print the settings that the application has published
  doctor <identifier>                 print what is wrong with the files, and repair what needs no decision

A file that is missing or "-" is standard input or output.

Values are texts, or one of:
  -string <text>    -int <integer>    -float <number>    -bool <true|false|yes|no|1|0>
  -date <YYYY-MM-DDTHH:MM:SSZ>        -data <hexadecimal digits>
  -array [value...]                   -dict [key value]...
A number without its option is a text: 5 is stored as "5", and -int 5 as a number.
The values of an array or a dictionary are simple ones, each with its option or a text.
A value that the published settings forbid is refused, unless --force is given. -force and -xml are accepted, too.

Exit codes: 0 done, 1 failed (a key that is not there, for example), 2 wrong usage.
)";

CommandError missing(std::string_view key, std::string_view identifier) {
  return CommandError("There is no \"" + std::string(key) + "\" in the settings of \"" + std::string(identifier) +
                      "\"");
}

ExitCode read(Arguments arguments) {
  requireCount(arguments, 1, 2);
  const Store store = openExisting(arguments[0]);
  if (arguments.size() == 2) {
    const std::optional<PropertyList> value = store->value(arguments[1]);
    if (!value) throw missing(arguments[1], arguments[0]);
    std::cout << printed(*value) << '\n';
    return success;
  }
  for (const auto& [key, value] : store->dictionaryRepresentation()) {
    std::cout << printedKey(key) << " = " << value << '\n';
  }
  return success;
}

ExitCode write(Arguments arguments) {
  const bool isForced = !arguments.empty() && (arguments[0] == "--force" || arguments[0] == "-force");
  if (isForced) arguments = arguments.subspan(1);
  requireCount(arguments, 3, arguments.size());
  const PropertyList value = parsedValue(arguments.subspan(2));
  const Store store = open(arguments[0], Opening::forUse);
  const std::string objects = isForced ? "" : objection(published(store, arguments[1]), value);
  if (!objects.empty()) throw CommandError(objects + "; --force stores it nevertheless");
  store->set(value, arguments[1]);
  requireStored(store);
  return success;
}

ExitCode remove(Arguments arguments) {
  requireCount(arguments, 1, 2);
  const Store existing = openExisting(arguments[0]);
  if (arguments.size() == 2 && !existing->value(arguments[1])) throw missing(arguments[1], arguments[0]);
  const Store store = open(arguments[0], Opening::forUse);
  if (arguments.size() == 2) {
    store->removeObject(arguments[1]);
  } else {
    JournaledUserDefaults::KeyedValues removals;
    for (const auto& [key, value] : existing->dictionaryRepresentation()) removals.emplace(key, std::nullopt);
    store->setValuesForKeys(std::move(removals));
  }
  requireStored(store);
  return success;
}

/// The file that an operation takes behind the identifier, if any.
void requireFile(Arguments arguments) {
  if (arguments.size() < 2 || arguments[1] == "-" || !arguments[1].starts_with('-')) return;
  throw UsageError("There is no option " + std::string(arguments[1]) + "; a file of that name is ./" +
                   std::string(arguments[1]));
}

void withFile(std::string_view verb, std::string_view path, auto body) {
  try {
    body();
  } catch (const Tessaly::POSIXError& error) {
    throw CommandError("Cannot " + std::string(verb) + " \"" + std::string(path) +
                       "\": " + std::strerror(static_cast<int>(error.code())));
  }
}

ExitCode exportAll(Arguments arguments) {
  std::vector<std::string_view> words(arguments.begin(), arguments.end());
  const bool isXML = std::erase_if(words, [](std::string_view word) { return word == "--xml" || word == "-xml"; }) > 0;
  requireCount(words, 1, 2);
  requireFile(words);
  const Store store = openExisting(words[0]);
  const Data data = PropertyListSerialization::data(store->dictionaryRepresentation(),
                                                    isXML ? PropertyListFormat::xml : PropertyListFormat::binary);
  if (words.size() < 2 || words[1] == "-") {
    std::cout.write(data.text().data(), static_cast<std::streamsize>(data.size()));
  } else {
    withFile("write", words[1], [&] { Tessaly::writeAtomically(data, Tessaly::URL::fileURLWithPath(words[1])); });
  }
  return success;
}

ExitCode importAll(Arguments arguments) {
  requireCount(arguments, 1, 2);
  requireFile(arguments);
  Data data;
  if (arguments.size() < 2 || arguments[1] == "-") {
    const std::string bytes((std::istreambuf_iterator<char>(std::cin)), {});
    data = Data(std::string_view(bytes));
  } else {
    withFile("read", arguments[1],
             [&] { data = Data::contentsOf(Tessaly::URL::fileURLWithPath(std::string(arguments[1]))); });
  }
  const auto result = PropertyListSerialization::read(data.bytes());
  const PropertyList::Dictionary* values = result.value.dictionary();
  if (values == nullptr) throw CommandError("The property list is no dictionary");
  const Store store = open(arguments[0], Opening::forUse);
  for (const auto& setting : store->publishedKeys()) {
    const PropertyList* const value = result.value.find(setting.name);
    const std::string objects = value != nullptr ? objection(setting, *value) : "";
    if (!objects.empty()) std::cerr << "tessaly defaults: " << objects << '\n';
  }
  store->setValuesForKeys({values->begin(), values->end()});
  requireStored(store);
  return success;
}

class Printer final : public Tessaly::KeyValueObserver {
 public:
  explicit Printer(Arguments keys) {
    for (const std::string_view key : keys) keys_.insert(Tessaly::Text::sanitized(key));
  }

  void observeValue(std::optional<std::string_view> key, const Tessaly::Object*,
                    const std::optional<KeyValueChange>& change, void*) override {
    if (!keys_.empty() && !keys_.contains(std::string(*key))) return;
    const auto& value = *change->newValue;
    if (value) {
      std::cout << printedKey(*key) << " = " << *value << std::endl;
    } else {
      std::cout << printedKey(*key) << " removed" << std::endl;
    }
    if (!std::cout) Interruption::raise();  // Nobody reads any more.
  }

 private:
  std::set<std::string> keys_;
};

ExitCode watch(Arguments arguments) {
  requireCount(arguments, 1, arguments.size());
  const Interruption interruption;
  const Store store = open(arguments[0], Opening::forUse);
  const auto printer = std::make_shared<Printer>(arguments.subspan(1));
  store->addObserverOfEveryKey(printer, Tessaly::KeyValueObservingOptions::newValue, nullptr);
  if (const auto status = store->status();
      status.problem != UserDefaultsProblem::none && status.problem != UserDefaultsProblem::readOnly) {
    throw CommandError("The settings in " + status.folder + " cannot be watched: " + reason(status));
  }
  std::cerr << "Watching the settings of \"" << arguments[0] << "\"" << std::endl;
  interruption.wait();
  return success;
}

ExitCode run(Arguments arguments) {
  if (arguments.empty()) throw UsageError("An operation is missing");
  struct Operation {
    std::string_view name;
    ExitCode (*run)(Arguments);
  };
  static constexpr Operation operations[] = {{"read", read},         {"write", write},      {"delete", remove},
                                             {"export", exportAll},  {"import", importAll}, {"watch", watch},
                                             {"describe", describe}, {"doctor", doctor}};
  const auto found = std::ranges::find(operations, arguments[0], &Operation::name);
  if (found == std::end(operations)) {
    throw UsageError("There is no operation \"" + std::string(arguments[0]) + "\"");
  }
  return found->run(arguments.subspan(1));
}

}  // namespace

const Command defaultsCommand{
    .name = "defaults", .summary = "read, write and watch settings", .help = help, .run = run};

}  // namespace TessalyTool
