// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <exception>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "Tessaly/Core/Base/Error.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

struct PlainError : Error {};

struct UploadError : Error {
  explicit UploadError(std::string file) : file(std::move(file)) {}
  std::string description() const override { return "Upload of " + file + " refused"; }
  std::string localizedDescription() const override { return "The upload was refused."; }
  std::string domain() const override { return "uploads"; }
  std::int64_t code() const noexcept override { return 507; }
  std::string file;
};

struct Outer {
  struct NestedError : Error {};
};

struct WordlessError : Error {
  std::string description() const override { throw std::bad_alloc(); }
};

TEST(Error, PlainClassIsDescribedByItsUnqualifiedName) { EXPECT_EQ(PlainError().description(), "PlainError()"); }

TEST(Error, PlainClassHasItsFullNameAsDomain) {
  EXPECT_EQ(Outer::NestedError().domain(), "Tessaly.(anonymous namespace).Outer.NestedError");
  EXPECT_EQ(Outer::NestedError().code(), 1);
  EXPECT_EQ(Outer::NestedError().description(), "NestedError()");
}

TEST(Error, HasAStandardMessageForPeople) {
  EXPECT_EQ(CancellationError().localizedDescription(),
            "The operation couldn’t be completed. (Tessaly.CancellationError error 1.)");
}

TEST(Error, StreamOutputIsTheDescription) {
  std::ostringstream stream;
  stream << UploadError("a.txt") << ' ' << CancellationError();
  EXPECT_EQ(stream.str(), "Upload of a.txt refused CancellationError()");
}

TEST(Error, OverridesAreUsedThroughTheBase) {
  const UploadError upload("a.txt");
  const Error& error = upload;
  EXPECT_EQ(error.description(), "Upload of a.txt refused");
  EXPECT_EQ(error.localizedDescription(), "The upload was refused.");
  EXPECT_EQ(error.domain(), "uploads");
  EXPECT_EQ(error.code(), 507);
  EXPECT_STREQ(error.what(), "Upload of a.txt refused");
}

TEST(Error, WhatReturnsOnePointerPerObject) {
  const UploadError error("a.txt");
  const char* first = error.what();
  EXPECT_EQ(first, error.what());
}

TEST(Error, WhatIsTheBaseNameIfTheDescriptionThrows) { EXPECT_STREQ(WordlessError().what(), "Tessaly::Error"); }

TEST(Error, ACopyHasATextOfItsOwn) {
  UploadError original("a.txt");
  EXPECT_STREQ(original.what(), "Upload of a.txt refused");
  UploadError copy = original;
  copy.file = "b.txt";
  EXPECT_STREQ(copy.what(), "Upload of b.txt refused");
  EXPECT_STREQ(original.what(), "Upload of a.txt refused");
}

TEST(Error, AssignmentForgetsTheOldText) {
  UploadError error("a.txt");
  EXPECT_STREQ(error.what(), "Upload of a.txt refused");
  error = UploadError("b.txt");
  EXPECT_STREQ(error.what(), "Upload of b.txt refused");
  const UploadError& self = error;
  error = self;
  EXPECT_STREQ(error.what(), "Upload of b.txt refused");
}

TEST(Error, CopiesWithoutThrowing) {
  static_assert(std::is_nothrow_copy_constructible_v<Error>);
  static_assert(std::is_nothrow_copy_assignable_v<Error>);
  static_assert(std::is_nothrow_copy_constructible_v<CancellationError>);
}

TEST(Error, IsCaughtAsAStandardException) {
  try {
    throw UploadError("a.txt");
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "Upload of a.txt refused");
  }
}

TEST(Error, ThreadsMayCallWhatAtOnce) {
  for (int round = 0; round < Tests::repetitions(200); ++round) {
    const UploadError error("a.txt");
    std::vector<const char*> answers(4);
    {
      std::vector<std::jthread> threads;
      for (auto& answer : answers) threads.emplace_back([&] { answer = error.what(); });
    }
    for (const char* answer : answers) EXPECT_EQ(answer, error.what());
    EXPECT_STREQ(answers[0], "Upload of a.txt refused");
  }
}

TEST(CancellationError, IsDescribedByItsName) {
  EXPECT_STREQ(CancellationError().what(), "CancellationError()");
  EXPECT_EQ(CancellationError().domain(), "Tessaly.CancellationError");
}

}  // namespace
}  // namespace Tessaly
