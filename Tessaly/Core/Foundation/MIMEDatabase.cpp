// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/detail/MIMEDatabase.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <exception>
#include <filesystem>
#include <set>
#include <utility>

#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Foundation/detail/MIMEText.hpp"

namespace Tessaly::inline v1::detail {
namespace {

/// Larger files cannot be MIME databases.
constexpr std::uintmax_t greatestFile = std::uintmax_t{32} << 20;
/// A control character in the first 128 bytes means that the content is not text. Tabs, line feeds, form feeds,
/// carriage returns, backspaces and escapes are allowed.
constexpr std::size_t textSample = 128;

constexpr std::string_view anyData = "application/octet-stream";
constexpr std::string_view anyText = "text/plain";
constexpr std::string_view emptyFile = "application/x-zerosize";

constexpr std::string_view blanks = " \t\r\n";

std::string contentsOf(const std::string& path) {
  try {
    std::error_code code;
    if (!std::filesystem::is_regular_file(path, code)) return {};
    if (std::filesystem::file_size(path, code) > greatestFile || code) return {};
    return std::string(Data::contentsOf(URL::fileURLWithPath(path)).text());
  } catch (const std::exception&) {
    return {};
  }
}

/// The value of an environment variable if it is an absolute path.
std::optional<std::string> pathVariable(const ProcessInfo& process, const char* name) {
  auto value = process.environmentValue(name);
  if (!value || !value->starts_with('/')) return std::nullopt;
  return value;
}

std::string decodedEntities(std::string_view text) {
  static constexpr std::array<std::pair<std::string_view, char>, 5> entities{
      {{"&lt;", '<'}, {"&gt;", '>'}, {"&amp;", '&'}, {"&quot;", '"'}, {"&apos;", '\''}}};
  std::string decoded;
  while (!text.empty()) {
    const auto* const entity =
        std::ranges::find_if(entities, [&](const auto& candidate) { return text.starts_with(candidate.first); });
    decoded += entity != entities.end() ? entity->second : text.front();
    text.remove_prefix(entity != entities.end() ? entity->first.size() : 1);
  }
  return decoded;
}

/// Calls a function for each tag with the name. The arguments are the attributes of the tag and the text after the
/// tag.
template <typename Function>
void forEachTag(std::string_view xml, std::string_view name, Function function) {
  constexpr std::string_view commentEnd = "-->";
  while (!xml.empty()) {
    xml.remove_prefix(std::min(xml.find('<'), xml.size()));
    if (xml.starts_with("<!--")) {
      const std::size_t end = xml.find(commentEnd);
      xml.remove_prefix(end == std::string_view::npos ? xml.size() : end + commentEnd.size());
      continue;
    }
    std::string_view tag = takeUntil(xml, '>');
    if (tag.empty()) continue;
    tag.remove_prefix(1);
    if (!tag.starts_with(name)) continue;
    tag.remove_prefix(name.size());
    if (tag.empty() || blanks.contains(tag.front())) function(tag, xml);
  }
}

/// The value of an attribute in a tag. The tag's text ends before its ">".
std::optional<std::string_view> attribute(std::string_view tag, std::string_view name) noexcept {
  while (!tag.empty()) {
    tag.remove_prefix(std::min(tag.find_first_not_of(blanks), tag.size()));
    const std::size_t equals = tag.find('=');
    if (equals == std::string_view::npos || equals + 1 >= tag.size()) break;
    const std::string_view found = tag.substr(0, equals);
    const char quote = tag[equals + 1];
    tag.remove_prefix(equals + 2);
    const std::size_t end = tag.find(quote);
    if ((quote != '"' && quote != '\'') || end == std::string_view::npos) break;
    if (found == name) return tag.substr(0, end);
    tag.remove_prefix(end + 1);
  }
  return std::nullopt;
}

}  // namespace

MIMEDatabase::MIMEDatabase(std::vector<std::string> folders) : folders_(std::move(folders)) {
  for (auto folder = folders_.rbegin(); folder != folders_.rend(); ++folder) {
    addTypes(contentsOf(*folder + "/types"));
    addAliases(contentsOf(*folder + "/aliases"));
    addSubclasses(contentsOf(*folder + "/subclasses"));
    addGlobs(contentsOf(*folder + "/globs2"));
    addMagic(contentsOf(*folder + "/magic"));
  }
}

const MIMEDatabase& MIMEDatabase::shared() {
  static const MIMEDatabase& database = *new MIMEDatabase(folders(ProcessInfo::processInfo()));
  return database;
}

std::vector<std::string> MIMEDatabase::folders(const ProcessInfo& process) {
  std::vector<std::string> found;
  if (const auto data = pathVariable(process, "XDG_DATA_HOME")) {
    found.push_back(*data + "/mime");
  } else if (const auto home = pathVariable(process, "HOME")) {
    found.push_back(*home + "/.local/share/mime");
  }
  const std::string all = process.environmentValue("XDG_DATA_DIRS").value_or("");
  std::string_view rest = all;
  if (rest.empty()) rest = "/usr/local/share:/usr/share";
  while (!rest.empty()) {
    const std::string_view folder = takeUntil(rest, ':');
    if (folder.starts_with('/')) addOnce(found, std::string(folder) + "/mime");
  }
  return found;
}

void MIMEDatabase::addAliases(std::string_view aliases) {
  forEachLine(aliases, [&](std::string_view line) {
    const std::string_view alias = takeUntil(line, ' ');
    if (isMIMEType(alias) && isMIMEType(line)) aliases_.insert_or_assign(lowercased(alias), lowercased(line));
  });
}

void MIMEDatabase::addSubclasses(std::string_view subclasses) {
  forEachLine(subclasses, [&](std::string_view line) {
    const std::string_view type = takeUntil(line, ' ');
    if (isMIMEType(type) && isMIMEType(line)) addOnce(parents_[lowercased(type)], lowercased(line));
  });
}

void MIMEDatabase::addTypes(std::string_view types) {
  forEachLine(types, [&](std::string_view line) {
    if (isMIMEType(line)) spellings_.insert_or_assign(lowercased(line), std::string(line));
  });
}

std::string MIMEDatabase::canonical(std::string_view type) const {
  std::string lower = lowercased(type);
  const auto found = aliases_.find(lower);
  return found != aliases_.end() ? found->second : lower;
}

std::string MIMEDatabase::spelling(std::string_view type) const {
  std::string lower = lowercased(type);
  const auto found = spellings_.find(lower);
  return found != spellings_.end() ? found->second : lower;
}

MIMEDatabase::Types MIMEDatabase::parents(std::string_view name) const {
  const std::string type = lowercased(name);
  const auto found = parents_.find(type);
  Types parents = found != parents_.end() ? found->second : Types();
  // The database does not list the supertypes that all texts and all files have.
  if (type.starts_with("text/") && type != anyText) addOnce(parents, anyText);
  if (parents.empty() && !type.starts_with("inode/") && type != anyData) addOnce(parents, anyData);
  return parents;
}

bool MIMEDatabase::isKindOf(std::string_view type, std::string_view other) const {
  const std::string sought = lowercased(other);
  std::vector<std::string> pending{lowercased(type)};
  std::set<std::string, std::less<>> seen;
  while (!pending.empty()) {
    const std::string next = std::move(pending.back());
    pending.pop_back();
    if (next == sought) return true;
    if (!seen.insert(next).second) continue;
    for (std::string& parent : parents(next)) pending.push_back(std::move(parent));
  }
  return false;
}

MIMEDatabase::Types MIMEDatabase::typesOfExtension(std::string_view extension) const {
  const Types types = globs_.typesOfExtension(extension);
  // A name does not select a subtype if the name also fits the supertype.
  Types general;
  Types special;
  for (const std::string& type : types) {
    const bool isSpecial =
        std::ranges::any_of(types, [&](const std::string& other) { return other != type && isKindOf(type, other); });
    (isSpecial ? special : general).push_back(type);
  }
  general.insert(general.end(), special.begin(), special.end());
  return general;
}

std::string MIMEDatabase::typeOfContents(std::string_view contents) const {
  if (contents.empty() && knows(emptyFile)) return std::string(emptyFile);
  if (const std::string_view type = magic_.typeOf(contents); !type.empty()) return std::string(type);
  static constexpr std::string_view allowed = "\t\n\f\r\b\x1B";
  const bool isText = std::ranges::all_of(contents.substr(0, textSample), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte >= 0x20 && byte != 0x7F) || allowed.contains(c);
  });
  return std::string(isText ? anyText : anyData);
}

