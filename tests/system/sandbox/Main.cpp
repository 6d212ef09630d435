// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string_view>

#include "tests/system/sandbox/SandboxRoot.hpp"

int main(int count, char** arguments) {
  bool onlyLists = false;
  for (int i = 1; i < count; ++i) onlyLists |= std::string_view(arguments[i]) == "--gtest_list_tests";
  if (!onlyLists) Tessaly::Tests::enterSandbox(arguments);
  testing::InitGoogleTest(&count, arguments);
  return RUN_ALL_TESTS();
}
