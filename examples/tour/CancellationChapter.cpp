// SPDX-License-Identifier: MIT
#include <chrono>
#include <exception>
#include <optional>

#include "Chapters.hpp"
#include "Files.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/FoundationExtensions/Error+Extensions.hpp"

namespace Tour {
namespace {

using namespace Tessaly;

constexpr std::size_t workers = 4;

/// The state of the work on the main thread. No other thread touches it.
struct Board {
  std::size_t done = 0;
  std::size_t ended = 0;
  std::size_t limit = 0;
  std::optional<Task<>> work = std::nullopt;
};

/// One of the workers: every fourth file, until the end or a cancellation.
Async<void> digestEveryFourth(std::span<const File> files, std::size_t first, Board* board) {
  std::exception_ptr error;
  try {
    for (std::size_t i = first; i < files.size(); i += workers) {
      Task<>::checkCancellation();
      const Data content = co_await runBlocking(
          [path = files[i].path.native()] { return Data::contentsOf(URL::fileURLWithPath(path)); });
      sha256(content.bytes());
      co_await withIsolation(Isolation::main(), [board] {
        if (++board->done == board->limit) board->work->cancel();
      });
    }
  } catch (...) {
    error = std::current_exception();
  }
  co_await withIsolation(Isolation::main(), [board] { ++board->ended; });
  if (error) std::rethrow_exception(error);
}

Async<void> tell(Narrator& narrator) {
  std::vector<File> files = filesBelow(systemFolder());
  if (files.size() > 4000) files.erase(files.begin() + 4000, files.end());
  Board board{.limit = files.size() / 4};
  bool didSleep = false;
  board.work.emplace(TaskOptions{.isolation = Isolation()}, [&]() -> Async<void> {
    co_await withTaskGroup([&](TaskGroup<>& group) -> Async<void> {
      for (std::size_t first = 0; first < workers; ++first) {
        group.addTask([&files, first, &board] { return digestEveryFourth(files, first, &board); });
      }
      group.addTask([&didSleep]() -> Async<void> {
        co_await Task<>::sleep(std::chrono::hours(1));
        didSleep = true;
      });
      co_await group.waitForAll();
    });
  });

  std::exception_ptr error;
  try {
    co_await board.work->value();
  } catch (...) {
    error = std::current_exception();
  }
  narrator.say(text("Cancelled after ", grouped(board.limit), " of ", grouped(files.size()),
                    " files: ", grouped(board.done), " were done, ", grouped(files.size() - board.done), " were not"));
  narrator.check(isCancellation(error) && board.work->isCancelled(), text("It ended with: ", logDescription(error)));
  narrator.check(board.done >= board.limit && board.done < board.limit + workers && board.ended == workers,
                 "Each worker finished at most the file in its hands, and no worker is left");
  narrator.check(!didSleep, "A child that was to sleep for an hour was woken");
}

}  // namespace

void tellOfCancellation(Narrator& narrator) {
  syncWait([&] { return tell(narrator); });
}

}  // namespace Tour