std::string MIMEDatabase::typeOf(std::string_view name,
                                 const std::function<std::optional<std::string>(std::size_t)>& contents) const {
  const Types byName = typesOfName(name);
  if (byName.size() == 1) return byName.front();
  const auto bytes = contents(std::max(magic_.extent(), textSample));
  if (!bytes) return byName.empty() ? std::string(anyData) : byName.front();
  std::string byContents = typeOfContents(*bytes);
  if (byName.empty()) return byContents;
  const auto special =
      std::ranges::find_if(byName, [&](const std::string& type) { return isKindOf(type, byContents); });
  return special != byName.end() ? *special : byName.front();
}

MIMEDatabase::Types MIMEDatabase::extensions(std::string_view name) const {
  const std::string type = lowercased(name);
  {
    const UnfairLock::Guard guard(lock_);
    if (const auto known = extensions_.find(type); known != extensions_.end()) return known->second;
  }
  Types found = isMIMEType(type) ? extensionsByDescription(type) : Types();
  const UnfairLock::Guard guard(lock_);
  return extensions_.emplace(type, std::move(found)).first->second;
}

MIMEDatabase::Types MIMEDatabase::extensionsByDescription(const std::string& type) const {
  // The globs2 files decide which patterns count. The descriptions give the order of these patterns.
  const Types counting = globs_.extensionsOf(type);
  Types extensions;
  for (const std::string& folder : folders_) {
    if (counting.empty()) break;
    for (const std::string& pattern : patterns(contentsOf(fmt::format("{}/{}.xml", folder, type)))) {
      if (!pattern.starts_with("*.")) continue;
      const auto extension = std::string_view(pattern).substr(2);
      if (std::ranges::find(counting, extension) != counting.end()) addOnce(extensions, extension);
    }
  }
  for (const std::string& extension : counting) addOnce(extensions, extension);
  return extensions;
}

