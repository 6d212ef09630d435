// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Core/Logging/LogConfiguration.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"
#include "Tessaly/FoundationExtensions/Logger+Extensions.hpp"
#include "Tessaly/FoundationExtensions/StatusError.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"

namespace Sample {
struct SomeType {
  struct Nested {};
};
template <typename T>
struct Generic {};
}  // namespace Sample

namespace {

using namespace Tessaly;
using testing::ElementsAre;
using testing::EndsWith;

// Counts the calls of its description.
struct CountingError : Error {
  explicit CountingError(int& count) : count(&count) {}
  std::string description() const override {
    ++*count;
    return "CountingError()";
  }
  std::string localizedDescription() const override { return "Counted"; }
  int* count;
};

class LoggerExtensionsTest : public testing::Test {
 protected:
  RecordedLog onlyRecord() {
    const auto records = backend_->records();
    EXPECT_EQ(records.size(), 1u);
    return records.empty() ? RecordedLog() : records.front();
  }
  static RecordedLog::Argument publicText(std::string text) { return {std::move(text), LogPrivacy::public_}; }

  const std::shared_ptr<RecordingLogBackend> backend_ = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation_{backend_};
  const Logger logger_{"subsystem", "category"};
};

TEST(LoggerMake, JoinsTheBundleIdentifierAndTheSubsystem) {
  Bundle::setMain({.identifier = "app.identifier"});
  const Logger logger = Logger::make("Export", "Given category");
  EXPECT_EQ(logger.log(), OSLog("app.identifier.Export", "Given category"));
}

TEST(LoggerMake, UsesTheUnqualifiedTypeNameAsCategory) {
  Bundle::setMain({.identifier = "app.identifier"});
  EXPECT_EQ(Logger::make("Export", Type<Sample::SomeType>()).log(), OSLog("app.identifier.Export", "SomeType"));
  EXPECT_EQ(Logger::make("Export", Type<Sample::SomeType::Nested>()).log().category(), "Nested");
  EXPECT_EQ(Logger::make("", Type<Sample::SomeType>()).log().subsystem(), "app.identifier.");
}

TEST(LoggerMake, GivesTheIdentifierToThePlatformsLogs) {
  Bundle::setMain({.identifier = "app.identifier"});
  static_cast<void>(Logger::make("Export", "category"));
  EXPECT_EQ(detail::platformLog("MainQueue"), OSLog("app.identifier.Tessaly", "MainQueue"));
}

TEST(LoggerMakeDeathTest, TypedLoggerStopsTheProcessWithoutABundleIdentifier) {
  EXPECT_EXIT(static_cast<void>(Logger::make("Export", Type<Sample::SomeType>())), testing::KilledBySignal(SIGABRT),
              "^Tessaly/Logger\\+Extensions:12: Fatal error: Unable to get 'Bundle.main.bundleIdentifier'\nGive the "
              "program a bundle: .*\n$");
}

TEST(LoggerMakeDeathTest, NamedLoggerStopsTheProcessWithoutABundleIdentifier) {
  EXPECT_EXIT(static_cast<void>(Logger::make("Export", "category")), testing::KilledBySignal(SIGABRT),
              "^Tessaly/Logger\\+Extensions:26: Fatal error: Unable to get 'Bundle.main.bundleIdentifier'\nGive the "
              "program a bundle: .*\n$");
}

TEST_F(LoggerExtensionsTest, ErrorPublicWritesAPublicError) {
  errorPublic(logger_, "The table is empty");
  const unsigned line = __LINE__ - 1;
  const RecordedLog record = onlyRecord();
  EXPECT_EQ(record.type, OSLogType::error);
  EXPECT_EQ(record.subsystem, "subsystem");
  EXPECT_EQ(record.category, "category");
  EXPECT_EQ(record.format, "%{public}s");
  EXPECT_THAT(record.arguments, ElementsAre(publicText("The table is empty")));
  EXPECT_EQ(record.composedMessage, "The table is empty");
  EXPECT_EQ(record.line, line);
  EXPECT_THAT(record.file, EndsWith("Logger+ExtensionsTests.cpp"));
  EXPECT_EQ(record.function, "TestBody");
}

TEST_F(LoggerExtensionsTest, WarningPublicIsStoredAsAnError) {
  warningPublic(logger_, "The table is empty");
  const RecordedLog record = onlyRecord();
  EXPECT_EQ(record.type, OSLogType::error);
  EXPECT_EQ(record.format, "%{public}s");
  EXPECT_THAT(record.arguments, ElementsAre(publicText("The table is empty")));
}

TEST_F(LoggerExtensionsTest, NoticePublicIsStoredAsDefault) {
  noticePublic(logger_, "The table is empty");
  const RecordedLog record = onlyRecord();
  EXPECT_EQ(record.type, OSLogType::default_);
  EXPECT_EQ(record.format, "%{public}s");
  EXPECT_THAT(record.arguments, ElementsAre(publicText("The table is empty")));
}

TEST_F(LoggerExtensionsTest, MessagesAreNotFormats) {
  errorPublic(logger_, "100% %s %d");
  EXPECT_EQ(onlyRecord().composedMessage, "100% %s %d");
}

TEST_F(LoggerExtensionsTest, ErrorWithAssertNamesThePlaceAndGoesOn) {
  errorWithAssert(logger_, "No rows", "Tables.cpp", 12);
  const RecordedLog record = onlyRecord();
  EXPECT_EQ(record.type, OSLogType::error);
  EXPECT_EQ(record.format, "%{public}s");
  EXPECT_THAT(record.arguments, ElementsAre(publicText("No rows | File: Tables.cpp, line: 12")));
}

TEST_F(LoggerExtensionsTest, ErrorWithAssertNamesTheCallerByDefault) {
  errorWithAssert(logger_, "No rows");
  const int line = __LINE__ - 1;
  const RecordedLog record = onlyRecord();
  EXPECT_THAT(record.composedMessage, testing::StartsWith("No rows | File: "));
  EXPECT_THAT(record.composedMessage, EndsWith("Logger+ExtensionsTests.cpp, line: " + std::to_string(line)));
  EXPECT_EQ(record.line, static_cast<unsigned>(line));
}

TEST_F(LoggerExtensionsTest, NullPlacesAreWrittenAsNull) {
  errorWithAssert(logger_, "m", nullptr, 1, nullptr);
  catchError(logger_, "m", [] { throw 1; }, nullptr, nullptr, 2);
  errorPublic(logger_, "m", {nullptr, nullptr, 3});
  EXPECT_THAT(backend_->messages(),
              ElementsAre("m | File: (null), line: 1", "m. <private> | Function: (null) | File: (null)", "m"));
  for (const auto& record : backend_->records()) EXPECT_EQ(record.file, "");
}

TEST_F(LoggerExtensionsTest, CatchErrorLogsNothingWhenNothingIsThrown) {
  bool hasRun = false;
  catchError(logger_, "Saving failed", [&] { hasRun = true; });
  EXPECT_TRUE(hasRun);
  EXPECT_TRUE(backend_->records().empty());
}

TEST_F(LoggerExtensionsTest, CatchErrorLogsAndSwallowsExceptions) {
  catchError(logger_, "Saving failed", [] { throw Int32::StatusError(-1, "m"); }, "Document.cpp", "save()");
  const RecordedLog record = onlyRecord();
  EXPECT_EQ(record.type, OSLogType::error);
  EXPECT_EQ(record.format, "%{public}s %s | Function: %{public}s | File: %{public}s");
  EXPECT_THAT(
      record.arguments,
      ElementsAre(publicText("Saving failed."),
                  RecordedLog::Argument{
                      "Status -1 | m, The operation couldn’t be completed. (Tessaly.Int32.StatusError error 1.)",
                      LogPrivacy::private_},
                  publicText("save()"), publicText("Document.cpp")));
  EXPECT_EQ(record.composedMessage, "Saving failed. <private> | Function: save() | File: Document.cpp");
}

TEST_F(LoggerExtensionsTest, CatchErrorAcceptsAnExplicitPlace) {
  catchError(logger_, "Saving failed", "Document.cpp", "save()", [] { throw std::runtime_error("no"); });
  const RecordedLog record = onlyRecord();
  ASSERT_EQ(record.arguments.size(), 4u);
  EXPECT_EQ(record.arguments[0].text, "Saving failed.");
  EXPECT_EQ(record.arguments[1].text, "runtime_error(\"no\"), no");
  EXPECT_EQ(record.arguments[2].text, "save()");
  EXPECT_EQ(record.arguments[3].text, "Document.cpp");
}

TEST_F(LoggerExtensionsTest, CatchErrorNamesTheCallerByDefault) {
  catchError(logger_, "Saving failed", [] { throw std::runtime_error("no"); });
  const unsigned line = __LINE__ - 1;
  const RecordedLog record = onlyRecord();
  ASSERT_EQ(record.arguments.size(), 4u);
  EXPECT_EQ(record.arguments[1].text, "runtime_error(\"no\"), no");
  EXPECT_EQ(record.arguments[2].text, "TestBody");
  EXPECT_THAT(record.arguments[3].text, EndsWith("Logger+ExtensionsTests.cpp"));
  EXPECT_EQ(record.line, line);
}

TEST_F(LoggerExtensionsTest, CatchErrorShowsTheErrorWithPrivateDataOn) {
  LogConfiguration::setPrivateDataShown(LogSwitch::on);
  catchError(logger_, "Saving failed!", [] { throw std::runtime_error("no"); }, "f", "g");
  EXPECT_EQ(onlyRecord().composedMessage, "Saving failed! runtime_error(\"no\"), no | Function: g | File: f");
}

TEST_F(LoggerExtensionsTest, CatchErrorEndsMessagesWithPunctuation) {
  const auto completed = [&](std::string_view message) {
    catchError(logger_, message, [] { throw 1; });
    return backend_->records().back().arguments.at(0).text;
  };
  EXPECT_EQ(completed(""), ".");
  EXPECT_EQ(completed("Saving failed"), "Saving failed.");
  EXPECT_EQ(completed("Saving failed "), "Saving failed .");
  for (const std::string_view message : {"Done?", "Saving failed!", "So.", "a,", "a;", "a:", "a#", "a%", "a*", "a_",
                                         "a-", "a/", "a\\", "a@", "a&", "a…", "a—", "a”", "(a)"}) {
    EXPECT_EQ(completed(message), message);
  }
  for (const std::string message : {"5 $", "a+", "a<", "a=", "a>", "a^", "a|", "a`", "a~", "😀", "né", "a\xFF"}) {
    EXPECT_EQ(completed(message), message + ".");
  }
  // The last character is an exclamation mark with an accent.
  EXPECT_EQ(completed("a!\u0301"), "a!\u0301");
}

TEST_F(LoggerExtensionsTest, CatchErrorSwallowsThrownValuesOfAnyType) {
  catchError(logger_, "Failed", [] { throw 7; });
  catchError(logger_, "Failed", [] { throw std::string("text"); });
  catchError(logger_, "Failed", [] { throw Sample::SomeType(); });
  const auto records = backend_->records();
  ASSERT_EQ(records.size(), 3u);
  EXPECT_THAT(records[0].arguments.at(1).text, testing::StartsWith("7, "));
  EXPECT_THAT(records[1].arguments.at(1).text, testing::StartsWith("\"text\", "));
  EXPECT_THAT(records[2].arguments.at(1).text, testing::StartsWith("SomeType(), "));
}

TEST_F(LoggerExtensionsTest, CatchErrorTakesReturningAndMoveOnlyOperations) {
  catchError(logger_, "Failed", [] { return 5; });
  catchError(logger_, "Failed", [owned = std::make_unique<int>(1)]() mutable { owned.reset(); });
  EXPECT_TRUE(backend_->records().empty());
}

TEST_F(LoggerExtensionsTest, DisabledTypeWritesAndMakesNoText) {
  LogConfiguration::setEnabled(OSLogType::error, LogSwitch::off);
  int count = 0;
  errorPublic(logger_, "a");
  warningPublic(logger_, "a");
  errorWithAssert(logger_, "a");
  catchError(logger_, "a", [&] { throw CountingError(count); });
  EXPECT_EQ(count, 0);
  EXPECT_TRUE(backend_->records().empty());
  noticePublic(logger_, "a");
  EXPECT_EQ(backend_->records().size(), 1u);
  LogConfiguration::setEnabled(OSLogType::default_, LogSwitch::off);
  noticePublic(logger_, "a");
  EXPECT_EQ(backend_->records().size(), 1u);
  LogConfiguration::setEnabled(logger_.log(), OSLogType::error, LogSwitch::on);
  catchError(logger_, "a", [&] { throw CountingError(count); });
  EXPECT_EQ(count, 1);
}

TEST_F(LoggerExtensionsTest, CatchErrorPassesOnThreadCancellation) {
  bool hasGoneOn = false;
  struct Arguments {
    const Logger* logger;
    bool* hasGoneOn;
  } arguments{&logger_, &hasGoneOn};
  pthread_t thread;
  ASSERT_EQ(::pthread_create(
                &thread, nullptr,
                [](void* argument) -> void* {
                  auto* arguments = static_cast<Arguments*>(argument);
                  catchError(*arguments->logger, "Failed", [] { ::pthread_exit(nullptr); });
                  *arguments->hasGoneOn = true;
                  return nullptr;
                },
                &arguments),
            0);
  ASSERT_EQ(::pthread_join(thread, nullptr), 0);
  EXPECT_FALSE(hasGoneOn);
  EXPECT_TRUE(backend_->records().empty());
}

}  // namespace
