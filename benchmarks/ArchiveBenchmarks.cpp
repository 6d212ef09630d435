// SPDX-License-Identifier: MIT
// An archive of files in memory, beside the command `zip`. Both use the default level of `zip`. The command runs as a
// process, as in an application without a library, and its archive is read and removed. It packs the files in place,
// while `zipFiles` packs copies, as it promises.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Harness.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/FoundationExtensions/NSFileCoordinator+Extensions.hpp"

namespace Tessaly::Benchmarks {
namespace {

/// Files to pack, removed at the end.
class Files {
 public:
  Files() : path_((std::filesystem::temp_directory_path() / "tessaly-bench-XXXXXX").string()) {
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("Cannot make a folder");
  }
  ~Files() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Files(const Files&) = delete;
  Files& operator=(const Files&) = delete;

  void add(const std::string& name, const std::string& contents) {
    std::ofstream(path_ + "/" + name, std::ios::binary) << contents;
    names_.push_back(name);
  }
  [[nodiscard]] std::vector<URL> urls() const {
    std::vector<URL> urls;
    for (const std::string& name : names_) urls.push_back(URL::fileURLWithPath(path_ + "/" + name));
    return urls;
  }
  /// The archive that the command makes of the files.
  [[nodiscard]] Data packedByCommand() const {
    const std::string archive = path_ + "/archive.zip";
    std::vector<std::string> words{"zip", "-6", "-q", "-j", archive};
    for (const std::string& name : names_) words.push_back(path_ + "/" + name);
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t process = 0;
    int status = 0;
    if (::posix_spawnp(&process, "zip", nullptr, nullptr, arguments.data(), environ) != 0 ||
        ::waitpid(process, &status, 0) != process || status != 0) {
      throw std::runtime_error("Cannot run zip");
    }
    const URL url = URL::fileURLWithPath(archive);
    Data data = Data::contentsOf(url);
    ::unlink(archive.c_str());
    return data;
  }

 private:
  std::string path_;
  std::vector<std::string> names_;
};

/// Lines that compress by about two thirds, as tables and logs do.
std::string lines(std::size_t size) {
  static constexpr std::array words{"2023-01-02", "15:04:05", "player", "volume", "track", "started", "stopped", "0.5"};
  std::string text;
  std::uint32_t state = 1;
  while (text.size() < size) {
    state = state * 1'664'525 + 1'013'904'223;
    text += words[state >> 29];
    text += state >> 28 & 1 ? '\n' : ' ';
    text += std::to_string(state >> 12 & 0xFFF);
  }
  text.resize(size);
  return text;
}

void addRow(Facility& facility, const std::string& operation, const std::shared_ptr<Files>& files) {
  facility.row(operation)
      .ours([files] { return syncWait([files] { return zipFiles(NSFileCoordinator(), files->urls()); }); })
      .peer("zip -6, a process", [files] { return files->packedByCommand(); });
}

const Facility archives("Archives", [](Facility& facility) {
  const auto large = std::make_shared<Files>();
  large->add("log", lines(10'000'000));
  addRow(facility, "zipFiles, 10 MB of text", large);
  const auto small = std::make_shared<Files>();
  for (int i = 0; i < 200; ++i) small->add(std::to_string(i) + ".csv", lines(10'000));
  addRow(facility, "zipFiles, 200 files of 10 kB", small);
  const auto one = std::make_shared<Files>();
  one->add("note", "hello");
  addRow(facility, "zipFiles, one note", one);
});

}  // namespace
}  // namespace Tessaly::Benchmarks
