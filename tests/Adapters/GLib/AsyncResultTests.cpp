// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "Tessaly/Adapters/GLib/AsyncResult.hpp"
#include "Tessaly/Adapters/GLib/MainLoop.hpp"
#include "Tessaly/Concurrency/OwnedTasks.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

static_assert(std::convertible_to<const GLib::AsyncResult&, GAsyncResult*>);
static_assert(!std::convertible_to<GLib::AsyncResult, GAsyncResult*>);

/// A source of asynchronous results that the test ends by itself, as a dialog is ended by a person. The dialog answers
/// its cancellation in the next turn of the loop.
class Dialog {
 public:
  void open(GCancellable* cancellable, GAsyncReadyCallback ready, gpointer data) {
    ready_ = ready;
    data_ = data;
    task_.reset(g_task_new(nullptr, cancellable, ready, data));
    if (cancellable == nullptr) return;
    g_signal_connect_swapped(cancellable, "cancelled", G_CALLBACK(+[](Dialog* self) { self->noteCancel(); }), this);
    cancellable_.reset(G_CANCELLABLE(g_object_ref(cancellable)));
  }
  ~Dialog() {
    if (cancellable_ != nullptr) g_signal_handlers_disconnect_by_data(cancellable_.get(), this);
  }
  void answer(int number) { g_task_return_int(task_.get(), number); }
  void answerAgain() { ready_(nullptr, G_ASYNC_RESULT(task_.get()), data_); }
  static std::optional<int> finish(GAsyncResult* result) {
    GError* error = nullptr;
    const gssize number = g_task_propagate_int(G_TASK(result), &error);
    if (error == nullptr) return static_cast<int>(number);
    g_error_free(error);
    return std::nullopt;
  }
  [[nodiscard]] bool wasCancelledOnMain() const { return wasCancelledOnMain_; }
  [[nodiscard]] bool isOpen() const { return task_ != nullptr; }

 private:
  void noteCancel() {
    wasCancelledOnMain_ = MainQueue::isMainThread();
    answer(0);
  }

  GAsyncReadyCallback ready_ = nullptr;
  gpointer data_ = nullptr;
  detail::ObjectReference<GTask> task_;
  detail::ObjectReference<GCancellable> cancellable_;
  bool wasCancelledOnMain_ = false;
};

class GLibAsyncResult : public testing::Test {
 protected:
  static void turnUntil(const std::function<bool()>& isReached) {
    const guint ticks = g_timeout_add(20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    for (int i = 0; i < 500 && !isReached(); ++i) g_main_context_iteration(nullptr, TRUE);
    g_source_remove(ticks);
    EXPECT_TRUE(isReached());
  }
  Async<std::optional<int>> answer() {
    const GLib::AsyncResult result =
        co_await GLib::asyncResult([this](GCancellable* cancellable, GAsyncReadyCallback ready, gpointer data) {
          dialog_.open(cancellable, ready, data);
        });
    co_return Dialog::finish(result);
  }

  GLib::MainLoopAdapter adapter_;
  Dialog dialog_;
};

/// Reads a file by GIO. The text is absent if GIO reported that the call was cancelled.
Async<std::optional<std::string>> contentsOf(GFile* file) {
  const GLib::AsyncResult result =
      co_await GLib::asyncResult([&](GCancellable* cancellable, GAsyncReadyCallback ready, gpointer data) {
        g_file_load_contents_async(file, cancellable, ready, data);
      });
  char* contents = nullptr;
  gsize length = 0;
  GError* error = nullptr;
  if (g_file_load_contents_finish(file, result, &contents, &length, nullptr, &error) != FALSE) {
    std::string text(contents, length);
    g_free(contents);
    co_return text;
  }
  EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED));
  g_error_free(error);
  co_return std::nullopt;
}

class GLibFile : public GLibAsyncResult {
 protected:
  GLibFile() { g_file_set_contents(path_.c_str(), "twelve bytes", -1, nullptr); }

  const Tests::TemporaryFolder folder_;
  const std::string path_ = folder_.path() + "/file";
  const detail::ObjectReference<GFile> file_{g_file_new_for_path(path_.c_str())};
};

