// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/SettingsCheckpointer.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <new>

#include "Tessaly/Platform/Linux/SettingsFiles.hpp"

namespace Tessaly::inline v1::detail {

SettingsCheckpointer::Outcome SettingsCheckpointer::run(SettingsPatience& patience) {
  const UnfairLock::Guard guard(lock_);
  try {
    for (int attempt = 0;; ++attempt) {
      bool isOutdated = false;
      const Outcome outcome = runOnce(patience, isOutdated);
      if (!isOutdated || attempt == 100) return outcome;
    }
  } catch (const std::bad_alloc&) {
    store_.checkpointFailed({StoreFault::outOfMemory, ENOMEM});
    return Outcome::failed;
  }
}

SettingsCheckpointer::Outcome SettingsCheckpointer::runOnce(SettingsPatience& patience, bool& isOutdated) {
  const auto ended = [&](const StoreProblem& problem) {
    if (problem.fault == StoreFault::lockHeld) return Outcome::busy;
    if (problem.fault == StoreFault::postponed) return Outcome::postponed;
    store_.checkpointFailed(problem);
    return Outcome::failed;
  };
  // Makes the directory if it has vanished.
  if (const auto prepared = store_.prepareCheckpoint(patience); !prepared) return ended(prepared.error());
  const auto directory = store_.files().open(store_.directory(), O_RDONLY | O_DIRECTORY);
  if (!directory) return ended(directory.error());
  if (const auto locked = lock(directory->get(), patience); !locked) return ended(locked.error());
  if (isElsewhere(directory->get())) {
    isOutdated = true;
    return Outcome::busy;
  }
  const auto hadOldJournal = write(directory->get(), patience);
  // The lock of a directory that was moved away does not hold back processes in the directory that replaced it.
  const bool wasOvertaken = !hadOldJournal && hadOldJournal.error().fault == StoreFault::outdated;
  if (wasOvertaken || isElsewhere(directory->get())) {
    isOutdated = true;
    return Outcome::busy;
  }
  if (!hadOldJournal) return ended(hadOldJournal.error());
  // This checkpoint holds only the contents of the old journal. Later changes are still to be written.
  isOutdated = *hadOldJournal;
  store_.checkpointSucceeded();
  return Outcome::done;
}

StoreResult<bool> SettingsCheckpointer::write(int directory, SettingsPatience& patience) {
  const auto beginning = store_.beginCheckpoint(patience);
  if (!beginning) return std::unexpected(beginning.error());
  if (!beginning->isNeeded) {
    const auto synchronized = waitForDisk(beginning->standing);
    if (!synchronized) return std::unexpected(synchronized.error());
    return false;
  }
  removeAbandoned(store_.directory() + "/journal.new-", store_.files());
  auto snapshot = store_.takeSnapshot();
  const auto written = store_.listFile().write(snapshot.values, beginning->format);
  store_.keepSnapshot(std::move(snapshot));
  if (!written) return std::unexpected(written.error());
  auto result = store_.putInPlace(*written, *beginning, patience);
  if (!result) {
    store_.listFile().discard(*written);
    return std::unexpected(result.error());
  }
  // Removes the old journal before the wait for the disk, so that the removal is on the disk afterwards. After a power
  // cut, the old journal may lack its latest records. Its other records would then replace newer values of the list.
  result = store_.removeOldJournal(directory);
  if (result) result = store_.listFile().synchronizeDirectories();
  if (!result) return std::unexpected(result.error());
  synchronized_ = {.list = written->identity, .journal = beginning->standing.journal};
  return beginning->hadOldJournal;
}

StoreResult<> SettingsCheckpointer::waitForDisk(const SettingsStore::Standing& standing) {
  if (synchronized_ == standing) return {};
  // A killed process may have put the list in place without waiting for the disk. Another program may never wait for
  // the disk.
  const auto result = store_.listFile().synchronize();
  if (result) synchronized_ = standing;
  return result;
}

StoreResult<> SettingsCheckpointer::lock(int directory, SettingsPatience& patience) {
  for (;;) {
    const auto locked = store_.files().lock(directory, LockMode::exclusive);
    if (locked || locked.error().fault != StoreFault::lockHeld || !patience.wait()) return locked;
  }
}

bool SettingsCheckpointer::isElsewhere(int directory) {
  const auto locked = store_.files().status(directory);
  const auto current = store_.files().status(store_.directory());
  return locked && (current ? locked->st_ino != current->st_ino || locked->st_dev != current->st_dev
                            : current.error().fault == StoreFault::missing);
}

}  // namespace Tessaly::inline v1::detail
