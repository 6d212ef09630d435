// SPDX-License-Identifier: MIT
#include <algorithm>
#include <any>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "Chapters.hpp"
#include "Files.hpp"
#include "Tessaly/Concurrency/AsyncLazy.hpp"
#include "Tessaly/Concurrency/AsyncSequence+Extensions.hpp"
#include "Tessaly/Concurrency/AsyncStreams.hpp"
#include "Tessaly/Concurrency/AutoCancelTask.hpp"
#include "Tessaly/Concurrency/ReducedReplayAsyncThrowingStream.hpp"
#include "Tessaly/Core/Notifications/NotificationCenter.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tour {
namespace {

using namespace Tessaly;
using FileList = std::vector<File>;

struct Total {
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
};

using Totals = ReducedReplayAsyncThrowingStream<Total>;

/// Adds up the elements of a subscriber, up to a number of them or all.
Async<Total> sumOf(Totals::AsyncIterator* totals, std::optional<std::size_t> limit) {
  Total sum;
  for (std::size_t i = 0; !limit || i < *limit; ++i) {
    const auto total = co_await totals->next();
    if (!total) break;
    sum.files += total->files;
    sum.bytes += total->bytes;
  }
  co_return sum;
}

Async<void> tellOfALateSubscriber(Narrator& narrator, std::span<const File> files) {
  std::optional<Totals::Continuation> continuation;
  const Totals totals(
      BufferingPolicy::unbounded(), Total(),
      [](Total& sum, const Total& file) {
        sum.files += file.files;
        sum.bytes += file.bytes;
      },
      [&](const Totals::Continuation& built) { continuation = built; });
  const auto yield = [&](std::span<const File> some) {
    for (const File& file : some) continuation->yield({1, file.size});
  };
  const std::span<const File> firstHalf = files.first(files.size() / 2);

  auto early = totals.makeAsyncIterator();
  yield(firstHalf);
  const Total seen = co_await sumOf(&early, firstHalf.size());
  auto late = totals.makeAsyncIterator();
  const std::optional<Total> caughtUp = co_await late.next();
  narrator.say(text("A subscriber that comes after ", grouped(firstHalf.size()),
                    " files is told at once: ", grouped(caughtUp->files), " files, ", megabytes(caughtUp->bytes)));
  narrator.check(
      caughtUp->files == firstHalf.size() && caughtUp->bytes == totalSize(firstHalf) && seen.bytes == caughtUp->bytes,
      "That is the sum of those files, and of what the earlier subscriber received one by one");

  yield(files.subspan(firstHalf.size()));
  continuation->finish();
  const Total rest = co_await sumOf(&late, std::nullopt);
  const Total whole = co_await totals.streamedElement();
  narrator.check(caughtUp->files + rest.files == files.size() && caughtUp->bytes + rest.bytes == totalSize(files),
                 "With the files that followed it knows them all");
  narrator.check(whole.files == files.size() && whole.bytes == totalSize(files),
                 text("The final value is the same: ", grouped(whole.files), " files, ", megabytes(whole.bytes)));
}

Async<void> tellOfABroadcast(Narrator& narrator, std::span<const File> files) {
  const auto broadcaster = AsyncStreams<std::uint64_t>::make();
  std::vector<Task<std::size_t>> listeners;
  for (int i = 0; i < 5; ++i) {
    listeners.emplace_back(
        [stream = broadcaster->stream()]() -> Async<std::size_t> { co_return (co_await collect(stream, 0)).size(); });
  }
  constexpr std::size_t few = 100;
  auto leaving = std::make_optional(broadcaster->stream());
  for (const File& file : files.first(few)) broadcaster->send(file.size);
  const auto received = co_await collect(*leaving, few);
  leaving.reset();
  for (const File& file : files.subspan(few)) broadcaster->send(file.size);
  broadcaster->finish();
  std::size_t complete = 0;
  for (const auto& listener : listeners) {
    if (co_await listener.value() == files.size()) ++complete;
  }
  std::uint64_t bytes = 0;
  for (const std::uint64_t size : received) bytes += size;
  narrator.check(received.size() == few && bytes == totalSize(files.first(few)),
                 text("A listener that leaves after ", few, " values has received ", megabytes(bytes)));
  narrator.check(complete == listeners.size(),
                 text("The ", complete, " that stay receive all ", grouped(files.size())));
}

Async<void> tellOfOwners(Narrator& narrator) {
  std::atomic<int> stopped{0};
  std::vector<Task<>> ends;
  {
    std::vector<AutoCancelTask<>> owner;
    for (int i = 0; i < 3; ++i) {
      const auto ended = std::make_shared<AsyncStream<int>::StreamAndContinuation>(AsyncStream<int>::makeStream());
      ends.emplace_back([ended]() -> Async<void> { co_await first(ended->stream); });
      AutoCancelTask<>([ended, &stopped]() -> Async<void> {
        try {
          co_await Task<>::sleep(std::chrono::hours(1));
        } catch (const CancellationError&) {
          ++stopped;
        }
        ended->continuation.finish();
      }).store(owner);
    }
    co_await Task<>::yield();
    narrator.check(owner.size() == 3 && stopped == 0, "Three tasks that sleep for an hour belong to one owner");
  }
  for (const auto& end : ends) co_await end.finished();
  narrator.check(stopped == 3, "When it goes, all three stop at once");
}

Async<void> tellOfALazyValue(Narrator& narrator, std::size_t count) {
  std::atomic<int> walks{0};
  const AsyncLazy<std::size_t> fileCount([&walks] {
    ++walks;
    return runBlocking([] { return filesBelow(systemFolder()).size(); });
  });
  const std::size_t first = co_await fileCount.wrappedValue()();
  const std::size_t again = co_await fileCount.wrappedValue()();
  narrator.check(
      first == count && again == count && walks == 1,
      text("The count of files, ", grouped(first), ", is computed when it is first asked for, and only then"));
}

Async<void> tellOfNotifications(Narrator& narrator, std::span<const File> files) {
  NotificationCenter& center = NotificationCenter::default_();
  const auto found = center.notifications("FileFound");
  for (const File& file : files.first(3)) {
    center.post({.name = "FileFound", .userInfo = {{"size", file.size}}});
    center.post({.name = "FileForgotten"});
  }
  std::uint64_t bytes = 0;
  for (const auto& [isFirst, notification] : co_await collect(firstIdentified(found), 3)) {
    if (isFirst) bytes = 0;
    bytes += std::any_cast<std::uint64_t>(notification.userInfo.at("size"));
  }
  narrator.check(bytes == totalSize(files.first(3)), "Notifications arrive as a sequence, those of one name only");
}

Async<void> tell(Narrator& narrator) {
  const FileList files = co_await runBlocking([] { return filesBelow(systemFolder()); });
  co_await tellOfALateSubscriber(narrator, files);
  co_await tellOfABroadcast(narrator, std::span(files).first(std::min<std::size_t>(files.size(), 2'000)));
  co_await tellOfOwners(narrator);
  co_await tellOfALazyValue(narrator, files.size());
  co_await tellOfNotifications(narrator, files);
}

}  // namespace

void tellOfListeners(Narrator& narrator) {
  syncWait([&] { return tell(narrator); });
}

}  // namespace Tour
