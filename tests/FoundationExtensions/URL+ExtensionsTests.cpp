// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Logging/LogBackend.hpp"
#include "Tessaly/FoundationExtensions/URL+Extensions.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"
#include "Tessaly/Platform/Testing/ScriptedFileManager.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

class UbiquityContainer : public testing::Test {
 protected:
  UbiquityContainer() {
    Bundle::setMain({.identifier = "org.example.files"});
    files->ubiquityContainer = [this](const std::optional<std::string>& identifier) -> std::optional<URL> {
      asked = identifier;
      return folder.url();
    };
  }

  Tests::TemporaryFolder folder;
  std::optional<std::string> asked;
  std::shared_ptr<ScriptedFileManager> files = std::make_shared<ScriptedFileManager>();
  FileManagerInstallation filesInstallation{files};
  std::shared_ptr<RecordingLogBackend> log = std::make_shared<RecordingLogBackend>();
  LogBackendInstallation installation{log};
};

TEST_F(UbiquityContainer, IsAbsentWithoutAContainer) {
  files->ubiquityContainer = nullptr;
  EXPECT_EQ(URL::ubiquityContainer(std::nullopt), std::nullopt);
  EXPECT_THAT(log->messages(), ElementsAre("Failed to find a valid ubiquity container"));
  EXPECT_EQ(log->records()[0].type, OSLogType::error);
  EXPECT_EQ(log->records()[0].subsystem, "org.example.files.Tessaly");
}

TEST_F(UbiquityContainer, MissingDirectoryIsMade) {
  const auto url = URL::ubiquityContainer("cloud", {"Documents", "Notes"});
  ASSERT_TRUE(url);
  EXPECT_EQ(asked, "cloud");
  EXPECT_EQ(url->path(), folder.path() + "/Documents/Notes");
  EXPECT_TRUE(std::filesystem::is_directory(url->path()));
  EXPECT_THAT(log->messages(),
              ElementsAre("No ubiquity directory found at '" + url->path() + "'. Creating a new one."));
  const RecordedLog record = log->records()[0];
  EXPECT_EQ(record.type, OSLogType::default_);
  EXPECT_EQ(record.format, "No ubiquity directory found at '%{public}s'. Creating a new one.");
  EXPECT_EQ(URL::ubiquityContainer(std::nullopt, {"Documents", "Notes"}), url);
  EXPECT_EQ(log->messages().size(), 1u);
}

TEST_F(UbiquityContainer, DirectoryThatCannotBeMadeIsLogged) {
  std::ofstream(folder.path() + "/file") << "";
  EXPECT_EQ(URL::ubiquityContainer(std::nullopt, {"file", "below"}), std::nullopt);
  ASSERT_EQ(log->messages().size(), 2u);
  EXPECT_THAT(log->messages()[1], StartsWith("Ubiquity directory creation at '" + folder.path() +
                                             "/file/below' failed. Error Domain=NSPOSIXErrorDomain Code=20 "));
  const RecordedLog record = log->records()[1];
  EXPECT_EQ(record.type, OSLogType::error);
  EXPECT_EQ(record.format, "Ubiquity directory creation at '%{public}s' failed. %{public}s");
}

}  // namespace
}  // namespace Tessaly
