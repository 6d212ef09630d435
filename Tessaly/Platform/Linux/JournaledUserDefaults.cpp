// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"

#include <sys/types.h>
#include <unistd.h>

#include <cstdlib>
#include <span>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"
#include "Tessaly/Core/Tasks/SerialExecutor.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/Platform/Linux/DelayedWork.hpp"
#include "Tessaly/Platform/Linux/SettingsCheckpointer.hpp"
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"
#include "Tessaly/Platform/Linux/SettingsStore.hpp"
#include "Tessaly/Platform/Linux/SettingsWatcher.hpp"
#include "Tessaly/Platform/Settings/detail/KeyValueObservers.hpp"

namespace Tessaly::inline v1 {

using detail::SettingsCheckpointer;
using detail::SettingsPatience;
using Outcome = SettingsCheckpointer::Outcome;

/// The objects that make up a store, and the delayed work that connects them.
class JournaledUserDefaults::Parts {
 public:
  Parts(const Options& options, std::function<void(detail::SettingsChange)> deliver)
      : store(options, std::move(deliver)), checkpointer(store) {}

  using Nanoseconds = std::chrono::nanoseconds;

  void start() {
    if (!store.isForUse()) {
      const auto never = [](Nanoseconds) {};
      return store.open({.checkpoint = never, .retry = never, .damage = never, .directoryIsNew = [] {}});
    }
    // The destructor of the store cancels this work.
    changes_ = detail::DelayedWork::make(store.clock(), [this] { directoryChanged(); });
    watcher_ = std::make_shared<detail::SettingsWatcher>(store.files(), store.directory(), changes_);
    checkpoint_ = detail::DelayedWork::make(store.clock(), [this] { makeCheckpoint(); });
    retry_ = detail::DelayedWork::make(store.clock(), [this] { retry(); });
    damage_ = detail::DelayedWork::make(store.clock(), [this] { resolveDamage(); });
    store.open({.checkpoint = [this](Nanoseconds delay) { checkpoint_->schedule(delay); },
                .retry = [this](Nanoseconds delay) { retry_->schedule(delay); },
                .damage = [this](Nanoseconds delay) { damage_->schedule(delay); },
                .directoryIsNew = [this] { watch(); }});
    if (!store.directory().empty()) watch();
  }

  void cancel() noexcept {
    if (watcher_ == nullptr) return;
    for (const auto& work : {checkpoint_, retry_, damage_}) work->cancel();
  }

  void stopWatching() noexcept {
    if (watcher_ == nullptr) return;
    changes_->cancel();  // First, because a run may begin to watch a new directory.
    watcher_->stop();
  }

  /// Writes the changes as one record, and notifies this process's observers.
  void write(const Object& owner, std::span<detail::SettingsStore::Edit> edits);

  Outcome synchronize(SettingsPatience& patience) {
    const Outcome outcome = checkpointer.run(patience);
    watch();
    return outcome;
  }

  /// For the end of a store that may be the last one to know the values of an unreadable property list. Waits for up to
  /// `damageDelay` until the list is readable, and otherwise sets a damaged list aside.
  void outlastDamage() {
    SettingsPatience damage(store.clock(), damageDelay);
    while (!store.isListUnknown() && damage.wait(std::chrono::milliseconds(20))) {
      SettingsPatience none(store.clock(), Nanoseconds(0));
      if (checkpointer.run(none) != Outcome::postponed) return;
    }
    if (store.isListUnknown()) return;
    SettingsPatience patience(store.clock(), std::chrono::milliseconds(100));
    static_cast<void>(store.resolveDamage(patience));
    checkpointer.run(patience);
  }

  void watch() {
    if (watcher_->watch(store.listFile().targetDirectory())) return;
    // Without a watch, `retry` runs every second. The next checkpoint makes a directory that vanished, and watches it.
    if (store.files().status(store.directory())) retry_->schedule(retryDelay);
  }

  detail::SettingsStore store;
  SettingsCheckpointer checkpointer;
  detail::KeyValueObservers observers;
  const pid_t process = ::getpid();
  /// The executor that notifies observers of other processes' changes.
  SerialExecutor& others = *new SerialExecutor;

