// SPDX-License-Identifier: MIT
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Chapters.hpp"
#include "Commands.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/SettingsAndObservation/Default.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"

namespace {

enum class Theme { light, dark };

}  // namespace

template <>
inline constexpr auto Tessaly::rawValues<Theme> =
    Tessaly::textRawValues<Theme>({{Theme::light, "light"}, {Theme::dark, "dark"}});

namespace Tour {
namespace {

using namespace Tessaly;
using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

constexpr const char* identifier = "org.example.tour";

/// A directory for the settings of the tour, so that it neither reads nor changes those of the user. It is removed at
/// the end of the process, after the store was closed.
class SettingsFolder {
 public:
  SettingsFolder() {
    std::string name = std::filesystem::temp_directory_path() / "tessaly-tour-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) throw POSIXError::last();
    path() = name;
    ::setenv("XDG_CONFIG_HOME", name.c_str(), 1);
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(path(), ignored);
    });
  }

  [[nodiscard]] std::string file() const { return path() / identifier / "Settings.plist"; }

 private:
  static std::filesystem::path& path() {
    static auto& shared = *new std::filesystem::path;
    return shared;
  }
};

struct Change {
  std::int64_t volume;
  ChangeOrigin origin;
  SteadyClock::time_point arrival;
};

/// The changes of the volume, each with its time. Ends by itself if no change arrives within 10 s.
class Follower {
 public:
  explicit Follower(const Default<std::int64_t>::Key& key)
      : observer_(Default<std::int64_t>::observe(
            key, [continuation = changes_.continuation](std::int64_t volume, ChangeOrigin origin) {
              continuation.yield({volume, origin, SteadyClock::now()});
            })) {}

  Async<std::optional<Change>> next() {
    const Task<void> limit([continuation = changes_.continuation]() -> Async<void> {
      co_await Task<>::sleep(10s);
      continuation.finish();
    });
    auto change = co_await iterator_.next();
    limit.cancel();
    co_return change;
  }

 private:
  AsyncStream<Change>::StreamAndContinuation changes_ = AsyncStream<Change>::makeStream();
  AsyncStream<Change>::AsyncIterator iterator_ = changes_.stream.makeAsyncIterator();
  std::shared_ptr<Default<std::int64_t>::ValueObserver> observer_;
};

std::string milliseconds(SteadyClock::duration duration) {
  return text(std::chrono::duration_cast<std::chrono::milliseconds>(duration).count(), " ms");
}

void writeEveryKind(Narrator& narrator, const SettingsFolder& folder) {
  Default<bool>::setValue({"shows-hidden-files", false}, true);
  Default<double>::setValue({"zoom", 1.0}, 1.25);
  Default<std::string>::setValue({"title", ""}, "Große Übersicht");
  Default<Theme>::setValue({"theme", Theme::light}, Theme::dark);
  Default<URL>::setValue({"home", *URL::from("/")}, URL::fileURLWithPath("/tmp/a b.txt"));
  Default<Date>::setValue({"last-run", Date::sinceReferenceDate(0)}, Date::sinceReferenceDate(86'400));
  Default<Data>::setValue({"token", Data()}, Data(std::string_view("\0\1\xff", 3)));
  Default<std::vector<std::int64_t>>::setValue({"sizes", {}}, {1, 2, 3});
  Default<std::map<std::string, bool>>::setValue({"panels", {}}, {{"left", true}, {"right", false}});
  Default<std::optional<std::int64_t>>::setValue("page", 7);
  Default<std::optional<std::int64_t>>::setValue("page", std::nullopt);
  const bool isSafe = UserDefaults::standard()->synchronize();

  const CommandResult zoom = runCommand({TOUR_TOOL, "defaults", "read", identifier, "zoom"});
  const CommandResult page = runCommand({TOUR_TOOL, "defaults", "read", identifier, "page"});
  narrator.check(isSafe && zoom.status == 0 && zoom.output == "1.25" && page.status == 1,
                 "A second process reads what was stored, and does not find what was removed");
  const CommandResult python = runCommand(
      {"python3", "-c",
       "import datetime, plistlib, sys\n"
       "read = plistlib.load(open(sys.argv[1], 'rb'))\n"
       "wanted = {'shows-hidden-files': True, 'zoom': 1.25, 'title': 'Große Übersicht', 'theme': 'dark',\n"
       "          'home': '/tmp/a b.txt', 'last-run': datetime.datetime(2001, 1, 2), 'token': bytes([0, 1, 255]),\n"
       "          'sizes': [1, 2, 3], 'panels': {'left': True, 'right': False}}\n"
       "sys.exit(0 if {key: read.get(key) for key in wanted} == wanted and 'page' not in read else 1)",
       folder.file()});
  narrator.check(python.status == 0, "Python's plistlib reads the same nine values from the property list");
}

Async<void> follow(Narrator& narrator, const SettingsFolder& folder) {
  constexpr Default<std::int64_t>::Key volumeKey{"volume", 50};
  Follower follower(volumeKey);
  Default<std::int64_t> volume(volumeKey);

  volume.setValue(60);
  const auto own = co_await follower.next();
  narrator.check(own && own->volume == 60 && own->origin == ChangeOrigin::thisProcess,
                 "A change of this process's own arrives while it is made");

  std::vector<std::int64_t> redrawn;
  const ObservationToken token =
      withContinuousObservation([&] { return volume.value(); }, [&](std::int64_t value) { redrawn.push_back(value); });

  auto start = SteadyClock::now();
  const CommandResult written = runCommand({TOUR_TOOL, "defaults", "write", identifier, "volume", "-int", "70"});
  const auto other = co_await follower.next();
  narrator.check(written.status == 0 && other && other->volume == 70 && other->origin == ChangeOrigin::otherProcess,
                 text("`tessaly defaults write` changes it: ", other ? milliseconds(other->arrival - start) : "never",
                      " from its start until it was heard here"));

  start = SteadyClock::now();
  const CommandResult python = runCommand({"python3", "-c",
                                           "import os, plistlib, sys\n"
                                           "path = sys.argv[1]\n"
                                           "values = plistlib.load(open(path, 'rb'))\n"
                                           "values['volume'] = 80\n"
                                           "with open(path + '.tmp', 'wb') as file: plistlib.dump(values, file)\n"
                                           "os.rename(path + '.tmp', path)",
                                           folder.file()});
  const auto foreign = co_await follower.next();
  narrator.check(
      python.status == 0 && foreign && foreign->volume == 80 && foreign->origin == ChangeOrigin::otherProcess,
      text("A Python program that replaces the property list does so, too: ",
           foreign ? milliseconds(foreign->arrival - start) : "never", " from its start"));

  const auto deadline = SteadyClock::now() + 10s;
  while (redrawn.back() != 80 && SteadyClock::now() < deadline) co_await Task<>::sleep(1ms);
  narrator.check(redrawn.front() == 60 && redrawn.back() == 80,
                 text("An observation that reads the property has followed it in ", redrawn.size(), " passes"));
}

}  // namespace

void tellOfSettings(Narrator& narrator) {
  const SettingsFolder folder;
  writeEveryKind(narrator, folder);
  syncWait(follow(narrator, folder));
}

}  // namespace Tour