MIMEDatabase::Comments MIMEDatabase::comments(std::string_view name) const {
  const std::string type = lowercased(name);
  {
    const UnfairLock::Guard guard(lock_);
    if (const auto known = comments_.find(type); known != comments_.end()) return known->second;
  }
  Comments found;
  for (const std::string& folder : folders_) {
    if (!found.empty() || !isMIMEType(type)) break;
    found = commentsIn(contentsOf(fmt::format("{}/{}.xml", folder, type)));
  }
  const UnfairLock::Guard guard(lock_);
  return comments_.emplace(type, std::move(found)).first->second;
}

std::vector<std::string> MIMEDatabase::patterns(std::string_view description) {
  std::vector<std::string> found;
  forEachTag(description, "glob", [&](std::string_view attributes, std::string_view) {
    if (const auto pattern = attribute(attributes, "pattern")) found.push_back(decodedEntities(*pattern));
  });
  return found;
}

MIMEDatabase::Comments MIMEDatabase::commentsIn(std::string_view description) {
  Comments found;
  forEachTag(description, "comment", [&](std::string_view attributes, std::string_view rest) {
    const std::size_t end = rest.find("</comment>");
    if (end == std::string_view::npos) return;
    found.try_emplace(std::string(attribute(attributes, "xml:lang").value_or("")),
                      decodedEntities(rest.substr(0, end)));
  });
  return found;
}

}  // namespace Tessaly::inline v1::detail
