// SPDX-License-Identifier: MIT
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Chapters.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/OSLogStore.hpp"
#include "Tessaly/FoundationExtensions/Error+Extensions.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"
#include "Tessaly/FoundationExtensions/OSLog+Extensions.hpp"
#include "Tessaly/FoundationExtensions/StatusError.hpp"
#include "Tessaly/FoundationExtensions/String+Log.hpp"

namespace Tour {
namespace {

using namespace Tessaly;

constexpr const char* missingFile = "/nowhere/secret-plans.txt";

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {
    if (number < 0) throw POSIXError::last();
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { ::close(number_); }
  [[nodiscard]] int number() const { return number_; }

 private:
  int number_;
};

/// Connects to a port of this machine that is bound but has no listener, so that no other process uses it.
void connectToNobody() {
  const Descriptor bound(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  if (::bind(bound.number(), reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
      ::getsockname(bound.number(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw POSIXError::last();
  }
  const Descriptor caller(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int result = ::connect(caller.number(), reinterpret_cast<const sockaddr*>(&address), size);
  Int32::checkError(result == 0 ? 0 : errno, "Cannot connect to a port of this machine");
}

void openMissingFile() { const Descriptor opened(::open(missingFile, O_RDONLY | O_CLOEXEC)); }

template <typename E, typename Operation>
std::string descriptionOf(Operation operation) {
  try {
    operation();
  } catch (const E& error) {
    return error.description();
  }
  return "no error";
}

void tellOfCalls(Narrator& narrator) {
  const std::string refused = descriptionOf<Int32::StatusError>(connectToNobody);
  const std::string missing = descriptionOf<POSIXError>(openMissingFile);
  narrator.say(text("connect: ", refused));
  narrator.say(text("open:    ", missing));
  narrator.check(refused == text("Status ", ECONNREFUSED, " | Cannot connect to a port of this machine") &&
                     missing == text("Error Domain=NSPOSIXErrorDomain Code=", ENOENT, " \"No such file or directory\""),
                 "Failed system calls are errors with their codes");
}

void fail(const Logger& logger) {
  catchError(logger, "Opening failed", openMissingFile);
  catchError(logger, "Nobody there!", connectToNobody);
  logger.error("Cannot open %s for user %{public}d", missingFile, static_cast<int>(::getuid()));
  noticePublic(logger, String::log("Two calls\n\tfailed,  as they should"));
  logger.debug("Nobody asked for this");
}

void tellOfLog(Narrator& narrator) {
  const auto since = std::chrono::system_clock::now();
  const auto logger = Logger::make("Tour", Type<Narrator>());
  const OSSignposter signposter(OSLog::pointOfInterest("Tour"));
  signposter.withIntervalSignpost("failures", [&] { fail(logger); });

  const std::string subsystem = "org.example.tour.Tour";
  std::vector<LogEntry> entries = OSLogStore::currentProcess().entries(since);
  std::erase_if(entries, [&](const LogEntry& entry) { return entry.subsystem() != subsystem; });
  narrator.say(text("The log store of this process, subsystem ", subsystem, ':'));
  std::vector<std::string> messages;
  std::vector<LogTime> marks;
  for (const LogEntry& entry : entries) {
    if (entry.signpost) {
      marks.push_back(entry.date);
      continue;
    }
    narrator.say(text(entry.type == OSLogType::error ? "  error   " : "  notice  ", entry.composedMessage));
    messages.push_back(entry.composedMessage);
  }
  const std::string place = text(" | Function: fail | File: ", __FILE__);
  narrator.check(
      messages == std::vector<std::string>{"Opening failed. <private>" + place, "Nobody there! <private>" + place,
                                           text("Cannot open <private> for user ", ::getuid()),
                                           "Two calls failed, as they should"},
      "It has those four records, with nothing in them that is private");
  const bool isInterval = marks.size() == 2;
  narrator.check(
      isInterval && marks[0] <= marks[1],
      text("A signpost interval spans them: ",
           isInterval ? std::chrono::duration_cast<std::chrono::microseconds>(marks[1] - marks[0]).count() : 0, " µs"));
}

void tellOfJournal(Narrator& narrator) {
  LogConfiguration::flush(std::chrono::seconds(1));
  const JournalStatus journal = LogConfiguration::journalStatus();
  const bool isThere = std::filesystem::exists("/run/systemd/journal/socket");
  const bool isMissed = journal.state == JournalState::socketMissing || journal.state == JournalState::sandboxed;
  narrator.check(journal.state != JournalState::notTried && isMissed != isThere &&
                     (journal.state != JournalState::sending || journal.sentRecords >= 4),
                 isMissed ? "This machine has no journal, and the log says so"
                          : text("The journal took ", journal.sentRecords, " records"));
}

}  // namespace

void tellOfErrors(Narrator& narrator) {
  tellOfCalls(narrator);
  tellOfLog(narrator);
  tellOfJournal(narrator);
}

}  // namespace Tour
