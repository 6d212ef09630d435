// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "Tessaly/Platform/Linux/Sandbox.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace {

class Sandbox : public testing::Test {
 protected:
  /// The application of a sandbox with a file of these contents.
  std::optional<std::string> application(const std::string& contents) {
    std::ofstream(path()) << contents;
    const auto sandbox = Tessaly::detail::readSandbox(path().c_str());
    return sandbox ? std::optional(sandbox->application) : std::nullopt;
  }
  [[nodiscard]] std::string path() const { return folder_.path() + "/.flatpak-info"; }

 private:
  Tessaly::Tests::TemporaryFolder folder_;
};

TEST_F(Sandbox, MissingFileMeansNoSandbox) { EXPECT_FALSE(Tessaly::detail::readSandbox(path().c_str())); }

TEST_F(Sandbox, IdentifierIsTheNameOfTheApplication) {
  EXPECT_EQ(application("[Application]\nname=org.example.player\nruntime=runtime/x\n"), "org.example.player");
  EXPECT_EQ(application("[Instance]\nname=wrong\n\n[Application]\n# name=wrong\nname=org.example.player"),
            "org.example.player");
}

TEST_F(Sandbox, MalformedFileIsASandboxWithoutAnApplication) {
  for (const char* const contents :
       {"", "name=org.example.player\n", "[Runtime]\nname=org.example.Platform\n", "[Application]\n", "[Application",
        "[Application]\n[Instance]\nname=wrong\n", "\xff\xfe\n"}) {
    EXPECT_EQ(application(contents), "") << contents;
  }
  std::filesystem::remove(path());
  std::filesystem::create_directory(path());
  ASSERT_TRUE(Tessaly::detail::readSandbox(path().c_str()).has_value());
  EXPECT_EQ(Tessaly::detail::readSandbox(path().c_str())->application, "");
}

}  // namespace
