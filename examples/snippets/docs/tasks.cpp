// SPDX-License-Identifier: MIT
#include <algorithm>
#include <exception>
#include <string>
#include <vector>

#include "Tessaly/Concurrency/OwnedTasks.hpp"
#include "Tessaly/Concurrency/TaskScope.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"

namespace Tessaly::TasksPage {

struct Path {};
struct Picture {};
struct Document {};
struct Label {
  void show(const Picture& picture);
};
struct Transfer {
  Async<void> finished();
  void abort();
};
std::string readWholeFile(Path path);
Picture scaled(const Picture& picture);
Async<Picture> drawn(Document document);
Async<void> printSlowly(const std::vector<std::string>& titles);
void waitForEnterKey();

// clang-format off
Async<int> countLines(Path path) {
  const std::string text = co_await runBlocking([path] { return readWholeFile(path); });
  co_return static_cast<int>(std::ranges::count(text, '\n'));
}

Task<int> startCounting(Path path) {
  return Task<int>([path] { return countLines(path); });
}

Async<int> countBoth(Path first, Path second) {
  const Task<int> other([second] { return countLines(second); });  // Runs beside the next line.
  const int lines = co_await countLines(first);
  co_return lines + co_await other.value();
}

Async<int> countAll(std::vector<Path> paths) {
  co_return co_await withTaskGroup<int>([&](TaskGroup<int>& group) -> Async<int> {
    for (const Path& path : paths) group.addTask([&path] { return countLines(path); });
    int sum = 0;
    while (auto lines = co_await group.next()) sum += *lines;
    co_return sum;
  });
}

Async<void> showThumbnail(Picture picture, Label& label) {
  const Picture small = co_await withIsolation(Isolation(), [&] { return scaled(picture); });  // On the pool.
  label.show(small);                                                                           // Where it began.
}

Async<void> download(Transfer& transfer) {
  co_await withTaskCancellationHandler([&] { return transfer.finished(); }, [&] { transfer.abort(); });
}

class PreviewWindow {
 public:
  void open(Document document) {
    tasks_.end();  // Of the document before.
    tasks_.add([this, document]() -> Async<void> {
      try {
        show(co_await drawn(document));
      } catch (const std::exception& error) {
        show(error);
      }
    });
  }

 private:
  void show(const Picture& picture);
  void show(const std::exception& error);

  OwnedTasks tasks_;
};

void printUntilEnter(const std::vector<std::string>& titles) {
  TaskScope scope;
  scope.add([&titles] { return printSlowly(titles); });
  waitForEnterKey();
}  // Cancels the printing and waits for its end.
// clang-format on

}  // namespace Tessaly::TasksPage
