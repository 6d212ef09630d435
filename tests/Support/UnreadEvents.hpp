// SPDX-License-Identifier: MIT
#pragma once

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "Tessaly/Platform/Files/FileManager.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly::Tests {

/// The length of the kernel's queue of file events. 0 if it is unknown.
inline int lengthOfEventQueue() {
  int length = 0;
  std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> length;
  return length;
}

/// While this object exists, the process reads no events of files, unless a test takes changes itself. The kernel keeps
/// the events in its queue.
class UnreadEvents {
 public:
  UnreadEvents() : state_(std::make_shared<State>()) {
    const std::string file = folder_.path() + "/file";
    std::ofstream(file) << "beginning";
    // The events are read where the handlers are called, so a handler that waits keeps them unread.
    source_ = FileManager::default_().makeFileChangeSource(URL::fileURLWithPath(file), [state = state_] {
      state->isUnread = true;
      state->isUnread.notify_all();
      state->isOver.wait(false);
    });
    std::ofstream(file, std::ios::app) << "event";
    state_->isUnread.wait(false);
  }
  UnreadEvents(const UnreadEvents&) = delete;
  UnreadEvents& operator=(const UnreadEvents&) = delete;
  ~UnreadEvents() {
    state_->isOver = true;
    state_->isOver.notify_all();
  }

 private:
  struct State {
    std::atomic<bool> isUnread{false};
    std::atomic<bool> isOver{false};
  };

  const std::shared_ptr<State> state_;
  const TemporaryFolder folder_;
  std::unique_ptr<FileChangeSource> source_;
};

/// Fills the queues of all watchers of the file, so that the kernel drops later events. Throws if a queue of its own
/// did not overflow.
inline void overflowEventQueues(const std::string& path) {
  const int witness = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  const int watch = ::inotify_add_watch(witness, path.c_str(), IN_MODIFY | IN_ATTRIB);
  std::ofstream file(path, std::ios::app);
  // The kernel merges equal consecutive events.
  for (int event = 0; event < lengthOfEventQueue() + 16; event += 2) {
    file << '.' << std::flush;
    ::chmod(path.c_str(), 0600);
  }
  bool hasOverflown = false;
  alignas(inotify_event) char buffer[64 * 1024];
  for (ssize_t size = 0; watch >= 0 && (size = ::read(witness, buffer, sizeof(buffer))) > 0;) {
    for (const char* position = buffer; position < buffer + size;) {
      inotify_event event;
      std::memcpy(&event, position, sizeof(event));
      hasOverflown |= (event.mask & IN_Q_OVERFLOW) != 0;
      position += sizeof(event) + event.len;
    }
  }
  ::close(witness);
  if (!hasOverflown) throw std::runtime_error("The queue of " + path + " did not overflow");
}

}  // namespace Tessaly::Tests
