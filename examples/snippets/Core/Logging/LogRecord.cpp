// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/LogRecord.hpp"

#include <fstream>

#include "Tessaly/Core/Logging/LogBackend.hpp"

namespace Tessaly {

class FileLogBackend final : public LogBackend {
 public:
  void write(const LogRecord& record) noexcept override;

 private:
  std::ofstream lines_;
};

void FileLogBackend::write(const LogRecord& record) noexcept {
  lines_ << record.log.category() << ": " << record.composedMessage() << '\n';
}

}  // namespace Tessaly
