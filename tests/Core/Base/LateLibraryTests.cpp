// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cstdio>
#include <thread>
#include <vector>

#include "Tessaly/Core/Base/detail/LateLibrary.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constinit const LateLibrary cLibrary{"libc.so.6"};
constinit const LateLibrary absentLibrary{"libtessaly-absent.so.1"};
TESSALY_LATE_FUNCTION(cLibrary, getppid);
TESSALY_LATE_FUNCTION(cLibrary, snprintf);
constinit const LateFunction<int()> absentFunction{cLibrary, "tessaly_absent"};
constinit const LateFunction<int()> functionOfAbsentLibrary{absentLibrary, "answer"};

TEST(LateLibrary, FunctionsAreCalledByTheirNames) {
  EXPECT_EQ(reinterpret_cast<void*>(&::getppid), cLibrary.address("getppid"));
  EXPECT_EQ(::getppid(), getppid());
}

TEST(LateLibrary, FunctionsTakeAnyNumberOfArguments) {
  char text[16];
  EXPECT_EQ(5, snprintf(text, sizeof text, "%d %s", 12, "ab"));
  EXPECT_STREQ("12 ab", text);
}

TEST(LateLibrary, SeveralThreadsMayLoadItAtOnce) {
  for (int round = 0; round < 20; ++round) {
    const LateLibrary library{"libm.so.6"};
    const LateFunction<double(double)> cosine{library, "cos"};
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back([&] { EXPECT_EQ(1.0, cosine(0.0)); });
  }
}

TEST(LateLibrary, AbsentLibraryIsNotLoaded) { EXPECT_FALSE(absentLibrary.isLoaded()); }

TEST(LateLibrary, ObjectsHaveAddressesToo) {
  EXPECT_EQ(1, static_cast<const in6_addr*>(cLibrary.address("in6addr_loopback"))->s6_addr[15]);
}

TEST(LateLibraryDeathTest, AbsentFunctionStopsTheProcess) {
  EXPECT_DEATH((void)absentFunction(), "Cannot load the symbol tessaly_absent of libc.so.6: .*undefined symbol");
  EXPECT_DEATH((void)functionOfAbsentLibrary(),
               "Cannot load the symbol answer of libtessaly-absent.so.1: .*cannot open shared object file");
}

}  // namespace
}  // namespace Tessaly::inline v1::detail