TEST_F(GLibFile, TaskReadsFile) {
  std::optional<std::string> text;
  const Task task([&]() -> Async<void> { text = co_await contentsOf(file_.get()); });
  turnUntil([&] { return text.has_value(); });
  EXPECT_EQ(text, "twelve bytes");
}

TEST_F(GLibFile, CancelledTaskGetsTheErrorOfACancelledCall) {
  bool hasEnded = false;
  std::optional<std::string> text = "former";
  const Task task([&]() -> Async<void> {
    text = co_await contentsOf(file_.get());
    hasEnded = true;
  });
  task.cancel();
  turnUntil([&] { return hasEnded; });
  EXPECT_EQ(text, std::nullopt);
}

TEST_F(GLibFile, OwnerMayEndDuringTheCall) {
  bool wasFinished = false;
  const auto local = std::make_shared<int>(1);
  {
    OwnedTasks tasks;
    bool hasStarted = false;
    tasks.add([&, local]() -> Async<void> {
      hasStarted = true;
      co_await contentsOf(file_.get());
      wasFinished = true;
    });
    turnUntil([&] { return hasStarted; });
  }
  turnUntil([&] { return local.use_count() == 1; });
  EXPECT_FALSE(wasFinished);
}

TEST_F(GLibAsyncResult, TaskContinuesWithTheAnswer) {
  std::optional<int> number;
  const Task task([&]() -> Async<void> { number = co_await answer(); });
  turnUntil([&] { return dialog_.isOpen(); });
  EXPECT_EQ(number, std::nullopt);
  dialog_.answer(7);
  turnUntil([&] { return number.has_value(); });
  EXPECT_EQ(number, 7);
}

TEST_F(GLibAsyncResult, CancellationFromAnotherThreadReachesTheMainThread) {
  bool hasEnded = false;
  const Task task([&]() -> Async<void> {
    EXPECT_EQ(co_await answer(), std::nullopt);
    hasEnded = true;
  });
  turnUntil([&] { return dialog_.isOpen(); });
  std::thread([&] { task.cancel(); }).join();
  turnUntil([&] { return hasEnded; });
  EXPECT_TRUE(dialog_.wasCancelledOnMain());
}

TEST_F(GLibAsyncResult, OwnerThatEndsCancelsTheCall) {
  const auto local = std::make_shared<int>(1);
  std::optional<OwnedTasks> tasks(std::in_place);
  tasks->add([this, local]() -> Async<void> { co_await answer(); });
  turnUntil([&] { return dialog_.isOpen(); });
  tasks.reset();
  EXPECT_TRUE(dialog_.wasCancelledOnMain());
  turnUntil([&] { return local.use_count() == 1; });
}

TEST_F(GLibAsyncResult, ExceptionOfTheStartReachesTheCaller) {
  std::string message;
  const Task task([&]() -> Async<void> {
    try {
      co_await GLib::asyncResult([](auto...) { throw std::runtime_error("no dialog"); });
    } catch (const std::runtime_error& error) {
      message = error.what();
    }
  });
  turnUntil([&] { return !message.empty(); });
  EXPECT_EQ(message, "no dialog");
}

TEST_F(GLibAsyncResult, SecondCallbackStopsTheProcess) {
  std::optional<int> number;
  const Task task([&]() -> Async<void> { number = co_await answer(); });
  turnUntil([&] { return dialog_.isOpen(); });
  dialog_.answer(7);
  turnUntil([&] { return number.has_value(); });
  EXPECT_DEATH(dialog_.answerAgain(), "Tessaly/AsyncResult:[0-9]+: Fatal error: The callback of an asynchronous call");
}

TEST_F(GLibAsyncResult, CallbackOnAnotherThreadStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const Task task([&]() -> Async<void> { co_await answer(); });
  turnUntil([&] { return dialog_.isOpen(); });
  EXPECT_DEATH(std::thread([&] { dialog_.answerAgain(); }).join(), "Incorrect actor executor assumption");
  task.cancel();
}

}  // namespace
}  // namespace Tessaly
