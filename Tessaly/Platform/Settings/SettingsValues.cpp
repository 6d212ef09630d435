// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/detail/SettingsValues.hpp"

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"

namespace Tessaly::inline v1::detail {

using Kind = JournalRecord::Kind;

SettingsValues::SettingsValues(std::uint64_t writer, std::function<void(SettingsChange)> deliver)
    : writer_(writer), deliver_(std::move(deliver)) {}

SettingsValues::~SettingsValues() = default;

bool SettingsValues::has(std::string_view key, const std::optional<PropertyList>& value) const {
  const std::optional<PropertyList> current = table_.value(key);
  return value ? current && current->isIdentical(*value) : !current;
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
  std::vector<std::optional<SettingsChange>> changes;
  for (const JournalRecord::Change& change : record.changes()) {
    try {
      std::optional<PropertyList> value;
      if (change.value) value = PropertyListSerialization::read(Data(*change.value).bytes()).value;
      changes.push_back(exchange(change.key, std::move(value), record.writer));
    } catch (const PropertyListError& error) {
      logPlatformError("UserDefaults", error.description());
    }
  }
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
    sincePrevious_ = std::exchange(sincePropertyList_, sinceRotation_);
  }
  list_.identity = identity;
  list_.isUnrecorded = false;
  if (hasUnknownChanges && record.writer != writer_) list_.wantsReload = true;
}

std::optional<SettingsChange> SettingsValues::exchange(std::string_view key, std::optional<PropertyList> value,
                                                       std::uint64_t writer) {
  std::string name(key);
  ++recordsOfJournal_[writer];
  pending_.erase(name);  // This write is later than the one that could not be stored.
  std::optional<PropertyList> previous = table_.exchange(key, value);
  sinceRotation_.try_emplace(name, previous);
  if (!list_.previous.isNone()) sincePrevious_.try_emplace(name, previous);
  if (writer == JournalRecord::otherProgram && !isReplaying_) {
    sincePropertyList_.insert_or_assign(name, Former{value});
  } else {
    Former& former = sincePropertyList_.try_emplace(name, previous).first->second;
    former.ownChange = writer == writer_ ? ++ownChangesEver_ : 0;
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
  pending_.insert_or_assign(std::string(key), value);
  const std::optional<PropertyList> previous = table_.exchange(key, value);
  if (previous != value) ownChanges_.push_back({std::string(key), value});
}

void SettingsValues::beginLoad(const FileIdentity& found, const PropertyList::Dictionary* list) {
  ++loads_;
  before_ = areLoaded_ ? table_.all() : PropertyList::Dictionary();
  if (list == nullptr) {
    list_.wantsCheckpoint = !list_.identity.isNone() || !before_.empty();
  }
  if (list != nullptr) {
    for (const auto& [key, value] : before_) {
      if (!list->contains(key)) table_.exchange(key, std::nullopt);
    }
    for (const auto& [key, value] : *list) table_.exchange(key, value);
  }
  snapshot_.reset();
  beginJournal();
  sincePropertyList_.clear();
  sincePrevious_.clear();
  list_.previous = FileIdentity{};
  recorded_ = FileIdentity{};
  found_ = found;
  pendingDuringLoad_ = std::exchange(pending_, {});
  isReplaying_ = true;
}

void SettingsValues::abandonLoad() {
  if (!std::exchange(isReplaying_, false)) return;
  list_.wantsReload = true;
  pending_.merge(pendingDuringLoad_);
  pendingDuringLoad_.clear();
}

SettingsValues::Replayed SettingsValues::replay(const JournalContents& contents) {
  recorded_ = contents.header.checkpoint;
  JournalReader reader(contents.records, contents.header.nonce);
  while (const auto record = reader.next()) apply(*record);
  return {.position = reader.position(), .isDamaged = !reader.damaged().empty() || !reader.damagedAtEnd().empty()};
}

void SettingsValues::endLoad(Pending broughtAlong) {
  isReplaying_ = false;
  list_.identity = found_;
  list_.isUnrecorded = !found_.isNone() && found_ != recorded_;
  pending_ = std::exchange(pendingDuringLoad_, {});
  pending_.merge(broughtAlong);
  for (const auto& [key, value] : pending_) table_.exchange(key, value);
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
  // This happens under locks. Many changes would take longer than a new snapshot, which is made without one.
  constexpr std::size_t maximumChanges = 1000;
  if (sinceRotation_.size() > maximumChanges) return snapshot_.reset();
  for (const auto& [key, unused] : sinceRotation_) {
    if (auto value = table_.value(key)) {
      snapshot_->values.insert_or_assign(key, *std::move(value));
    } else {
      snapshot_->values.erase(key);
    }
  }
  snapshot_->journal = journals_;
}

void SettingsValues::beginJournal() {
  renewSnapshot();
  sinceRotation_.clear();
  recordsOfJournal_.clear();
  ownChangesBeforeJournal_ = ownChangesEver_;
}

void SettingsValues::returnToPreviousList() {
  list_.identity = std::exchange(list_.previous, FileIdentity{});
  sincePropertyList_ = std::exchange(sincePrevious_, {});
  list_.wantsCheckpoint = true;
}

PropertyList::Dictionary SettingsValues::reverted(PropertyList::Dictionary values, const Overlay& since) {
  for (const auto& [key, former] : since) {
    if (former.value) {
      values.insert_or_assign(key, *former.value);
    } else {
      values.erase(key);
    }
  }
  return values;
}

PropertyList::Dictionary SettingsValues::valuesBefore(const Overlay& since) const {
  return reverted(table_.all(), since);
}

}  // namespace Tessaly::inline v1::detail
