// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Harness.hpp"
#include "Tessaly/Core/Base/detail/Futex.hpp"
#include "Tessaly/Core/Observation/ObservationTracking.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"
#include "peers/SettingsPeers.hpp"

// The names state the guarantee of a finished write. A write of ours survives `kill -9`, reaches other processes of the
// store, and notifies observers. With `synchronize` it also survives a power cut. QSettings guarantees nothing before
// its `sync`. A sync of QSettings, a save of GKeyFile and each write of GSettings write the whole file again, wait for
// the disk and put the file in place. Their result survives a power cut. In GKeyFile and GSettings the concurrent
// writes of another process are lost.

namespace Tessaly::Benchmarks {
namespace {

using SettingsPeers::Sync;

class Folder {
 public:
  Folder() : path_((std::filesystem::temp_directory_path() / "tessaly-bench-XXXXXX").string()) {
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("Cannot make a temporary folder");
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// A store of ours with a number of keys, and its operations.
class Ours final : public SettingsPeers::Store {
 public:
  Ours(const std::string& folder, int keys, Sync sync)
      : store_(JournaledUserDefaults::open({.folder = folder + "/store"})), sync_(sync) {
    for (int i = 0; i < keys; ++i) store_->set(i, SettingsPeers::keyName(i));
    if (keys > 0) store_->synchronize();
  }
  std::int64_t read(const std::string& key) override { return store_->value(key)->number()->integerValue(); }
  void write(const std::string& key, std::int64_t value) override {
    store_->set(value, key);
    if (sync_ == Sync::afterEachWrite && !store_->synchronize()) throw std::runtime_error("Cannot synchronize");
  }
  [[nodiscard]] const std::shared_ptr<JournaledUserDefaults>& store() const { return store_; }

 private:
  std::shared_ptr<JournaledUserDefaults> store_;
  Sync sync_;
};

/// A setting as hosts use it: typed, and observable.
class OurProperty {
 public:
  OurProperty(const std::string& folder, int keys)
      : ours_(folder, keys, Sync::atTheEnd),
        backing_(Default<std::int64_t>::Backing::make({SettingsPeers::keyName(keys / 2), -1}, ours_.store())) {}
  [[nodiscard]] std::int64_t read() const { return backing_->value(); }
  void write(std::int64_t value) { backing_->setValue(value); }

 private:
  Ours ours_;
  std::shared_ptr<Default<std::int64_t>::Backing> backing_;
};

/// A peer with its directory.
struct Held {
  std::shared_ptr<Folder> folder;
  std::shared_ptr<SettingsPeers::Store> store;
};

template <typename Make>
auto reads(int keys, Make make) {
  return [keys, make, held = std::shared_ptr<Held>()]() mutable {
    if (held == nullptr) {
      auto folder = std::make_shared<Folder>();
      auto store = make(folder->path(), keys);
      held = std::make_shared<Held>(Held{std::move(folder), std::move(store)});
    }
    return [store = held->store.get(), key = SettingsPeers::keyName(keys / 2)] { return store->read(key); };
  };
}

template <typename Make>
auto writes(int keys, Make make) {
  return [keys, make, held = std::shared_ptr<Held>(), value = std::make_shared<std::int64_t>(1'000'000)]() mutable {
    if (held == nullptr) {
      auto folder = std::make_shared<Folder>();
      auto store = make(folder->path(), keys);
      held = std::make_shared<Held>(Held{std::move(folder), std::move(store)});
    }
    return [store = held->store.get(), key = SettingsPeers::keyName(keys / 2), value] { store->write(key, ++*value); };
  };
}

auto ours(Sync sync = Sync::atTheEnd) {
  return [sync](const std::string& folder, int keys) -> std::shared_ptr<SettingsPeers::Store> {
    return std::make_shared<Ours>(folder, keys, sync);
  };
}
auto qSettings(Sync sync) {
  return [sync](const std::string& folder, int keys) { return SettingsPeers::qSettings(folder, keys, sync); };
}
auto keyFile(Sync sync) {
  return [sync](const std::string& folder, int keys) { return SettingsPeers::keyFile(folder, keys, sync); };
}
auto gSettings() {
  return [](const std::string& folder, int keys) { return SettingsPeers::gSettings(folder, keys); };
}

constexpr int readsWhileTracking = 1000;

/// Reads a property of ours without tracking, or 1,000 times within one tracking, which a change then ends.
struct Untracked {
  std::int64_t operator()() const { return property->read(); }
  OurProperty* property;
};
struct Tracked {
  std::int64_t operator()() const {
    std::int64_t sum = 0;
    withObservationTracking(
        [&] {
          for (int i = 0; i < readsWhileTracking; ++i) sum += property->read();
        },
        [] {});
    return sum;
  }
  void betweenCalls() const { property->write(++*value); }
  OurProperty* property;
  std::shared_ptr<std::int64_t> value = std::make_shared<std::int64_t>(1'000'000);
};

template <typename Reading>
auto propertyReads(int keys) {
  return [keys, folder = std::make_shared<Folder>(), held = std::shared_ptr<OurProperty>()]() mutable {
    if (held == nullptr) held = std::make_shared<OurProperty>(folder->path(), keys);
    return Reading{held.get()};
  };
}

/// The same number of reads of a peer, in one call.
template <typename Make>
auto readsInBatches(int keys, Make make) {
  return [keys, make, held = std::shared_ptr<Held>()]() mutable {
    if (held == nullptr) {
      auto folder = std::make_shared<Folder>();
      auto store = make(folder->path(), keys);
      held = std::make_shared<Held>(Held{std::move(folder), std::move(store)});
    }
    return [store = held->store.get(), key = SettingsPeers::keyName(keys / 2)] {
      std::int64_t sum = 0;
      for (int i = 0; i < readsWhileTracking; ++i) sum += store->read(key);
      return sum;
    };
  };
}

/// Another program, which runs until its standard input ends.
class Companion {
 public:
  Companion(const char* name, const std::string& folder) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("No pipe");
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
    std::array<char*, 3> arguments{const_cast<char*>(program.c_str()), const_cast<char*>(folder.c_str()), nullptr};
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[0], 0);
    const int error = ::posix_spawn(&child_, program.c_str(), &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(ends[0]);
    input_ = ends[1];
    if (error != 0) throw std::runtime_error("Cannot start " + program);
  }
  ~Companion() {
    ::close(input_);
    ::waitpid(child_, nullptr, 0);
  }
  Companion(const Companion&) = delete;
  Companion& operator=(const Companion&) = delete;

 private:
  pid_t child_ = 0;
  int input_ = -1;
};

/// Another process that answers each "ping" with a "pong" in the same store.
class Echo final : public KeyValueObserver {
 public:
  explicit Echo(const std::string& folder)
      : store_(JournaledUserDefaults::open({.folder = folder})), other_("tessaly_settings_echo", folder) {}
  void observeValue(std::optional<std::string_view>, const Object*, const std::optional<KeyValueChange>&,
                    void*) override {
    answers_.fetch_add(1);
    detail::futexWake(answers_, 1);
  }
  void waitForAnswer(std::uint32_t before) {
    while (answers_.load() == before) detail::futexWait(answers_, before);
  }
  void roundTrip() {
    const std::uint32_t before = answers_.load();
    store_->set(++number_, "ping");
    waitForAnswer(before);
  }
  [[nodiscard]] JournaledUserDefaults& store() { return *store_; }

