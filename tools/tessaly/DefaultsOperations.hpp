// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Command.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"

// The parts of `tessaly defaults`.
namespace TessalyTool::Defaults {

using Store = std::shared_ptr<Tessaly::JournaledUserDefaults>;
using Opening = Tessaly::JournaledUserDefaults::Opening;

Store open(std::string_view identifier, Opening opening);

enum class Damage : bool { isError, isExpected };
/// For operations that change nothing. Something must be stored. Unless damage is expected, all of it must be readable.
Store openExisting(std::string_view identifier, Damage damage = Damage::isError);
/// Throws unless the latest changes are stored.
void requireStored(const Store& store);
/// The reason for which settings cannot be read.
std::string reason(const Tessaly::UserDefaultsStatus& status);
void requireCount(Arguments arguments, std::size_t least, std::size_t most);

std::optional<Tessaly::SettingDescription> published(const Store& store, std::string_view key);
/// The reason for which a setting does not allow a value; empty if it allows it or is not published.
std::string objection(const std::optional<Tessaly::SettingDescription>& setting, const Tessaly::PropertyList& value);

ExitCode describe(Arguments arguments);
ExitCode doctor(Arguments arguments);

}  // namespace TessalyTool::Defaults
