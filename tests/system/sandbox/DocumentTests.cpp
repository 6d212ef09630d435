// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"
#include "Tessaly/Platform/Bookmarks/DocumentError.hpp"
#include "tests/Support/MockService.hpp"
#include "tests/Support/PrivateBus.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/system/sandbox/DocumentPortal.hpp"
#include "tests/system/sandbox/SandboxRoot.hpp"

// Bookmarks of documents, which the real portal shows to a sandboxed application.

namespace {

using namespace Tessaly;
using Lifetime = Tests::DocumentPortal::Lifetime;

Data bookmarkOf(const std::string& path) {
  return Bookmarks::shared().bookmarkData(URL::fileURLWithPath(path), BookmarkCreationOptions::withSecurityScope);
}
/// The path, and whether the bookmark is stale.
std::string resolved(const Data& token) {
  const ResolvedBookmark found = Bookmarks::shared().resolve(token, BookmarkResolutionOptions::withSecurityScope);
  return found.url.path() + (found.isStale ? " stale" : "");
}
std::string textOf(DocumentFailure failure) { return DocumentError(failure).description(); }

constexpr const char* missing = "Error Domain=NSPOSIXErrorDomain Code=2 \"No such file or directory\"";

class SandboxedBookmarks : public testing::Test {
 protected:
  void SetUp() override {
    if (!Tests::reasonForNoSandbox().empty()) GTEST_SKIP() << Tests::reasonForNoSandbox();
    if (!session_.reason().empty()) GTEST_SKIP() << session_.reason();
    if (!portal_.reason().empty()) GTEST_SKIP() << portal_.reason();
    put("a", "text");
    std::filesystem::create_directories(theirs("granted/inner"));
    put("granted/b", "text");
  }

  /// The path of a file outside the sandbox.
  [[nodiscard]] std::string theirs(const std::string& name) const { return files_.path() + '/' + name; }
  void put(const std::string& name, const std::string& text) const { std::ofstream(theirs(name)) << text; }
  void rename(const std::string& from, const std::string& to) const {
    std::filesystem::rename(theirs(from), theirs(to));
  }
  [[nodiscard]] std::string granted(const std::string& name, Lifetime lifetime = Lifetime::persistent) const {
    const std::string identifier = portal_.grant(theirs(name), lifetime);
    EXPECT_NE(identifier, "");
    return identifier;
  }
  /// The path of a file in a document.
  [[nodiscard]] std::string ours(const std::string& name) const { return portal_.directory() + '/' + name; }

  /// The bookmark that one start of the application makes.
  [[nodiscard]] Data made(const std::string& name) const {
    return Data(portal_.inApplication([&] { return std::string(bookmarkOf(ours(name)).text()); }));
  }
  /// The outcome of the bookmark in another start of the application.
  [[nodiscard]] std::string found(const Data& token) const {
    return portal_.inApplication([&] { return resolved(token); });
  }
  [[nodiscard]] std::uint64_t volume() const {
    struct stat status{};
    EXPECT_EQ(::stat(portal_.directory().c_str(), &status), 0);
    return status.st_dev;
  }
  /// Restarts the portal. Its volume has another number then.
  void restart() {
    const std::uint64_t before = volume();
    // A second mount keeps the old volume, and so its number, until the new one has a number.
    ASSERT_EQ(::mount(portal_.directory().c_str(), second_.path().c_str(), nullptr, MS_BIND, nullptr), 0);
    portal_.stop();
    portal_.start(portal_.runtime());
    EXPECT_EQ(::umount2(second_.path().c_str(), MNT_DETACH), 0);
    ASSERT_EQ(portal_.reason(), "");
    ASSERT_NE(volume(), before);
  }