 private:
  std::shared_ptr<JournaledUserDefaults> store_;
  std::atomic<std::uint32_t> answers_{0};
  std::int64_t number_ = 0;
  Companion other_;
};

auto acrossProcesses() {
  return [held = std::shared_ptr<Echo>(), folder = std::make_shared<Folder>()]() mutable {
    if (held == nullptr) {
      held = std::make_shared<Echo>(folder->path() + "/store");
      held->store().addObserver(held, "ready", KeyValueObservingOptions::newValue, nullptr);
      held->waitForAnswer(0);
      held->store().addObserver(held, "pong", KeyValueObservingOptions::newValue, nullptr);
    }
    return [echo = held.get()] { echo->roundTrip(); };
  };
}

auto acrossProcessesByGSettings() {
  struct Both {
    Folder folder;
    std::shared_ptr<SettingsPeers::Conversation> conversation;
    std::optional<Companion> other;
  };
  return [held = std::shared_ptr<Both>()]() mutable {
    if (held == nullptr) {
      held = std::make_shared<Both>();
      held->conversation = SettingsPeers::gSettingsConversation(held->folder.path());
      held->other.emplace("tessaly_gsettings_echo", held->folder.path());
      held->conversation->waitForTheOther();
    }
    return [conversation = held->conversation.get()] { conversation->roundTrip(); };
  };
}

/// Bytes through a pair of pipes and `cat`: the minimum for a message between two processes.
auto throughPipes() {
  struct Pipes {
    Pipes() {
      std::array<int, 2> to{};
      std::array<int, 2> from{};
      if (::pipe2(to.data(), O_CLOEXEC) != 0 || ::pipe2(from.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("No pipe");
      posix_spawn_file_actions_t actions;
      ::posix_spawn_file_actions_init(&actions);
      ::posix_spawn_file_actions_adddup2(&actions, to[0], 0);
      ::posix_spawn_file_actions_adddup2(&actions, from[1], 1);
      char name[] = "cat";
      std::array<char*, 2> arguments{name, nullptr};
      if (::posix_spawnp(&child, name, &actions, nullptr, arguments.data(), environ) != 0) {
        throw std::runtime_error("Cannot start cat");
      }
      ::posix_spawn_file_actions_destroy(&actions);
      ::close(to[0]);
      ::close(from[1]);
      out = to[1];
      in = from[0];
    }
    ~Pipes() {
      ::close(out);
      ::close(in);
      ::waitpid(child, nullptr, 0);
    }
    pid_t child = 0;
    int out = -1;
    int in = -1;
  };
  return [pipes = std::make_shared<Pipes>()] {
    std::int64_t number = 1;
    if (::write(pipes->out, &number, sizeof(number)) != sizeof(number) ||
        ::read(pipes->in, &number, sizeof(number)) != sizeof(number)) {
      throw std::runtime_error("The pipe is broken");
    }
    return number;
  };
}

/// Opens an existing store and reads one key. Hosts never close their store, so that is not timed.
template <typename Open>
struct Opening {
  std::int64_t operator()() {
    store = open();
    return store->read(key);
  }
  void betweenCalls() { store.reset(); }

  Open open;
  std::string key;
  std::shared_ptr<SettingsPeers::Store> store = {};
};

template <typename Make>
auto opening(int keys, Make make) {
  return [=, folder = std::make_shared<Folder>()] {
    if (std::filesystem::is_empty(folder->path())) make(folder->path(), keys);
    auto open = [=] { return make(folder->path(), 0); };
    return Opening<decltype(open)>{open, SettingsPeers::keyName(keys / 2)};
  };
}

void declareAccess(Facility& facility, int keys) {
  const std::string count = keys == 1 ? "1 key" : std::to_string(keys) + " keys";
  Row& read = facility.row("read, " + count)
                  .ours(reads(keys, ours()))
                  .peer("QSettings", reads(keys, qSettings(Sync::atTheEnd)))
                  .peer("GKeyFile", reads(keys, keyFile(Sync::atTheEnd)))
                  .peer("GSettings, keyfile", reads(keys, gSettings()));
  Row& write = facility.row("write that survives kill -9, " + count)
                   .ours(writes(keys, ours()))
                   .peer("QSettings: survives nothing", writes(keys, qSettings(Sync::atTheEnd)))
                   .peer("QSettings, sync: survives a power cut", writes(keys, qSettings(Sync::afterEachWrite)))
                   .peer("GKeyFile, save: survives a power cut", writes(keys, keyFile(Sync::afterEachWrite)))
                   .peer("GSettings, keyfile: survives a power cut", writes(keys, gSettings()));
  facility.row("write that survives a power cut, " + count)
      .ours(writes(keys, ours(Sync::afterEachWrite)))
      .peer("QSettings, sync", writes(keys, qSettings(Sync::afterEachWrite)))
      .peer("GKeyFile, save", writes(keys, keyFile(Sync::afterEachWrite)))
      .peer("GSettings, keyfile", writes(keys, gSettings()));
  if (keys == 1000) {
    read.bar(50);
    write.bar(10'000);
  }
}

const Facility settings("Settings", [](Facility& facility) {
  for (const int keys : {1, 1000, 100'000}) declareAccess(facility, keys);
  facility.row("read of an observable property, untracked, 1000 keys")
      .ours(propertyReads<Untracked>(1000))
      .peer("QSettings: not observable", reads(1000, qSettings(Sync::atTheEnd)))
      .peer("GSettings, keyfile", reads(1000, gSettings()));
  facility.row("read of an observable property, tracked, 1000 keys", readsWhileTracking)
      .ours(propertyReads<Tracked>(1000))
      .peer("QSettings: not observable", readsInBatches(1000, qSettings(Sync::atTheEnd)))
      .peer("GSettings, keyfile: observed in any case", readsInBatches(1000, gSettings()));
  facility.row("a change to another process's observer and back, twice stored")
      .ours(acrossProcesses())
      .peer("GSettings, keyfile: twice survives a power cut", acrossProcessesByGSettings())
      .peer("pipe and cat: nothing stored", throughPipes());
  facility.row("open a store of 1000 keys, read one")
      .ours(opening(1000, ours()))
      .peer("QSettings", opening(1000, qSettings(Sync::atTheEnd)))
      .peer("GKeyFile", opening(1000, keyFile(Sync::atTheEnd)))
      .peer("GSettings, keyfile", opening(1000, gSettings()));
});

}  // namespace
}  // namespace Tessaly::Benchmarks
