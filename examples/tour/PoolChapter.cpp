// SPDX-License-Identifier: MIT
#include <algorithm>
#include <atomic>
#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

#include "Chapters.hpp"
#include "Files.hpp"
#include "Tessaly/Concurrency/Mutex.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"

namespace Tour {
namespace {

using namespace Tessaly;
using FileList = std::vector<File>;

constexpr std::uint64_t sampleSize = 32'000'000;

struct Totals {
  std::uint64_t bytes = 0;
  std::size_t files = 0;
  std::vector<Digest> digests;
};

/// Reports the number of finished files, and counts the reports. Its destructor ends the stream in every case.
class Reporter {
 public:
  explicit Reporter(AsyncStream<std::size_t>::Continuation reports) : reports_(std::move(reports)) {}
  Reporter(const Reporter&) = delete;
  Reporter& operator=(const Reporter&) = delete;
  ~Reporter() { reports_.finish(); }

  void report(std::size_t done) {
    ++made_;
    if (reports_.yield(done).kind == YieldResultKind::dropped) ++superseded_;
  }
  [[nodiscard]] std::size_t made() const { return made_; }
  [[nodiscard]] std::size_t superseded() const { return superseded_; }

 private:
  AsyncStream<std::size_t>::Continuation reports_;
  std::atomic<std::size_t> made_{0};
  std::atomic<std::size_t> superseded_{0};
};

/// Walks the directory, with one child task for each directory in it. Walking blocks, so it runs outside the pool.
Async<FileList> list(std::filesystem::path root) {
  co_return co_await withTaskGroup<FileList>([root](TaskGroup<FileList>& group) -> Async<FileList> {
    FileList files;
    const std::filesystem::directory_iterator entries(root);
    for (const auto& entry : entries) {
      if (entry.symlink_status().type() == std::filesystem::file_type::directory) {
        group.addTask([folder = entry.path()] { return runBlocking([folder] { return filesBelow(folder); }); });
      } else if (entry.symlink_status().type() == std::filesystem::file_type::regular) {
        files.push_back({entry.path(), entry.file_size()});
      }
    }
    while (auto found = co_await group.next()) std::ranges::move(*found, std::back_inserter(files));
    std::ranges::sort(files, {}, &File::path);
    co_return files;
  });
}

/// The outcome of the work, besides the totals.
struct Told {
  std::size_t reports;
  std::size_t superseded;
};

/// Reads each file on a thread that may block, digests it on the pool, and reports the number of finished files.
Async<void> digestBatch(std::span<const File> batch, std::size_t first, Mutex<Totals>* totals, Reporter* reporter) {
  for (const File& file : batch) {
    const Data content =
        co_await runBlocking([&file] { return Data::contentsOf(URL::fileURLWithPath(file.path.native())); });
    const Digest digest = sha256(content.bytes());
    reporter->report(totals->withLock([&](Totals& guarded) {
      guarded.bytes += content.size();
      guarded.digests[first++] = digest;
      return ++guarded.files;
    }));
  }
}

/// Digests all files, a batch in each child task, with a few tasks at a time.
Async<Told> digestAll(std::span<const File> files, Mutex<Totals>* totals,
                      AsyncStream<std::size_t>::Continuation reports) {
  constexpr std::size_t batchSize = 32;
  const auto width = static_cast<std::size_t>(2 * ProcessInfo::processInfo().activeProcessorCount());
  Reporter reporter(std::move(reports));
  co_await withTaskGroup([&](TaskGroup<>& group) -> Async<void> {
    for (std::size_t first = 0, running = 0; first < files.size(); first += batchSize, ++running) {
      if (running >= width) co_await group.next();
      const auto batch = files.subspan(first, std::min(batchSize, files.size() - first));
      group.addTask([=, &reporter] { return digestBatch(batch, first, totals, &reporter); });
    }
    co_await group.waitForAll();
  });
  reporter.report(files.size());
  co_return Told{reporter.made(), reporter.superseded()};
}

Async<void> tell(Narrator& narrator) {
  const std::filesystem::path root = systemFolder();
  const FileList files = co_await list(root);
  const std::span<const File> sample = firstBytes(files, sampleSize);
  narrator.say(text(grouped(files.size()), " files with ", megabytes(totalSize(files)), " below ", root.native(),
                    "; the first ", grouped(sample.size()), " of them through SHA-256:"));

  // The reports reach this task, which is isolated to the main thread. A newer report replaces a waiting one.
  auto [reports, continuation] = AsyncStream<std::size_t>::makeStream(BufferingPolicy::newest(1));
  Mutex<Totals> guarded({.digests = std::vector<Digest>(sample.size())});
  const auto start = std::chrono::steady_clock::now();
  Task<Told> work({.isolation = Isolation()}, [&] { return digestAll(sample, &guarded, continuation); });
  std::size_t seen = 0;
  std::size_t last = 0;
  auto iterator = reports.makeAsyncIterator();
  while (auto done = co_await iterator.next()) {
    ++seen;
    last = std::max(last, *done);
    narrator.progress(last, sample.size(), "files");
  }
  const Told told = co_await work.value();
  const auto time = std::chrono::steady_clock::now() - start;
  const Totals totals = guarded.withLock([](Totals& value) { return std::exchange(value, {}); });
  const Digest digest = sha256(totals.digests);
  narrator.say(text(megabytes(totals.bytes), " in ", seconds(time), ", digest ", shortened(digest)));
  narrator.check(last == sample.size() && seen + told.superseded == told.reports,
                 text("Of ", grouped(told.reports), " reports ", grouped(seen), " were seen, and ",
                      grouped(told.superseded), " superseded by newer ones"));

  FileList walked = filesBelow(root);
  std::ranges::sort(walked, {}, &File::path);
  narrator.check(walked.size() == files.size() && totalSize(walked) == totalSize(files),
                 "A plain walk finds as many files and bytes");
  std::vector<Digest> digests;
  std::uint64_t bytes = 0;
  for (const File& file : firstBytes(walked, sampleSize)) {
    std::ifstream stream(file.path, std::ios::binary);
    const std::vector<std::uint8_t> content{std::istreambuf_iterator<char>(stream), {}};
    bytes += content.size();
    digests.push_back(sha256(content));
  }
  narrator.check(bytes == totals.bytes && sha256(digests) == digest, "A plain loop reads the same bytes and digest");
}

}  // namespace

void tellOfThePool(Narrator& narrator) {
  syncWait([&] { return tell(narrator); });
}

}  // namespace Tour
