// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Network/NWPath.hpp"

namespace Tessaly::inline v1 {

std::string_view description(NWPath::Status status) noexcept {
  switch (status) {
    case NWPath::Status::satisfied:
      return "satisfied";
    case NWPath::Status::unsatisfied:
      return "unsatisfied";
    case NWPath::Status::requiresConnection:
      return "requiresConnection";
    case NWPath::Status::unknown:
      return "unknown";
  }
  return "other";
}

std::string_view description(NWPath::StatusSource source) noexcept {
  switch (source) {
    case NWPath::StatusSource::kernel:
      return "kernel";
    case NWPath::StatusSource::refused:
      return "refused";
    case NWPath::StatusSource::scripted:
      return "scripted";
    case NWPath::StatusSource::portal:
      return "portal";
  }
  return "other";
}

std::string_view description(NWPath::ExpenseSource source) noexcept {
  switch (source) {
    case NWPath::ExpenseSource::networkManager:
      return "networkManager";
    case NWPath::ExpenseSource::asking:
      return "asking";
    case NWPath::ExpenseSource::noBus:
      return "noBus";
    case NWPath::ExpenseSource::notRunning:
      return "notRunning";
    case NWPath::ExpenseSource::noAnswer:
      return "noAnswer";
    case NWPath::ExpenseSource::wrongAnswer:
      return "wrongAnswer";
    case NWPath::ExpenseSource::scripted:
      return "scripted";
    case NWPath::ExpenseSource::portal:
      return "portal";
  }
  return "other";
}

std::ostream& operator<<(std::ostream& stream, const NWPath& path) {
  return stream << description(path.status()) << " (" << description(path.statusSource()) << "), "
                << (path.isExpensive() ? "expensive" : "not expensive") << " (" << description(path.expenseSource())
                << ")";
}

}  // namespace Tessaly::inline v1
