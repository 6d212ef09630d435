// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"

#include <fmt/format.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <ostream>

namespace Tessaly::inline v1 {
namespace {

constinit std::atomic<const ProcessInfo*> replacementInfo{nullptr};

std::string_view lastComponent(std::string_view path) { return path.substr(path.rfind('/') + 1); }

/// The value of an assignment in a file of shell assignments, without quotes and with resolved escapes.
std::string unquoted(std::string_view value) {
  std::string result;
  char quote = 0;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const char character = value[i];
    if (quote == 0 && (character == '"' || character == '\'')) {
      quote = character;
    } else if (character == quote) {
      quote = 0;
    } else if (character == '\\' && quote != '\'' && i + 1 < value.size()) {
      result.push_back(value[++i]);
    } else {
      result.push_back(character);
    }
  }
  return result;
}

OperatingSystemVersion readOperatingSystemVersion(const std::string& rootFolder) {
  for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
    std::ifstream file(rootFolder + path);
    if (!file) continue;
    constexpr std::string_view assignment = "VERSION_ID=";
    std::string version;
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with(assignment)) version = unquoted(std::string_view(line).substr(assignment.size()));
    }
    return OperatingSystemVersion::from(version);
  }
  return {};
}

}  // namespace

OperatingSystemVersion OperatingSystemVersion::from(std::string_view text) noexcept {
  OperatingSystemVersion version;
  const char* at = text.data();
  const char* const end = at + text.size();
  for (std::int64_t* part : {&version.major, &version.minor, &version.patch}) {
    std::uint32_t number = 0;
    const auto [next, error] = std::from_chars(at, end, number);
    if (error != std::errc()) break;
    *part = number;
    if (next == end || *next != '.') break;
    at = next + 1;
  }
  return version;
}

std::string OperatingSystemVersion::description() const { return fmt::format("{}.{}.{}", major, minor, patch); }

std::ostream& operator<<(std::ostream& stream, const OperatingSystemVersion& version) {
  return stream << version.description();
}

const ProcessInfo& ProcessInfo::processInfo() noexcept {
  if (const auto* replacement = replacementInfo.load(std::memory_order_acquire)) return *replacement;
  static const ProcessInfo& own = *new ProcessInfo(Overrides{});
  return own;
}

ProcessInfo::ProcessInfo(Overrides overrides)
    : overrides_(std::move(overrides)),
      operatingSystemVersion_(overrides_.operatingSystemVersion ? *overrides_.operatingSystemVersion
                                                                : readOperatingSystemVersion(overrides_.rootFolder)) {}

ProcessInfo::Replacement::Replacement(const ProcessInfo& replacement) noexcept
    : previous_(replacementInfo.exchange(&replacement, std::memory_order_acq_rel)) {}

ProcessInfo::Replacement::~Replacement() { replacementInfo.store(previous_, std::memory_order_release); }

std::map<std::string, std::string> ProcessInfo::environment() const {
  if (overrides_.environment) return *overrides_.environment;
  std::map<std::string, std::string> variables;
  for (char** entry = ::environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) continue;
    variables.try_emplace(std::string(text.substr(0, equals)), text.substr(equals + 1));
  }
  return variables;
}

std::optional<std::string> ProcessInfo::environmentValue(const std::string& name) const {
  if (overrides_.environment) {
    const auto found = overrides_.environment->find(name);
    if (found == overrides_.environment->end()) return std::nullopt;
    return found->second;
  }
  const char* value = ::getenv(name.c_str());
  if (value == nullptr) return std::nullopt;
  return value;
}

std::vector<std::string> ProcessInfo::arguments() const {
  std::ifstream file("/proc/self/cmdline", std::ios::binary);
  std::vector<std::string> arguments;
  for (std::string argument; std::getline(file, argument, '\0');) arguments.push_back(argument);
  return arguments;
}

std::string ProcessInfo::executablePath() const {
  constexpr const char* link = "/proc/self/exe";
  std::string path(256, '\0');
  for (;;) {
    const ssize_t length = ::readlink(link, path.data(), path.size());
    if (length < 0) return {};
    if (static_cast<std::size_t>(length) < path.size()) {
      path.resize(static_cast<std::size_t>(length));
      break;
    }
    path.resize(path.size() * 2);
  }
  // The kernel adds this text if the file was removed or replaced, for example by an update.
  constexpr std::string_view deleted = " (deleted)";
  struct stat status{};
  if (path.ends_with(deleted) && ::stat(link, &status) == 0 && status.st_nlink == 0) {
    path.resize(path.size() - deleted.size());
  }
  return path;
}

std::string ProcessInfo::processName() const {
  const std::string path = executablePath();
  return std::string(lastComponent(path.empty() ? std::string_view(::program_invocation_name) : path));
}

std::int32_t ProcessInfo::processIdentifier() const noexcept { return ::getpid(); }

double ProcessInfo::systemUptime() const noexcept {
  timespec time{};
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

std::int64_t ProcessInfo::activeProcessorCount() const noexcept {
  // A fixed set has room for 1,024 processors. On larger machines the kernel refuses it.
  cpu_set_t processors;
  if (::sched_getaffinity(0, sizeof processors, &processors) == 0) return CPU_COUNT(&processors);
  const long online = ::sysconf(_SC_NPROCESSORS_ONLN);
  return online > 0 ? online : 1;
}

std::uint64_t ProcessInfo::physicalMemory() const noexcept {
  const long pages = ::sysconf(_SC_PHYS_PAGES);
  const long pageSize = ::sysconf(_SC_PAGESIZE);
  return pages > 0 && pageSize > 0 ? static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize) : 0;
}

std::string ProcessInfo::hostName() const {
  std::array<char, 65> name{};  // Linux allows 64 characters.
  return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "localhost";
}

OperatingSystemVersion ProcessInfo::operatingSystemVersion() const noexcept { return operatingSystemVersion_; }

}  // namespace Tessaly::inline v1
