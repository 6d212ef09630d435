// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/detail/SettingsValues.hpp"

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"

namespace Tessaly::inline v1::detail {

using Kind = JournalRecord::Kind;

namespace {

void put(PropertyList::Dictionary& values, const std::string& key, std::optional<PropertyList> value) {
  if (value) {
    values.insert_or_assign(key, *std::move(value));
  } else {
    values.erase(key);
  }
}

}  // namespace

SettingsValues::SettingsValues(std::uint64_t writer, std::function<void(SettingsChange)> deliver)
    : writer_(writer), deliver_(std::move(deliver)) {}

SettingsValues::~SettingsValues() = default;

bool SettingsValues::has(std::string_view key, const std::optional<PropertyList>& value) const {
  const std::optional<PropertyList> present = this->value(key);
  return value ? present && present->isIdentical(*value) : !present;
}

void SettingsValues::apply(const JournalRecord& record) {
  switch (record.kind) {
    case Kind::set:
    case Kind::remove:
    case Kind::batch:
      return applyChanges(record);
    case Kind::checkpoint:
    case Kind::checkpointWithUnknownChanges:
    case Kind::adoption:
    case Kind::adoptionWithUnknownChanges:
      if (const auto identity = record.identity()) applyIdentity(record, *identity);
      return;
    case Kind::restoration:
      if (auto restoration = record.restoration()) addRestoration(*std::move(restoration));
      return;
  }
}

void SettingsValues::applyChanges(const JournalRecord& record) {
  std::vector<SettingsChange> decoded;  // All first: a record counts as a whole, or not at all.
  try {
    for (const JournalRecord::Change& change : record.changes()) {
      std::optional<PropertyList> value;
      if (change.value) value = PropertyListSerialization::read(Data(*change.value).bytes()).value;
      decoded.push_back({std::string(change.key), std::move(value)});
    }
  } catch (const PropertyListError& error) {
    return logPlatformError("UserDefaults", error.description());
  }
  std::vector<std::optional<SettingsChange>> changes;
  changes.reserve(decoded.size());
  for (auto& [key, value] : decoded) changes.push_back(exchange(key, std::move(value), record.writer));
  for (auto& change : changes) announce(std::move(change), record.writer);
}

void SettingsValues::addRestoration(JournalRecord::Restoration restoration) {
  constexpr std::size_t maximum = 16;
  std::erase_if(restorations_, [&](const auto& known) { return known.nonce == restoration.nonce; });
  if (restorations_.size() == maximum) restorations_.erase(restorations_.begin());
  restorations_.push_back(std::move(restoration));
  list_.isUncertain = true;
}

void SettingsValues::applyIdentity(const JournalRecord& record, const FileIdentity& identity) {
  list_.isUncertain = false;
  if (isReplaying_) {
    recorded_ = identity;
    return;
  }
  const bool isCheckpoint = record.kind == Kind::checkpoint || record.kind == Kind::checkpointWithUnknownChanges;
  const bool hasUnknownChanges =
      record.kind == Kind::checkpointWithUnknownChanges || record.kind == Kind::adoptionWithUnknownChanges;
  if (list_.isUnknown()) list_.wantsReload = true;
  if (isCheckpoint) {
    list_.previous = list_.identity;
    changes_.sincePrevious = std::exchange(changes_.sincePropertyList, changes_.sinceRotation);
  }
  list_.identity = identity;
  list_.isUnrecorded = false;
  if (hasUnknownChanges && record.writer != writer_) list_.wantsReload = true;
}

std::optional<SettingsChange> SettingsValues::exchange(std::string_view key, std::optional<PropertyList> value,
                                                       std::uint64_t writer) {
  std::string name(key);
  ++changes_.ofJournal[writer];
  // This write replaces a value that could not be stored. The files never had that value.
  const auto unstored = pending_.extract(name);
  const std::optional<PropertyList> previous = current().exchange(key, value);
  const std::optional<PropertyList>& stored = unstored ? unstored.mapped().former : previous;
  const std::uint64_t ownChange = writer == writer_ ? ++ownChangesEver_ : 0;
  // Each overlay has the number, because a checkpoint or its end may make it the overlay of the property list.
  const auto note = [&](Overlay& since) { since.try_emplace(name, stored).first->second.ownChange = ownChange; };
  note(changes_.sinceRotation);
  if (!list_.previous.isNone()) note(changes_.sincePrevious);
  if (writer == JournalRecord::otherProgram && !isReplaying_) {
    changes_.sincePropertyList.insert_or_assign(name, Former{value});
  } else {
    note(changes_.sincePropertyList);
  }
  if (previous == value || isReplaying_) return std::nullopt;
  return SettingsChange{std::move(name), std::move(value)};
}

void SettingsValues::announce(std::optional<SettingsChange> change, std::uint64_t writer) {
  if (!change) return;
  if (writer == writer_) {
    ownChanges_.push_back(*std::move(change));
  } else {
    deliver_(*std::move(change));
  }
}

void SettingsValues::keep(std::string_view key, const std::optional<PropertyList>& value) {
  const std::optional<PropertyList> previous = table_.exchange(key, value);
  pending_.try_emplace(std::string(key), Unstored{.value = {}, .former = previous}).first->second.value = value;
  if (previous != value) ownChanges_.push_back({std::string(key), value});
}

void SettingsValues::beginLoad(const FileIdentity& found, const PropertyList::Dictionary* list) {
  ++loads_;
  before_ = areLoaded_ ? table_.all() : PropertyList::Dictionary();
  if (list == nullptr) {
    list_.wantsCheckpoint = !list_.identity.isNone() || !before_.empty();
    loading_.replace(before({}, before_));
  } else {
    loading_.replace(*list);
  }
  snapshot_.reset();
  changesBeforeLoad_ = std::exchange(changes_, {});
  previousBeforeLoad_ = std::exchange(list_.previous, FileIdentity{});
  beginJournal();
  recorded_ = FileIdentity{};
  found_ = found;
  pendingDuringLoad_ = std::exchange(pending_, {});
  isReplaying_ = true;
}

void SettingsValues::abandonLoad() {
  list_.wantsReload = true;
  if (!std::exchange(isReplaying_, false)) return;
  loading_.replace({});
  changes_ = std::exchange(changesBeforeLoad_, {});
  list_.previous = previousBeforeLoad_;
  pending_.merge(pendingDuringLoad_);
  pendingDuringLoad_.clear();
}

SettingsValues::Replayed SettingsValues::replay(const JournalContents& contents) {
  recorded_ = contents.header.checkpoint;
  JournalReader reader(contents.records, contents.header.nonce);
  while (const auto record = reader.next()) apply(*record);
  return {.position = reader.position(), .isDamaged = !reader.damaged().empty() || !reader.damagedAtEnd().empty()};
}

void SettingsValues::endLoad(Values broughtAlong, History history) {
  list_.identity = found_;
  list_.isUnrecorded = !found_.isNone() && found_ != recorded_;
  pending_ = std::exchange(pendingDuringLoad_, {});
  if (history == History::continued) {
    std::erase_if(pending_, [this](const auto& entry) { return !has(entry.first, entry.second.former); });
  }
  for (auto& [key, value] : broughtAlong) pending_.try_emplace(key, Unstored{.value = std::move(value)});
  for (auto& [key, unstored] : pending_) unstored.former = loading_.exchange(key, unstored.value);
  isReplaying_ = false;
  changesBeforeLoad_ = {};
  table_.takeFrom(loading_);
  if (areLoaded_) {
    const PropertyList::Dictionary after = table_.all();
    for (const auto& [key, value] : after) {
      const auto previous = before_.find(key);
      if (previous == before_.end() || previous->second != value) deliver_({key, value});
    }
    for (const auto& [key, value] : before_) {
      if (!after.contains(key)) deliver_({key, std::nullopt});
    }
  }
  areLoaded_ = true;
}

void SettingsValues::renewSnapshot() {
  ++journals_;
  if (!snapshot_) return;
  // This runs under the store's lock. Many changes would hold the lock longer than a new snapshot, which reads the
  // values without that lock.
  constexpr std::size_t maximumChanges = 1000;
  if (changes_.sinceRotation.size() > maximumChanges) return snapshot_.reset();
  for (const auto& [key, unused] : changes_.sinceRotation) {
    put(snapshot_->values, key, storedValue(key));
  }
  snapshot_->journal = journals_;
}

void SettingsValues::beginJournal() {
  renewSnapshot();
  changes_.sinceRotation.clear();
  changes_.ofJournal.clear();
  changes_.ownBeforeJournal = ownChangesEver_;
}

void SettingsValues::returnToPreviousList() {
  list_.identity = std::exchange(list_.previous, FileIdentity{});
  changes_.sincePropertyList = std::exchange(changes_.sincePrevious, {});
  list_.wantsCheckpoint = true;
}

std::optional<PropertyList> SettingsValues::storedValue(const std::string& key) const {
  const auto unstored = pending_.find(key);
  return unstored == pending_.end() ? table_.value(key) : unstored->second.former;
}

PropertyList::Dictionary SettingsValues::before(const Overlay& since, PropertyList::Dictionary values) const {
  for (const auto& [key, unstored] : pending_) put(values, key, unstored.former);
  for (const auto& [key, former] : since) put(values, key, former.value);
  return values;
}

}  // namespace Tessaly::inline v1::detail
