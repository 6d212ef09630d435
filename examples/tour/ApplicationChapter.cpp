// SPDX-License-Identifier: MIT
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <string>

#include "Chapters.hpp"
#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Foundation/Date.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Foundation/UUID.hpp"
#include "Tessaly/FoundationExtensions/Optional+Extensions.hpp"

namespace Tour {
namespace {

using namespace Tessaly;

struct NoBootIdentifier : Error {};

std::string firstLine(const char* path) {
  std::string line;
  std::ifstream file(path);
  std::getline(file, line);
  return line;
}

/// "12" in a line VERSION_ID="12".
std::string versionIdentifier() {
  std::ifstream file("/etc/os-release");
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with("VERSION_ID=")) continue;
    std::string version = line.substr(line.find('=') + 1);
    std::erase(version, '"');
    return version;
  }
  return "";
}

void tellOfTheBundle(Narrator& narrator) {
  const Bundle& bundle = Bundle::main();
  std::string languages;
  for (const std::string& language : bundle.localizations()) languages += (languages.empty() ? "" : ", ") + language;
  narrator.say(text(Optional::optionalDescription(bundle.bundleIdentifier()), ' ',
                    Optional::optionalDescription(bundle.shortVersionString()), " (",
                    Optional::optionalDescription(bundle.buildVersion()), ") speaks ", languages, "; here ",
                    bundle.preferredLocalizations().front()));
  narrator.check(bundle.bundleIdentifier() == "org.example.tour" && bundle.shortVersionString() == TOUR_VERSION &&
                     bundle.buildVersion() == "1" && languages == "en, de, fr" &&
                     bundle.infoValue("NSHumanReadableCopyright") == "MIT",
                 "The executable carries what the build put into it");
}

void tellOfTheProcess(Narrator& narrator) {
  const ProcessInfo& process = ProcessInfo::processInfo();
  narrator.say(text("Process ", process.processIdentifier(), " (", process.processName(), ") on ", process.hostName(),
                    ", system ", process.operatingSystemVersion().description(), ", ", process.activeProcessorCount(),
                    " processors, ", gigabytes(process.physicalMemory()), " of memory"));
  char host[256] = {};
  ::gethostname(host, sizeof(host) - 1);
  cpu_set_t processors;
  ::sched_getaffinity(0, sizeof(processors), &processors);
  const auto pageSize = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
  const auto pages = static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES));
  narrator.check(process.processIdentifier() == ::getpid() && process.hostName() == host &&
                     process.activeProcessorCount() == CPU_COUNT(&processors) &&
                     process.physicalMemory() == pageSize * pages,
                 "The kernel says the same");
  const std::string executable = std::filesystem::read_symlink("/proc/self/exe");
  narrator.check(process.executablePath() == executable && Bundle::main().executableURL().path() == executable &&
                     process.processName() == std::filesystem::path(executable).filename(),
                 "The executable is the file that was started");
  narrator.check(OperatingSystemVersion::from(versionIdentifier()) == process.operatingSystemVersion(),
                 text("The system's version is that of its release file, ", versionIdentifier()));
}

void tellOfValues(Narrator& narrator) {
  std::string written = firstLine("/proc/sys/kernel/random/boot_id");
  const UUID boot = Optional::unwrapOrThrow(UUID::from(written), [] { return NoBootIdentifier(); });
  for (char& character : written) character = static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
  struct stat status{};
  ::stat("/proc/self/exe", &status);
  const Date built = Date::since1970(static_cast<double>(status.st_mtim.tv_sec));
  narrator.say(text("Boot ", boot, ", built ", built));
  narrator.check(boot.uuidString() == written && boot != UUID::random() && built < Date::now() &&
                     built.timePoint() == std::chrono::system_clock::from_time_t(status.st_mtim.tv_sec),
                 "The kernel's identifier and the file's date read back as they were");
}

}  // namespace

void tellOfTheApplication(Narrator& narrator) {
  tellOfTheBundle(narrator);
  tellOfTheProcess(narrator);
  tellOfValues(narrator);
}

}  // namespace Tour