  Tests::PrivateBus session_{"DBUS_SESSION_BUS_ADDRESS"};
  Tests::TemporaryFolder files_;
  Tests::TemporaryFolder second_;
  Tests::DocumentPortal portal_{session_};
};

TEST_F(SandboxedBookmarks, DocumentIsFoundAfterARestartOfThePortal) {
  const std::string identifier = granted("a");
  const Data token = made(identifier + "/a");
  EXPECT_EQ(found(token), ours(identifier + "/a"));
  restart();
  EXPECT_EQ(found(token), ours(identifier + "/a"));
}

TEST_F(SandboxedBookmarks, DocumentIsFoundAtAnotherMountPoint) {
  const std::string identifier = granted("a");
  const std::string before = ours(identifier + "/a");
  const Data token = made(identifier + "/a");
  portal_.stop();
  portal_.start(session_.folder() + "/second");
  ASSERT_EQ(portal_.reason(), "");
  EXPECT_NE(ours(identifier + "/a"), before);
  EXPECT_EQ(found(token), ours(identifier + "/a"));
}

TEST_F(SandboxedBookmarks, GrantedDirectoryIsFound) {
  const std::string identifier = granted("granted");
  const Data token = made(identifier + "/granted");
  restart();
  EXPECT_EQ(found(token), ours(identifier + "/granted"));
}

TEST_F(SandboxedBookmarks, SecondPathOfTheDocumentsIsRecognised) {
  const std::string identifier = granted("a");
  const std::string link = theirs("documents");
  std::filesystem::create_symlink(portal_.directory(), link);
  const Data token(
      portal_.inApplication([&] { return std::string(bookmarkOf(link + '/' + identifier + "/a").text()); }));
  EXPECT_EQ(found(token), ours(identifier + "/a"));
}

TEST_F(SandboxedBookmarks, ReplacedDocumentIsStillTheDocument) {
  const std::string identifier = granted("a");
  const Data token = made(identifier + "/a");
  put("new", "saved by an editor");
  rename("new", "a");
  EXPECT_EQ(found(token), ours(identifier + "/a"));
}

TEST_F(SandboxedBookmarks, DocumentThatWasRenamedOutsideIsMissing) {
  const std::string identifier = granted("a");
  const Data token = made(identifier + "/a");
  rename("a", "other");
  EXPECT_EQ(found(token), missing);
  rename("other", "a");
  EXPECT_EQ(found(token), ours(identifier + "/a"));
}

TEST_F(SandboxedBookmarks, FileBelowAGrantedDirectoryIsFoundAfterARename) {
  const std::string identifier = granted("granted");
  const Data token = made(identifier + "/granted/b");
  restart();
  EXPECT_EQ(found(token), ours(identifier + "/granted/b"));
  rename("granted/b", "granted/inner/c");
  EXPECT_EQ(found(token), ours(identifier + "/granted/inner/c stale"));
  put("granted/b", "another");
  EXPECT_EQ(found(token), ours(identifier + "/granted/inner/c stale"));
  rename("granted/inner/c", "c");
  EXPECT_EQ(found(token), missing);
}

TEST_F(SandboxedBookmarks, RemovedDocumentIsRevoked) {
  const std::string identifier = granted("a");
  const Data token = made(identifier + "/a");
  ASSERT_TRUE(portal_.remove(identifier));
  EXPECT_EQ(found(token), textOf(DocumentFailure::revoked));
}

TEST_F(SandboxedBookmarks, PermissionUntilThePortalEndsIsRevokedThen) {
  const std::string identifier = granted("a", Lifetime::untilThePortalEnds);
  const Data token = made(identifier + "/a");
  EXPECT_EQ(found(token), ours(identifier + "/a"));
  restart();
  static_cast<void>(granted("granted"));  // The application sees another document.
  EXPECT_EQ(found(token), textOf(DocumentFailure::revoked));
}

TEST_F(SandboxedBookmarks, PortalIsStartedOnDemand) {
  const std::string identifier = granted("a");
  const Data token = made(identifier + "/a");
  portal_.stop();
  EXPECT_THROW(resolved(token), DocumentError);
  portal_.letTheBusStartIt();
  EXPECT_EQ(resolved(token), ours(identifier + "/a"));
}

TEST_F(SandboxedBookmarks, FileSystemOfAPortalThatHasEndedIsNotMounted) {
  const std::string identifier = granted("a");
  const Data token = made(identifier + "/a");
  portal_.letTheBusStartIt();
  EXPECT_EQ(portal_.inApplication([&]() -> std::string {
    portal_.stop(SIGKILL);
    return portal_.reason().empty() ? resolved(token) : portal_.reason();
  }),
            textOf(DocumentFailure::notMounted));
}

TEST_F(SandboxedBookmarks, MissingPortalIsReported) {
  const std::string identifier = granted("a");
  const Data token = made(identifier + "/a");
  const auto withoutBus = [&](auto body) {
    return portal_.inApplication([&]() -> std::string {
      ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
      return body();
    });
  };
  EXPECT_EQ(withoutBus([&] { return resolved(token); }), textOf(DocumentFailure::noPortal));
  EXPECT_EQ(withoutBus([&] { return std::string(bookmarkOf(ours(identifier + "/a")).text()); }),
            textOf(DocumentFailure::noPortal));
  portal_.stop();
  EXPECT_THROW(resolved(token), DocumentError);
}

TEST_F(SandboxedBookmarks, SilentOrMalformedPortalIsReported) {
  const std::string identifier = granted("a");
  const Data token = made(identifier + "/a");
  const Tests::PrivateBus bus("DBUS_SESSION_BUS_ADDRESS");
  ASSERT_EQ(bus.reason(), "");
  Tests::MockService mock(bus, Tests::DocumentPortal::name, Tests::DocumentPortal::object, Tests::DocumentPortal::name,
                          {});
  ASSERT_EQ(mock.reason(), "");
  const auto outcomes = [&] {
    return std::vector{found(token),
                       portal_.inApplication([&] { return std::string(bookmarkOf(ours(identifier + "/a")).text()); })};
  };
  const auto both = [](DocumentFailure failure) { return std::vector(2, textOf(failure)); };
  EXPECT_EQ(outcomes(), both(DocumentFailure::refused)) << "it has no such method";
  for (const auto& [type, code] :
       {std::pair("s", "ret = '/run'"), std::pair("ay", "ret = dbus.ByteArray(b'/run')"),
        std::pair("ay", "ret = dbus.ByteArray(b'run\\0')"),
        std::pair("ay", "raise dbus.exceptions.DBusException('no', name='org.example.No')")}) {
    mock.set({"GetMountPoint", "", type, code});
    EXPECT_EQ(outcomes(), both(DocumentFailure::refused)) << code;
  }
  mock.process().signal(SIGSTOP);
  EXPECT_EQ(outcomes(), both(DocumentFailure::notAnswering));
}

TEST_F(SandboxedBookmarks, OtherFilesNeedNoPortal) {
  ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  const Data token = bookmarkOf(theirs("a"));
  EXPECT_EQ(resolved(token), theirs("a"));
  rename("a", "other");
  EXPECT_EQ(resolved(token), theirs("other stale"));
}

}  // namespace
