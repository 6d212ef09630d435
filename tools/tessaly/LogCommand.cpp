// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <poll.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Command.hpp"
#include "Interruption.hpp"
#include "JSON.hpp"
#include "Options.hpp"
#include "Tessaly/Core/Base/detail/Escaped.hpp"
#include "Tessaly/Core/Foundation/Date.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"
#include "Tessaly/FoundationExtensions/String+Log.hpp"
#include "Tessaly/SystemServices/ExportService.hpp"
#include "Times.hpp"

namespace TessalyTool {
namespace {

using Tessaly::Date;

constexpr std::string_view help = R"(Usage: tessaly log <identifier> [--follow] [--csv | --json] [--last <seconds>]

Prints records that this user's applications have written to the journal, oldest first. It selects the records whose
subsystem begins with the identifier. From the processes that wrote them it also selects the records of the library
itself, with the subsystem "Tessaly". A record is a line: time, level, subsystem, category in brackets, and the message,
in which spaces replace line breaks and other control characters are escaped.

  --follow           also print later records, until interrupted
  --csv              print rows of the same five columns for spreadsheets (RFC 4180), with unchanged messages
  --json             print a line of JSON for each record: {"time":...,"level":...,"subsystem":...,"category":...,
                     "message":...}, with the time as in "2023-01-02T15:04:05Z"
  --last <seconds>   print only the records of the last seconds

Exit codes: 0 done or interrupted, 1 failed (there is no journal, for example), 2 wrong usage.
)";

struct Request {
  std::string identifier;
  bool follows = false;
  enum class Form : std::uint8_t { lines, table, json } form = Form::lines;
  std::optional<double> lastSeconds;
};

struct Record {
  Date date = Date::sinceReferenceDate(0);
  std::string_view level;
  std::string subsystem;
  std::string category;
  std::string message;
};

int checked(int status, const char* what) {
  if (status < 0) throw CommandError(std::string(what) + ": " + std::strerror(-status));
  return status;
}

std::string_view levelOf(std::string_view priority) {
  if (priority == "7") return "debug";
  if (priority == "6") return "info";
  if (priority == "5") return "notice";
  return priority == "2" ? "fault" : "error";
}

/// The journal of this machine, opened for the records of this user.
class Journal {
 public:
  Journal() {
    sd_journal* journal = nullptr;
    checked(::sd_journal_open(&journal, SD_JOURNAL_LOCAL_ONLY), "Cannot open the journal");
    journal_.reset(journal);
    if (::sd_journal_has_runtime_files(journal) <= 0 && ::sd_journal_has_persistent_files(journal) <= 0) {
      throw CommandError("There is no journal that this user may read");
    }
    matchUser();
  }

  /// Moves to the first record at or after this time.
  void seek(std::uint64_t microseconds) {
    checked(::sd_journal_seek_realtime_usec(journal_.get(), microseconds), "Cannot look for that time");
  }

  /// Reads which processes have written records of the identifier until now. `next` then returns the records of the
  /// library in these processes, too.
  void readProcesses(std::string_view identifier) {
    matchSubsystems(identifier);
    while (checked(::sd_journal_next(journal_.get()), "Cannot read the journal") > 0) processes_.insert(process());
    checked(::sd_journal_seek_head(journal_.get()), "Cannot read the journal");
    ::sd_journal_flush_matches(journal_.get());
    matchUser();
  }

  /// Limits the records to the library's own ones, and to the identifier's subsystems that the journal has now. This is
  /// much faster than reading and comparing all records.
  void matchSubsystemsAndLibrary(std::string_view identifier) {
    matchSubsystems(identifier);
    match(std::string(subsystemField) + "=" + std::string(library));
  }

  /// The next record of the identifier, or of the library in one of its processes.
  std::optional<Record> next(std::string_view identifier) {
    while (checked(::sd_journal_next(journal_.get()), "Cannot read the journal") > 0) {
      std::string subsystem = field(subsystemField);
      if (subsystem.empty()) continue;
      if (subsystem.starts_with(identifier)) {
        processes_.insert(process());
      } else if (subsystem != library || !processes_.contains(process())) {
        continue;
      }
      return Record{.date = date(),
                    .level = levelOf(field("PRIORITY")),
                    .subsystem = std::move(subsystem),
                    .category = field("TESSALY_CATEGORY"),
                    .message = field("MESSAGE")};
    }
    return std::nullopt;
  }

  /// Waits for more records. Returns false if the command is interrupted.
  bool waitForMore(const Interruption& interruption) {
    const int descriptor = checked(::sd_journal_get_fd(journal_.get()), "Cannot follow the journal");
    constexpr int lookAgain = 250;
    pollfd descriptors[]{{.fd = interruption.fileDescriptor(), .events = POLLIN, .revents = 0},
                         {.fd = descriptor, .events = POLLIN, .revents = 0}};
    // Journals that another machine writes send no notification.
    ::poll(descriptors, 2, ::sd_journal_reliable_fd(journal_.get()) > 0 ? -1 : lookAgain);
    if (descriptors[0].revents != 0) return false;
    checked(::sd_journal_process(journal_.get()), "Cannot follow the journal");
    return true;
  }

  /// Makes the journal notify this process of later records.
  void beginFollowing() { checked(::sd_journal_get_fd(journal_.get()), "Cannot follow the journal"); }

 private:
  struct Close {
    void operator()(sd_journal* journal) const noexcept { ::sd_journal_close(journal); }
  };

