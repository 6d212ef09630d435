// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <QApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <optional>

#include "Tessaly/Adapters/Qt/MainLoop.hpp"
#include "Tessaly/Adapters/QtWidgets/Pasteboard.hpp"
#include "tests/Adapters/ToolkitPasteboards.hpp"
#include "tests/Support/PrivateDisplay.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly {
namespace {

class QtPasteboardOfTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!display_.reason().empty()) GTEST_SKIP() << display_.reason();
    qputenv("QT_QPA_PLATFORM", "xcb");
    application_.emplace(count_, arguments_);
    loop_.emplace();
    pasteboard_.emplace();
  }

  template <typename Condition>
  static bool comesTrue(Condition condition) {
    const QDeadlineTimer limit(9'000);
    while (!condition() && !limit.hasExpired()) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    return condition();
  }
  static void turn() {
    for (int i = 0; i < 20; ++i) QCoreApplication::processEvents();
  }
  void end() { pasteboard_.reset(); }

  Tests::PrivateDisplay display_{"", 640, 480};
  int count_ = 1;
  char name_[5] = "test";
  char* arguments_[2] = {name_, nullptr};
  std::optional<QApplication> application_;
  std::optional<Qt6::MainLoopAdapter> loop_;
  std::optional<Qt6::PasteboardAdapter> pasteboard_;
};

/// The display refuses contents that are older than those of the other program.
TEST_F(QtPasteboardOfTest, RefusalOfTheDisplayIsReported) {
  PasteboardBackend& pasteboard = PasteboardBackend::current();
  EXPECT_TRUE(pasteboard.setString("ours", PasteboardType::string));
  const Tests::Process other({"sh", "-c", "printf theirs | exec xclip -quiet -selection clipboard"});
  EXPECT_TRUE(Tests::waitUntil([&] { return !pasteboard.setString("refused", PasteboardType::string); }));
  EXPECT_EQ(pasteboard.status(), (PasteboardStatus{PasteboardServer::x11, PasteboardProblem::refused, false}));
}

INSTANTIATE_TYPED_TEST_SUITE_P(Qt, ToolkitPasteboards, QtPasteboardOfTest);

}  // namespace
}  // namespace Tessaly
