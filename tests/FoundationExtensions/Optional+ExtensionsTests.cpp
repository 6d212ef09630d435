// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <concepts>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "Tessaly/FoundationExtensions/Optional+Extensions.hpp"
#include "Tessaly/FoundationExtensions/StatusError.hpp"
#include "tests/Support/GroupingLocale.hpp"

namespace {

using namespace Tessaly;

struct Described {
  std::string description() const { return "described"; }
};

struct Streamed {
  friend std::ostream& operator<<(std::ostream& stream, const Streamed&) { return stream << "streamed"; }
};

struct Both {
  std::string description() const { return "described"; }
  friend std::ostream& operator<<(std::ostream& stream, const Both&) { return stream << "streamed"; }
};

struct Plain {};

TEST(UnwrapOrThrow, PresentValueDoesNotEvaluateTheArgument) {
  int evaluations = 0;
  const auto error = [&] {
    ++evaluations;
    return Int32::StatusError(1, "absent");
  };
  EXPECT_EQ(Optional::unwrapOrThrow(std::optional<int>(7), error), 7);
  EXPECT_EQ(evaluations, 0);
}

TEST(UnwrapOrThrow, ThrowsTheErrorOfItsArgumentForAnEmptyOptional) {
  int evaluations = 0;
  try {
    static_cast<void>(Optional::unwrapOrThrow(std::optional<int>(), [&] {
      ++evaluations;
      return Int32::StatusError(1, "absent");
    }));
    FAIL();
  } catch (const Int32::StatusError& error) {
    EXPECT_EQ(error, Int32::StatusError(1, "absent"));
  }
  EXPECT_EQ(evaluations, 1);
}

TEST(UnwrapOrThrow, RethrowsTheExceptionOfAPointer) {
  const auto held = std::make_exception_ptr(std::out_of_range("index"));
  EXPECT_THROW(static_cast<void>(Optional::unwrapOrThrow(std::optional<int>(), [&] { return held; })),
               std::out_of_range);
}

TEST(UnwrapOrThrow, ReturnsAReferenceIntoAnLvalue) {
  const auto error = [] { return std::runtime_error("absent"); };
  std::optional<std::string> text = "text";
  EXPECT_EQ(&Optional::unwrapOrThrow(text, error), &*text);
  static_assert(std::same_as<decltype(Optional::unwrapOrThrow(text, error)), std::string&>);
  static_assert(std::same_as<decltype(Optional::unwrapOrThrow(std::as_const(text), error)), const std::string&>);
  static_assert(std::same_as<decltype(Optional::unwrapOrThrow(std::move(text), error)), std::string>);
}

TEST(UnwrapOrThrow, MovesOutOfATemporary) {
  auto value = Optional::unwrapOrThrow(std::optional(std::make_unique<int>(3)), [] { return std::logic_error("no"); });
  EXPECT_EQ(*value, 3);
}

TEST(OptionalDescription, EmptyOptionalIsNil) {
  EXPECT_EQ(Optional::optionalDescription(std::optional<int>()), "nil");
  EXPECT_EQ(Optional::optionalDescription(std::optional<Described>()), "nil");
}

TEST(OptionalDescription, ValueIsItsDescription) {
  EXPECT_EQ(Optional::optionalDescription(std::optional<Described>(Described())), "described");
  EXPECT_EQ(Optional::optionalDescription(std::optional<Streamed>(Streamed())), "streamed");
  EXPECT_EQ(Optional::optionalDescription(std::optional<Both>(Both())), "described");
  std::ostringstream stream;
  stream << Both();
  EXPECT_EQ(stream.str(), "streamed");
  EXPECT_EQ(Optional::optionalDescription(std::optional<Int32::StatusError>({5, ""})), "Status 5 | ");
}

TEST(OptionalDescription, DescribesBuiltInTypes) {
  EXPECT_EQ(Optional::optionalDescription(std::optional<std::string>("nil")), "nil");
  EXPECT_EQ(Optional::optionalDescription(std::optional<std::string_view>("text")), "text");
  EXPECT_EQ(Optional::optionalDescription(std::optional(true)), "true");
  EXPECT_EQ(Optional::optionalDescription(std::optional(false)), "false");
  EXPECT_EQ(Optional::optionalDescription(std::optional(-5)), "-5");
  EXPECT_EQ(Optional::optionalDescription(std::optional(std::numeric_limits<std::uint64_t>::max())),
            "18446744073709551615");
  EXPECT_EQ(Optional::optionalDescription(std::optional<std::int8_t>(65)), "65");
  EXPECT_EQ(Optional::optionalDescription(std::optional<std::uint8_t>(200)), "200");
  EXPECT_EQ(Optional::optionalDescription(std::optional('A')), "A");
}

TEST(OptionalDescription, FloatingPointNumbersAreTheShortestExactText) {
  const auto text = [](auto number) { return Optional::optionalDescription(std::optional(number)); };
  EXPECT_EQ(text(12.0), "12.0");
  EXPECT_EQ(text(12.5), "12.5");
  EXPECT_EQ(text(0.1), "0.1");
  EXPECT_EQ(text(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(text(0.0), "0.0");
  EXPECT_EQ(text(-0.0), "-0.0");
  EXPECT_EQ(text(0.0001), "0.0001");
  EXPECT_EQ(text(1e-05), "1e-05");
  EXPECT_EQ(text(1.5e-07), "1.5e-07");
  EXPECT_EQ(text(9007199254740992.0), "9007199254740992.0");
  EXPECT_EQ(text(1e20), "1e+20");
  EXPECT_EQ(text(-1e300), "-1e+300");
  EXPECT_EQ(text(std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(text(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(text(-std::numeric_limits<double>::infinity()), "-inf");
  EXPECT_EQ(text(0.1F), "0.1");
  EXPECT_EQ(text(16777216.0F), "16777216.0");
  EXPECT_EQ(text(16777218.0F), "1.6777218e+07");
}

template <typename T>
concept HasOptionalDescription = requires(std::optional<T> optional) { Optional::optionalDescription(optional); };

TEST(OptionalDescription, IgnoresTheGlobalLocale) {
  const Tests::GroupingLocale locale;
  std::ostringstream grouped;
  grouped << std::boolalpha << 1'234'567 << true;
  ASSERT_EQ(grouped.str(), "1.234.567wahr");
  EXPECT_EQ(Optional::optionalDescription(std::optional(1'234'567)), "1234567");
  EXPECT_EQ(Optional::optionalDescription(std::optional(-1'234'567'890'123LL)), "-1234567890123");
  EXPECT_EQ(Optional::optionalDescription(std::optional(true)), "true");
  EXPECT_EQ(Optional::optionalDescription(std::optional(1'234'567.5)), "1234567.5");
  EXPECT_EQ(Optional::optionalDescription(std::optional(1'234'567.5L)), "1.23457e+06");
}

TEST(OptionalDescription, IsNotOfferedForTypesWithoutADescription) {
  EXPECT_TRUE(HasOptionalDescription<Described>);
  EXPECT_FALSE(HasOptionalDescription<Plain>);
}

TEST(UnwrapOrThrowDeathTest, NullErrorStopsTheProcess) {
  const std::optional<int> empty;
  EXPECT_DEATH(static_cast<void>(Optional::unwrapOrThrow(empty, [] { return std::exception_ptr(); })),
               "Tessaly/Optional\\+Extensions:.*: Fatal error: The error to throw is a null exception_ptr");
}

}  // namespace