  static constexpr const char* subsystemField = "TESSALY_SUBSYSTEM";
  static constexpr std::string_view library = "Tessaly";  // Until the library knows the identifier of its host.

  void matchUser() { match("_UID=" + std::to_string(::getuid())); }

  void matchSubsystems(std::string_view identifier) {
    checked(::sd_journal_query_unique(journal_.get(), subsystemField), "Cannot list the subsystems");
    const void* data = nullptr;
    std::size_t length = 0;
    std::vector<std::string> subsystems;
    while (::sd_journal_enumerate_available_unique(journal_.get(), &data, &length) > 0) {
      subsystems.emplace_back(static_cast<const char*>(data), length);
    }
    const std::string wanted = std::string(subsystemField) + "=" + std::string(identifier);
    std::erase_if(subsystems, [&](const std::string& subsystem) { return !subsystem.starts_with(wanted); });
    // Without any match the journal returns every record.
    if (subsystems.empty()) match(wanted);
    for (const std::string& subsystem : subsystems) match(subsystem);
  }

  void match(const std::string& condition) {
    checked(::sd_journal_add_match(journal_.get(), condition.data(), condition.size()), "Cannot search the journal");
  }

  std::string field(const char* name) {
    const void* data = nullptr;
    std::size_t length = 0;
    if (::sd_journal_get_data(journal_.get(), name, &data, &length) < 0) return {};
    return std::string(static_cast<const char*>(data), length).substr(std::strlen(name) + 1);
  }

  Date date() {
    // The time of the record, or the time of its arrival if the record has none.
    const std::string written = field("TESSALY_TIME");
    std::int64_t nanoseconds = 0;
    if (std::from_chars(written.data(), written.data() + written.size(), nanoseconds).ec == std::errc()) {
      return Date::since1970(static_cast<double>(nanoseconds) / 1e9);
    }
    std::uint64_t microseconds = 0;
    checked(::sd_journal_get_realtime_usec(journal_.get(), &microseconds), "Cannot read the journal");
    return Date::since1970(static_cast<double>(microseconds) / 1e6);
  }

  /// The process that wrote the record, in its run of the system.
  std::string process() { return field("_BOOT_ID") + "/" + field("_PID"); }

  std::unique_ptr<sd_journal, Close> journal_;
  std::set<std::string> processes_;
};

void print(const Record& record, Request::Form form) {
  const std::string time = timeText(record.date);
  if (form == Request::Form::json) {
    std::cout << JSONObject()
                     .add("time", Tessaly::FormattingService::Date::iso8601(record.date))
                     .add("level", record.level)
                     .add("subsystem", record.subsystem)
                     .add("category", record.category)
                     .add("message", record.message)
                     .text()
              << '\n';
    return;
  }
  if (form == Request::Form::table) {
    const auto row = Tessaly::ExportService::rfc4180CSV(
        {{time, std::string(record.level), record.subsystem, record.category, record.message}});
    std::cout.write(row.text().data(), static_cast<std::streamsize>(row.size()));
    return;
  }
  std::cout << time << ' ' << record.level << ' ' << record.subsystem << " [" << record.category << "] "
            << Tessaly::detail::terminalText(record.message.find('\n') == std::string::npos
                                                 ? record.message
                                                 : Tessaly::String::log(record.message))
            << '\n';
}

Request parsed(Arguments arguments) {
  Request request;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view word = arguments[i];
    if (word == "--follow") {
      request.follows = true;
    } else if (word == "--csv") {
      request.form = Request::Form::table;
    } else if (word == "--last") {
      if (++i == arguments.size()) throw UsageError("--last wants a number of seconds");
      double seconds = 0;
      const auto [end, error] = std::from_chars(arguments[i].begin(), arguments[i].end(), seconds);
      if (error != std::errc() || end != arguments[i].end() || !(seconds >= 0)) {
        throw UsageError("\"" + std::string(arguments[i]) + "\" is no number of seconds");
      }
      request.lastSeconds = seconds;
    } else if (word == "--json") {
      request.form = Request::Form::json;
    } else if (word.starts_with('-')) {
      throw unknownOption(word);
    } else if (!request.identifier.empty()) {
      throw UsageError("\"" + std::string(word) + "\" is too much");
    } else {
      request.identifier = word;
    }
  }
  if (request.identifier.empty()) throw UsageError("An identifier is missing");
  return request;
}

ExitCode run(Arguments arguments) {
  const Request request = parsed(arguments);
  std::optional<Interruption> interruption;
  if (request.follows) interruption.emplace();
  Journal journal;
  if (request.follows) journal.beginFollowing();
  journal.readProcesses(request.identifier);
  if (!request.follows) {
    journal.matchSubsystemsAndLibrary(request.identifier);
  }
  const double since =
      request.lastSeconds ? Date::now().timeIntervalSince1970() - *request.lastSeconds : -1;  // -1 means all records.
  if (since > 0) journal.seek(static_cast<std::uint64_t>(since * 1e6));
  do {
    while (const auto record = journal.next(request.identifier)) {
      // A record may have reached the journal long after it was written.
      if (record->date.timeIntervalSince1970() >= since) print(*record, request.form);
      if (!std::cout) break;
    }
    flushOutput();
  } while (request.follows && journal.waitForMore(*interruption));
  return success;
}

}  // namespace

const Command logCommand{
    .name = "log", .summary = "print the records of applications in the journal", .help = help, .run = run};

}  // namespace TessalyTool
