// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <optional>

#include "Tessaly/Adapters/GLib/MainLoop.hpp"
#include "Tessaly/Adapters/Gtk/Pasteboard.hpp"
#include "tests/Adapters/Gtk/StartGtk.hpp"
#include "tests/Adapters/ToolkitPasteboards.hpp"
#include "tests/Support/PrivateDisplay.hpp"

namespace Tessaly {
namespace {

class GtkPasteboardOfTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!display_.reason().empty()) GTEST_SKIP() << display_.reason();
    Tests::startGtk();
    loop_.emplace();
    pasteboard_.emplace();
  }

  template <typename Condition>
  static bool comesTrue(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(9);
    const guint ticks = g_timeout_add(5, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    while (!condition() && std::chrono::steady_clock::now() < limit) g_main_context_iteration(nullptr, TRUE);
    g_source_remove(ticks);
    return condition();
  }
  static void turn() {
    while (g_main_context_pending(nullptr)) g_main_context_iteration(nullptr, FALSE);
  }
  void end() { pasteboard_.reset(); }

  Tests::PrivateDisplay display_{"", 640, 480};
  std::optional<GLib::MainLoopAdapter> loop_;
  std::optional<Gtk4::PasteboardAdapter> pasteboard_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Gtk, ToolkitPasteboards, GtkPasteboardOfTest);

TEST(GtkPasteboardWithoutDisplay, AbsentDisplayIsReported) {
  ::unsetenv("DISPLAY");
  ::setenv("GDK_BACKEND", "x11", 1);
  ASSERT_FALSE(gtk_init_check());
  const Gtk4::PasteboardAdapter adapter;
  EXPECT_FALSE(PasteboardBackend::current().setString("text", PasteboardType::string));
  EXPECT_EQ(PasteboardBackend::current().status(), (PasteboardStatus{.problem = PasteboardProblem::noDisplay}));
}

}  // namespace
}  // namespace Tessaly