 private:
  void makeCheckpoint() {
    SettingsPatience none(store.clock(), Nanoseconds(0));
    switch (synchronize(none)) {
      case Outcome::done:
      case Outcome::postponed:
        return;
      case Outcome::busy:
        return checkpoint_->schedule(checkpointDelay);
      case Outcome::failed:
        return checkpoint_->schedule(retryDelay);
    }
  }

  void retry() {
    watch();
    if (store.retry()) retry_->schedule(retryDelay);
  }

  void resolveDamage() {
    SettingsPatience patience(store.clock(), std::chrono::milliseconds(200));
    if (store.resolveDamage(patience)) damage_->schedule(store.isListUnknown() ? 3 * damageDelay : damageDelay);
  }

  void directoryChanged() {
    const auto news = watcher_->takeNews();
    // The checkpoint makes a directory that is gone again, and watches it. The property list may be another link now.
    const bool mayHaveMoved = news.isGone || news.wasClosed;
    const bool isWatched = !mayHaveMoved || watcher_->watch(store.listFile().targetDirectory());
    if (news.isGone && !isWatched) checkpoint_->schedule(checkpointDelay);
    store.directoryChanged(news.wasClosed);
  }

  std::shared_ptr<detail::SettingsWatcher> watcher_;
  std::shared_ptr<detail::DelayedWork> changes_;
  std::shared_ptr<detail::DelayedWork> checkpoint_;
  std::shared_ptr<detail::DelayedWork> retry_;
  std::shared_ptr<detail::DelayedWork> damage_;
};

/// The job that notifies observers of one change of another process. The executor keeps the order.
class JournaledUserDefaults::Delivery final : public Job {
 public:
  Delivery(std::weak_ptr<Object> store, detail::SettingsChange change)
      : Job([](Job& job) noexcept {
          const std::unique_ptr<Delivery> self(static_cast<Delivery*>(&job));
          const auto store = std::static_pointer_cast<JournaledUserDefaults>(self->store_.lock());
          if (store == nullptr) return;
          store->parts_->observers.notify(*store, self->change_.key, self->change_.value, ChangeOrigin::otherProcess);
        }),
        store_(std::move(store)),
        change_(std::move(change)) {}

