// SPDX-License-Identifier: MIT
#include <iostream>
#include <utility>
#include <vector>

#include "DefaultsOperations.hpp"
#include "Values.hpp"

namespace TessalyTool::Defaults {

std::optional<Tessaly::SettingDescription> published(const Store& store, std::string_view key) {
  for (auto& description : store->publishedKeys()) {
    if (description.name == key) return std::move(description);
  }
  return std::nullopt;
}

std::string objection(const std::optional<Tessaly::SettingDescription>& setting, const Tessaly::PropertyList& value) {
  if (!setting || setting->allows(value)) return {};
  const bool isOfAnotherKind = value.text() != nullptr && setting->kind != Tessaly::PropertyList::Kind::text;
  return "\"" + setting->name + "\" does not allow " + (isOfAnotherKind ? "the text " : "") + value.description() +
         ": " + setting->summary();
}

ExitCode describe(Arguments arguments) {
  requireCount(arguments, 1, 2);
  const Store store = open(arguments[0], Opening::forReading);
  auto keys = store->publishedKeys();
  if (arguments.size() == 2) std::erase_if(keys, [&](const auto& key) { return key.name != arguments[1]; });
  if (keys.empty()) {
    throw CommandError(arguments.size() == 2 ? "The application has published no \"" + std::string(arguments[1]) + "\""
                                             : "The application has published no settings");
  }
  for (const auto& key : keys) {
    std::cout << printedKey(key.name) << ": " << key.summary() << '\n';
    if (!key.documentation.empty()) std::cout << "  " << printedKey(key.documentation) << '\n';
    const auto stored = store->value(key.name);
    if (stored && !key.allows(*stored)) std::cout << "  The stored value " << *stored << " is not allowed.\n";
  }
  return success;
}

}  // namespace TessalyTool::Defaults
