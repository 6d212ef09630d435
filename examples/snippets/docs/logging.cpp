// SPDX-License-Identifier: MIT
#include <chrono>
#include <stdexcept>
#include <string>

#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/OSLogStore.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"
#include "Tessaly/SystemServices/ExportService.hpp"

namespace {

using namespace Tessaly;

class Importer {
 public:
  void import(const std::string& file, int rows) {
    logger_.notice("Imported %d rows of %s", rows, file);           // The name is private.
    logger_.debug("The separator is %{public}s", separator_);       // Disabled at first.
    if (rows == 0) warningPublic(logger_, "A table without rows");  // The whole text is public.
    catchError(logger_, "Saving failed", [&] { save(); });          // One record in place of the exception.
  }

 private:
  void save() { throw std::runtime_error("The disk is full"); }

  std::string separator_ = ";";
  Logger logger_ = Logger::make("Import", Type<Importer>());
};

void showRecordsWhileDeveloping(bool isVerbose) {
  LogConfiguration::setStandardErrorOutput(LogSwitch::on);
  LogConfiguration::setPrivateDataShown(LogSwitch::on);
  if (isVerbose) LogConfiguration::setEnabled(OSLogType::debug, LogSwitch::on);
}

std::size_t countErrors() {
  std::size_t count = 0;
  for (const LogEntry& entry :
       OSLogStore::currentProcess().entries(std::chrono::system_clock::now() - std::chrono::hours(1))) {
    if (entry.type == OSLogType::error) ++count;
  }
  return count;
}

Async<void> exportLog(URL file) {
  const Data table = co_await ExportService::Logs::extractLastOneHourLogsToCSVData();
  table.write(file);
}

}  // namespace
