// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>

#include "Tessaly/Platform/Network/NWPath.hpp"

namespace Tessaly {
namespace {

TEST(NWPath, GivesItsParts) {
  constexpr NWPath path({.status = NWPath::Status::requiresConnection,
                         .isExpensive = true,
                         .statusSource = NWPath::StatusSource::kernel,
                         .expenseSource = NWPath::ExpenseSource::networkManager});
  static_assert(path.status() == NWPath::Status::requiresConnection);
  static_assert(path.isExpensive());
  static_assert(path.statusSource() == NWPath::StatusSource::kernel);
  static_assert(path.expenseSource() == NWPath::ExpenseSource::networkManager);
  EXPECT_EQ(NWPath(path.parts()), path);
}

TEST(NWPath, ComparesAllParts) {
  const NWPath path({.status = NWPath::Status::satisfied});
  EXPECT_EQ(path, NWPath({.status = NWPath::Status::satisfied}));
  EXPECT_NE(path, NWPath({.status = NWPath::Status::unsatisfied}));
  EXPECT_NE(path, NWPath({.status = NWPath::Status::satisfied, .isExpensive = true}));
  EXPECT_NE(path, NWPath({.status = NWPath::Status::satisfied, .statusSource = NWPath::StatusSource::kernel}));
  EXPECT_NE(path, NWPath({.status = NWPath::Status::satisfied, .expenseSource = NWPath::ExpenseSource::noBus}));
}

TEST(NWPath, IsLoadedAtomically) {
  static_assert(std::is_trivially_copyable_v<NWPath>);
  EXPECT_EQ(sizeof(NWPath), 4u);
}

TEST(NWPath, DescribesItself) {
  std::ostringstream stream;
  stream << NWPath({.status = NWPath::Status::satisfied,
                    .isExpensive = true,
                    .statusSource = NWPath::StatusSource::kernel,
                    .expenseSource = NWPath::ExpenseSource::networkManager});
  EXPECT_EQ(stream.str(), "satisfied (kernel), expensive (networkManager)");
  stream.str("");
  stream << NWPath({.status = NWPath::Status::unknown,
                    .statusSource = NWPath::StatusSource::refused,
                    .expenseSource = NWPath::ExpenseSource::notRunning});
  EXPECT_EQ(stream.str(), "unknown (refused), not expensive (notRunning)");
}

TEST(NWPath, EveryValueHasAName) {
  EXPECT_EQ(description(NWPath::Status::unsatisfied), "unsatisfied");
  EXPECT_EQ(description(NWPath::Status::requiresConnection), "requiresConnection");
  EXPECT_EQ(description(static_cast<NWPath::Status>(200)), "other");
  EXPECT_EQ(description(NWPath::StatusSource::scripted), "scripted");
  EXPECT_EQ(description(static_cast<NWPath::StatusSource>(200)), "other");
  EXPECT_EQ(description(NWPath::ExpenseSource::asking), "asking");
  EXPECT_EQ(description(NWPath::ExpenseSource::noBus), "noBus");
  EXPECT_EQ(description(NWPath::ExpenseSource::noAnswer), "noAnswer");
  EXPECT_EQ(description(NWPath::ExpenseSource::wrongAnswer), "wrongAnswer");
  EXPECT_EQ(description(NWPath::ExpenseSource::scripted), "scripted");
  EXPECT_EQ(description(static_cast<NWPath::ExpenseSource>(200)), "other");
}

}  // namespace
}  // namespace Tessaly