 private:
  std::weak_ptr<Object> store_;
  detail::SettingsChange change_;
};

JournaledUserDefaults::JournaledUserDefaults(const Options& options)
    : parts_(std::make_unique<Parts>(options, [this](detail::SettingsChange change) {
        parts_->others.enqueue(*new Delivery(weak_from_this(), std::move(change)));
      })) {}

std::shared_ptr<JournaledUserDefaults> JournaledUserDefaults::open(const Options& options) {
  detail::stopIfForkedChild();
  std::shared_ptr<JournaledUserDefaults> store(new JournaledUserDefaults(options));
  store->parts_->start();
  return store;
}

std::shared_ptr<JournaledUserDefaults> JournaledUserDefaults::openIdentifier(std::string_view identifier,
                                                                             Opening opening) {
  return open({.folder = detail::settingsDirectory(identifier).value_or(""), .opening = opening});
}

JournaledUserDefaults::~JournaledUserDefaults() {
  parts_->cancel();
  close();
  parts_->stopWatching();  // Only now: each checkpoint may have begun to watch the directory.
  parts_->others.release();
}

void JournaledUserDefaults::close() noexcept {
  if (!parts_->store.isForUse() || parts_->store.directory().empty() || ::getpid() != parts_->process) return;
  try {
    SettingsPatience patience(parts_->store.clock(), SettingsPatience::maximum);
    if (parts_->checkpointer.run(patience) == Outcome::postponed) parts_->outlastDamage();
  } catch (const std::exception& error) {
    detail::logPlatformError("UserDefaults", error.what());  // The journal has every change.
  }
}

std::optional<PropertyList> JournaledUserDefaults::value(std::string_view forKey) const {
  detail::stopIfForkedChild();
  const detail::SettingsTable& table = parts_->store.table();
  std::optional<PropertyList> found = table.value(forKey);
  if (!found && !Text::isWellFormed(forKey)) [[unlikely]]
    return table.value(Text::sanitized(forKey));
  return found;
}

void JournaledUserDefaults::set(PropertyList value, std::string_view forKey) { change(forKey, std::move(value)); }

void JournaledUserDefaults::removeObject(std::string_view forKey) { change(forKey, std::nullopt); }

void JournaledUserDefaults::setValuesForKeys(KeyedValues keyedValues) {
  detail::stopIfForkedChild();
  keyedValues = withWellFormedKeys(std::move(keyedValues));
  std::vector<detail::SettingsStore::Edit> edits;
  edits.reserve(keyedValues.size());
  for (const auto& [key, value] : keyedValues) edits.push_back({.key = key, .value = &value});
  if (!edits.empty()) parts_->write(*this, edits);
}

void JournaledUserDefaults::change(std::string_view key, const std::optional<PropertyList>& value) {
  detail::stopIfForkedChild();
  if (!Text::isWellFormed(key)) [[unlikely]]
    return change(Text::sanitized(key), value);
  detail::SettingsStore::Edit edit{.key = key, .value = &value};
  parts_->write(*this, std::span(&edit, 1));
}

void JournaledUserDefaults::Parts::write(const Object& owner, std::span<detail::SettingsStore::Edit> edits) {
  const auto written = store.write(edits);
  for (const auto& change : written.changes) {
    observers.notify(owner, change.key, change.value, ChangeOrigin::thisProcess);
  }
  // Locks of files are not fair. Without a pause, processes that write a lot would never let a checkpoint have its
  // turn.
  if (written.isOverdue) std::this_thread::sleep_for(std::chrono::microseconds(100));
}

PropertyList::Dictionary JournaledUserDefaults::dictionaryRepresentation() const {
  detail::stopIfForkedChild();
  return parts_->store.all();
}

void JournaledUserDefaults::addObserver(const std::shared_ptr<KeyValueObserver>& observer, std::string_view forKeyPath,
                                        KeyValueObservingOptions options, void* context) {
  parts_->observers.add(observer, forKeyPath, options, context);
}

void JournaledUserDefaults::removeObserver(const KeyValueObserver& observer, std::string_view forKeyPath) {
  parts_->observers.remove(observer, forKeyPath);
}

void JournaledUserDefaults::addObserverOfEveryKey(const std::shared_ptr<KeyValueObserver>& observer,
                                                  KeyValueObservingOptions options, void* context) {
  parts_->observers.add(observer, std::nullopt, options, context);
}

void JournaledUserDefaults::removeObserverOfEveryKey(const KeyValueObserver& observer) {
  parts_->observers.remove(observer, std::nullopt);
}

void JournaledUserDefaults::publishKeys(std::vector<SettingDescription> keys) {
  detail::stopIfForkedChild();
  const detail::SettingsStore& store = parts_->store;
  if (!store.isForUse() || store.directory().empty()) return;
  if (!store.keysFile().write(keys)) {
    detail::logPlatformError("UserDefaults", "The published keys cannot be written in " + store.directory());
  }
}

std::vector<SettingDescription> JournaledUserDefaults::publishedKeys() const {
  detail::stopIfForkedChild();
  return parts_->store.keysFile().read();
}

bool JournaledUserDefaults::synchronize() {
  detail::stopIfForkedChild();
  if (parts_->store.directory().empty() || !parts_->store.isForUse()) return false;
  SettingsPatience patience(parts_->store.clock(), SettingsPatience::maximum);
  const bool isStored = parts_->store.catchUp(patience).has_value();
  // A checkpoint waits for the disk itself.
  if (isStored && parts_->synchronize(patience) == Outcome::done) return true;
  parts_->store.synchronizeJournal();
  return false;
}

UserDefaultsStatus JournaledUserDefaults::status() const { return parts_->store.incidents().status(); }

std::uint64_t JournaledUserDefaults::revision() const noexcept {
  detail::stopIfForkedChild();
  return parts_->store.table().revision();
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
