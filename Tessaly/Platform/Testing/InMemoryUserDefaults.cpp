// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"

#include <algorithm>
#include <utility>

#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Platform/Settings/detail/KeyValueObservers.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsTable.hpp"

namespace Tessaly::inline v1 {
namespace {

/// Whether no process can store a value of this depth.
bool isTooDeep(std::uint32_t depth) noexcept { return depth >= PropertyList::maximumDepth; }

}  // namespace

InMemoryUserDefaults::InMemoryUserDefaults()
    : table_(std::make_unique<detail::SettingsTable>()), observers_(std::make_unique<detail::KeyValueObservers>()) {}
InMemoryUserDefaults::~InMemoryUserDefaults() = default;

std::shared_ptr<InMemoryUserDefaults> InMemoryUserDefaults::make() {
  return std::shared_ptr<InMemoryUserDefaults>(new InMemoryUserDefaults);
}

void InMemoryUserDefaults::change(std::string_view key, const std::optional<PropertyList>& value, ChangeOrigin origin) {
  if (!Text::isWellFormed(key)) return change(Text::sanitized(key), value, origin);
  const std::optional<PropertyList> previous = table_->exchange(key, value);
  if (previous != value) observers_->notify(*this, key, value, origin);
}

std::optional<PropertyList> InMemoryUserDefaults::value(std::string_view forKey) const {
  return Text::isWellFormed(forKey) ? table_->value(forKey) : table_->value(Text::sanitized(forKey));
}

void InMemoryUserDefaults::set(PropertyList value, std::string_view forKey) {
  if (admits(value.depth())) change(forKey, std::move(value), ChangeOrigin::thisProcess);
}

bool InMemoryUserDefaults::admits(std::uint32_t depth) {
  const UnfairLock::Guard guard(lock_);
  if (isTooDeep(depth)) {
    status_.problem = UserDefaultsProblem::valueTooLarge;
  } else if (status_.problem == UserDefaultsProblem::valueTooLarge) {
    status_.problem = UserDefaultsProblem::none;
  }
  return !isTooDeep(depth);
}

void InMemoryUserDefaults::setValuesForKeys(KeyedValues keyedValues) {
  std::uint32_t depth = 0;
  for (const auto& [key, value] : keyedValues) depth = std::max(depth, value ? value->depth() : 0);
  if (!admits(depth)) return;
  keyedValues = withWellFormedKeys(std::move(keyedValues));
  std::erase_if(keyedValues, [this](const auto& entry) {
    const auto& [key, value] = entry;
    return table_->exchange(key, value) == value;
  });
  for (const auto& [key, value] : keyedValues) observers_->notify(*this, key, value, ChangeOrigin::thisProcess);
}

void InMemoryUserDefaults::removeObject(std::string_view forKey) {
  change(forKey, std::nullopt, ChangeOrigin::thisProcess);
}

void InMemoryUserDefaults::setFromElsewhere(const std::optional<PropertyList>& value, std::string_view forKey) {
  if (value && isTooDeep(value->depth())) return;
  change(forKey, value, ChangeOrigin::otherProcess);
}

PropertyList::Dictionary InMemoryUserDefaults::dictionaryRepresentation() const { return table_->all(); }

void InMemoryUserDefaults::addObserver(const std::shared_ptr<KeyValueObserver>& observer, std::string_view forKeyPath,
                                       KeyValueObservingOptions options, void* context) {
  observers_->add(observer, forKeyPath, options, context);
}

void InMemoryUserDefaults::removeObserver(const KeyValueObserver& observer, std::string_view forKeyPath) {
  observers_->remove(observer, forKeyPath);
}

void InMemoryUserDefaults::addObserverOfEveryKey(const std::shared_ptr<KeyValueObserver>& observer,
                                                 KeyValueObservingOptions options, void* context) {
  observers_->add(observer, std::nullopt, options, context);
}

void InMemoryUserDefaults::removeObserverOfEveryKey(const KeyValueObserver& observer) {
  observers_->remove(observer, std::nullopt);
}

void InMemoryUserDefaults::publishKeys(std::vector<SettingDescription> keys) {
  std::ranges::sort(keys, {}, &SettingDescription::name);
  const UnfairLock::Guard guard(lock_);
  std::swap(keys_, keys);
}

std::vector<SettingDescription> InMemoryUserDefaults::publishedKeys() const {
  const UnfairLock::Guard guard(lock_);
  return keys_;
}

std::uint64_t InMemoryUserDefaults::revision() const noexcept { return table_->revision(); }

bool InMemoryUserDefaults::synchronize() { return status().problem == UserDefaultsProblem::none; }

UserDefaultsStatus InMemoryUserDefaults::status() const {
  const UnfairLock::Guard guard(lock_);
  return status_;
}

void InMemoryUserDefaults::setStatus(UserDefaultsStatus status) {
  const UnfairLock::Guard guard(lock_);
  std::swap(status_, status);
}

}  // namespace Tessaly::inline v1
