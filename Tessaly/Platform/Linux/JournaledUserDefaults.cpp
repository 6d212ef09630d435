// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

#include "Tessaly/Core/Base/ForkGuard.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Foundation/UUID.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Platform/Linux/JournalLock.hpp"

namespace Tessaly::inline v1 {
namespace {

using detail::LockMode;
using detail::Patience;

constexpr std::size_t largestRecord = std::size_t{1} << 30;

std::uint64_t freshWriter() {
  std::uint64_t writer = 0;
  std::memcpy(&writer, UUID::random().bytes().data(), sizeof(writer));
  return writer | std::uint64_t{1} << 63;  // None of those that stand for other programs.
}

}  // namespace

JournaledUserDefaults::JournaledUserDefaults(Options options)
    : folder_(std::move(options.folder)),
      propertyListPath_(folder_ + "/Settings.plist"),
      journalPath_(folder_ + "/journal"),
      oldJournalPath_(folder_ + "/journal.old"),
      opening_(options.opening),
      clock_(options.clock),
      process_(::getpid()),
      writer_(freshWriter()),
      others_(*new SerialExecutor) {}

std::shared_ptr<JournaledUserDefaults> JournaledUserDefaults::open(Options options) {
  stopIfForkedChild();
  std::shared_ptr<JournaledUserDefaults> store(new JournaledUserDefaults(std::move(options)));
  store->start();
  return store;
}

std::shared_ptr<JournaledUserDefaults> JournaledUserDefaults::openIdentifier(std::string_view identifier,
                                                                             Opening opening) {
  return open({.folder = detail::settingsFolder(identifier).value_or(""), .opening = opening});
}

void JournaledUserDefaults::start() {
  const auto work = [&](void (*function)(JournaledUserDefaults&)) {
    return detail::DelayedWork::make(clock_, [this, function] { function(*this); });  // Cancelled before the end.
  };
  checkpoint_ = work([](JournaledUserDefaults& store) {
    switch (store.checkpoint(Patience::none)) {
      case Outcome::done:
      case Outcome::postponed:
        return;
      case Outcome::busy:
        return store.checkpointLater(checkpointDelay);
      case Outcome::failed:
        return store.checkpointLater(retryDelay);
    }
  });
  retry_ = work([](JournaledUserDefaults& store) {
    const UnfairLock::Guard guard(store.lock_);
    JournalLock lock(store, LockMode::shared, Patience::some);
    int error = lock.error();
    if (error == 0) error = store.catchUp();
    if (error == 0) error = store.storePending();
    if (error != 0 && !store.pending_.empty()) store.noteError(error);
    if (error == EWOULDBLOCK || !store.pending_.empty()) store.retry_->schedule(retryDelay);
  });
  damage_ = work([](JournaledUserDefaults& store) { store.resolveDamage(); });

  {
    const UnfairLock::Guard guard(statusLock_);
    status_.folder = folder_;
  }
  const UnfairLock::Guard guard(lock_);
  if (folder_.empty()) {
    note(UserDefaultsProblem::noFolder, 0);
    return;
  }
  {
    JournalLock lock(*this, LockMode::shared, Patience::some);
    if (lock.error() != 0) {
      if (opening_ == Opening::forUse) noteError(lock.error());
    } else if (!journal_.isWritable && opening_ == Opening::forUse) {
      note(UserDefaultsProblem::readOnly, EACCES);
    }
    int error = isLoaded_ ? 0 : load();
    if (opening_ == Opening::forReading) {
      // A store that is not there is empty; what is there and cannot be read is missing.
      if (error == 0 && lock.error() != ENOENT) error = lock.error();
      if (unreadable_) {
        if (const auto found = readPropertyList(propertyListPath_); !found) error = found.error();
      }
      if (error != 0) noteError(error);
      return;
    }
  }
  // What a killed process has left behind.
  if (!state_.sinceRotation.empty() || state_.wantsCheckpoint || ::access(oldJournalPath_.c_str(), F_OK) == 0) {
    checkpointLater(checkpointDelay);
  }
  watch();
}

JournaledUserDefaults::~JournaledUserDefaults() {
  checkpoint_->cancel();
  retry_->cancel();
  damage_->cancel();
  close();
  if (source_ != nullptr) source_->cancel();  // Only now: each checkpoint may have begun to watch the folder.
  others_.release();
}

void JournaledUserDefaults::close() noexcept {
  if (folder_.empty() || opening_ == Opening::forReading || ::getpid() != process_) return;
  try {
    if (checkpoint(Patience::some) == Outcome::postponed) outlastDamage();
  } catch (const std::exception& error) {
    detail::logPlatformError("UserDefaults", error.what());  // The journal has it all.
  }
}

std::optional<PropertyList> JournaledUserDefaults::value(std::string_view forKey) const {
  stopIfForkedChild();
  std::optional<PropertyList> found = table_.value(forKey);
  if (!found && !Text::isWellFormed(forKey)) [[unlikely]]
    return table_.value(Text::sanitized(forKey));
  return found;
}

void JournaledUserDefaults::set(PropertyList value, std::string_view forKey) { change(forKey, std::move(value)); }

void JournaledUserDefaults::removeObject(std::string_view forKey) { change(forKey, std::nullopt); }

PropertyList::Dictionary JournaledUserDefaults::dictionaryRepresentation() const {
  stopIfForkedChild();
  const UnfairLock::Guard guard(lock_);
  return table_.all();
}

void JournaledUserDefaults::addObserver(const std::shared_ptr<KeyValueObserver>& observer, std::string_view forKeyPath,
                                        KeyValueObservingOptions options, void* context) {
  observers_.add(observer, forKeyPath, options, context);
}

void JournaledUserDefaults::removeObserver(const KeyValueObserver& observer, std::string_view forKeyPath) {
  observers_.remove(observer, forKeyPath);
}

void JournaledUserDefaults::addObserverOfEveryKey(const std::shared_ptr<KeyValueObserver>& observer,
                                                  KeyValueObservingOptions options, void* context) {
  observers_.add(observer, std::nullopt, options, context);
}

void JournaledUserDefaults::removeObserverOfEveryKey(const KeyValueObserver& observer) {
  observers_.remove(observer, std::nullopt);
}

void JournaledUserDefaults::change(std::string_view key, std::optional<PropertyList> value) {
  stopIfForkedChild();
  if (!Text::isWellFormed(key)) [[unlikely]]
    return change(Text::sanitized(key), std::move(value));
  std::string bytes;
  try {
    if (value) bytes = PropertyListSerialization::data(*value, PropertyListFormat::binary).text();
  } catch (const PropertyListError&) {
    const UnfairLock::Guard guard(lock_);
    return note(UserDefaultsProblem::valueTooLarge, 0);
  }
  if (bytes.size() + key.size() > largestRecord) {
    const UnfairLock::Guard guard(lock_);
    return note(UserDefaultsProblem::valueTooLarge, 0);
  }
  std::vector<Change> own;
  bool isOverdue = false;
  {
    const UnfairLock::Guard guard(lock_);
    JournalLock lock(*this, LockMode::shared, Patience::some);
    int error = lock.error();
    if (error == 0 && !journal_.isWritable) error = EROFS;
    if (error == 0 && journal_.size > journal_.offset) error = catchUp();
    if (error == 0) {
      const std::optional<PropertyList> current = table_.value(key);
      const bool isThere = value ? current && current->isIdentical(*value) : !current;
      if (!isThere || pending_.contains(std::string(key))) {
        const std::string record = detail::JournalRecord{.kind = value ? detail::JournalRecord::Kind::set
                                                                       : detail::JournalRecord::Kind::remove,
                                                         .writer = writer_,
                                                         .key = key,
                                                         .value = bytes}
                                       .encoded(journal_.nonce);
        const std::uint64_t before = journal_.offset;
        error = append(record);
        if (error == 0) {
          pending_.erase(std::string(key));
          if (journal_.size == before + record.size()) {
            // Nobody else came in between.
            journal_.offset = journal_.size;
            exchange(key, value, writer_);
          } else {
            error = catchUp();
          }
          const std::uint64_t large = std::max(largeJournal, state_.propertyList.size);
          checkpointLater(journal_.offset >= large ? std::chrono::nanoseconds(1) : checkpointDelay);
          isOverdue = journal_.offset >= overdueJournals * large;
          if (pending_.empty()) {
            noteStored();
          } else if (const int remaining = storePending()) {
            noteError(remaining);
          }
        }
      }
    }
    if (error != 0) keepInMemory(key, value, error);
    own = std::exchange(ownChanges_, {});
  }
  announce(own);
  // Locks of files are not fair: without a pause those who write a lot would never let a checkpoint come to its turn.
  if (isOverdue) std::this_thread::sleep_for(std::chrono::microseconds(100));
}

void JournaledUserDefaults::keepInMemory(std::string_view key, const std::optional<PropertyList>& value, int error) {
  pending_.insert_or_assign(std::string(key), value);
  const std::optional<PropertyList> previous = table_.exchange(key, value);
  if (previous != value) ownChanges_.push_back({std::string(key), value});
  if (folder_.empty()) {
    note(UserDefaultsProblem::noFolder, 0);
  } else {
    noteError(error);
    if (opening_ == Opening::forUse) retry_->schedule(retryDelay);
  }
}

int JournaledUserDefaults::storePending() {
  if (!journal_.isWritable) return pending_.empty() ? 0 : EROFS;
  while (!pending_.empty()) {
    const auto first = pending_.begin();
    if (const int error = append(encoded(first->first, first->second, writer_))) return error;
    Overlay::node_type stored = pending_.extract(first);
    if (const int error = catchUp()) {
      pending_.insert(std::move(stored));
      return error;
    }
    checkpointLater(checkpointDelay);
  }
  noteStored();
  return 0;
}

bool JournaledUserDefaults::synchronize() {
  stopIfForkedChild();
  if (folder_.empty() || opening_ == Opening::forReading) return false;
  bool isStored = false;
  {
    const UnfairLock::Guard guard(lock_);
    JournalLock lock(*this, LockMode::shared, Patience::some);
    int error = lock.error();
    if (error == 0) error = catchUp();
    if (error == 0) error = storePending();
    if (error != 0) noteError(error);
    isStored = error == 0;
  }
  // A checkpoint waits for the disk itself.
  if (checkpoint(Patience::some) == Outcome::done) return isStored;
  const UnfairLock::Guard guard(lock_);
  if (journal_.file.isOpen()) ::fdatasync(journal_.file.get());
  return false;
}

std::uint64_t JournaledUserDefaults::revision() const noexcept {
  stopIfForkedChild();
  return table_.revision();
}

UserDefaultsStatus JournaledUserDefaults::status() const {
  const UnfairLock::Guard guard(statusLock_);
  return status_;
}

void JournaledUserDefaults::note(UserDefaultsProblem problem, int error) {
  static constexpr std::array<std::string_view, 7> texts{
      "",
      "There is no folder for settings; they are kept in memory",
      "The settings may only be read; changes are kept in memory",
      "The disk is full; changes of settings are kept in memory until there is room",
      "The settings were written by a later version; changes are kept in memory",
      "A setting is too large or nested too deep to be stored, and was not changed",
      "The settings cannot be written; changes are kept in memory",
  };
  {
    const UnfairLock::Guard guard(statusLock_);
    status_.problem = problem;
    status_.errorCode = error;
    status_.unstoredKeys = static_cast<std::int64_t>(pending_.size());
  }
  std::string text(texts[static_cast<std::size_t>(problem)]);
  if (!folder_.empty()) text += " (" + folder_ + (error != 0 ? std::string(": ") + ::strerrordesc_np(error) : "") + ")";
  logOnce(problem, text);
}

void JournaledUserDefaults::noteError(int error) {
  if (isNewer_) return note(UserDefaultsProblem::newerVersion, 0);
  switch (error) {
    case EACCES:
    case EPERM:
    case EROFS:
      return note(UserDefaultsProblem::readOnly, error);
    case ENOSPC:
    case EDQUOT:
      return note(UserDefaultsProblem::diskFull, error);
    default:
      return note(UserDefaultsProblem::systemError, error);
  }
}

void JournaledUserDefaults::noteStored() {
  const UnfairLock::Guard guard(statusLock_);
  if (status_.problem == UserDefaultsProblem::none) return;
  status_.problem = UserDefaultsProblem::none;
  status_.errorCode = 0;
  status_.unstoredKeys = 0;
  logged_ = 0;
}

void JournaledUserDefaults::logOnce(UserDefaultsProblem problem, std::string_view text) {
  const std::uint32_t bit = 1u << static_cast<unsigned>(problem);
  {
    const UnfairLock::Guard guard(statusLock_);
    if (logged_ & bit) return;
    logged_ |= bit;
  }
  detail::logPlatformError("UserDefaults", text);
}

const std::shared_ptr<UserDefaults>& UserDefaults::system() {
  static const std::shared_ptr<UserDefaults>& shared = [] -> const std::shared_ptr<UserDefaults>& {
    const std::string identifier = Bundle::main().bundleIdentifier().value_or(ProcessInfo::processInfo().processName());
    static const auto& store =
        *new std::shared_ptr<JournaledUserDefaults>(JournaledUserDefaults::openIdentifier(identifier));
    std::atexit([] { store->close(); });
    return *new std::shared_ptr<UserDefaults>(store);
  }();
  return shared;
}

}  // namespace Tessaly::inline v1
