// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/Support/OutputOf.hpp"

namespace Tessaly::inline v1 {
namespace {

using Tests::outputOf;

/// Runs the command. Returns standard output, standard error and the exit code.
std::string run(const std::string& arguments, const std::string& before = "") {
  return outputOf(before + std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly format " + arguments +
                  " 2>&1; echo \"($?)\"");
}

TEST(FormatCommand, WritesSizes) {
  EXPECT_EQ(run("bytes 1500000 0 -1500"), "1.5 MB\nZero kB\n-2 kB\n(0)\n");
  EXPECT_EQ(run("bytes --unit GB 1500"), "1.5 TB\n(0)\n");
  EXPECT_EQ(run("bytes --unit=B 9223372036854775807"), "9,223.37 PB\n(0)\n");
}

TEST(FormatCommand, WritesDurationsInEveryStyle) {
  EXPECT_EQ(run("duration 543 3600.5 -90"), "9:03\n1:00:00\n-1:30\n(0)\n");
  EXPECT_EQ(run("duration --style full 4200"), "1 hour, 10 minutes\n(0)\n");
  EXPECT_EQ(run("duration --style abbreviated 4200"), "1h 10m\n(0)\n");
  EXPECT_EQ(run("duration --style minutes 543.9"), "9 minutes, 3 seconds\n(0)\n");
  EXPECT_EQ(run("duration --style seconds 12.5"), "12.5s\n(0)\n");
  EXPECT_EQ(run("duration nan"), "\n(0)\n");
}

TEST(FormatCommand, WritesDates) {
  EXPECT_EQ(run("date 2023-01-02T15:04:05Z"), "Jan 2, 2023\n(0)\n");
  EXPECT_EQ(run("date --time @1672671845"), "Jan 2, 2023, 3:04\u202FPM\n(0)\n");
  EXPECT_EQ(run("date --time-only @1672671845"), "3:04\u202FPM\n(0)\n");
  EXPECT_EQ(run("date --style iso8601 @0"), "1970-01-01T00:00:00Z\n(0)\n");
  EXPECT_EQ(run("date --style relative --length full @0"), "Thursday, January 1, 1970\n(0)\n");
  EXPECT_EQ(run("date --style relative now"), "Today\n(0)\n");
  EXPECT_EQ(run("date --time @1672671845", "TZ=Asia/Tokyo "), "Jan 3, 2023, 12:04\u202FAM\n(0)\n");
}

TEST(FormatCommand, WritesNumbersInEveryStyle) {
  EXPECT_EQ(run("number 1234.5678 -0.004"), "1234.57\n-0\n(0)\n");
  EXPECT_EQ(run("number --digits 0 2.5 3.5"), "2\n4\n(0)\n");
  EXPECT_EQ(run("number --style whole 12.5"), "12\n(0)\n");
  EXPECT_EQ(run("number --style percent 0.285"), "28%\n(0)\n");
  EXPECT_EQ(run("number --style tempo 5 -5"), "+5%\n-5%\n(0)\n");
  EXPECT_EQ(run("number --style pitch 2"), "+2\n(0)\n");
  EXPECT_EQ(run("number --style decibel 0.5 -3"), "+0.5\n -3.0\n(0)\n");
  EXPECT_EQ(run("number --style bpm 119.5"), "120 bpm\n(0)\n");
}

TEST(FormatCommand, WritesInTheGivenLanguage) {
  EXPECT_EQ(run("bytes --language fr 0 1500000"), "Zéro\u202Fko\n1,5\u202FMo\n(0)\n");
  EXPECT_EQ(run("duration --language=da 5"), "0.05\n(0)\n");
  EXPECT_EQ(run("date --language de --time @1672671845"), "02.01.2023, 15:04\n(0)\n");
  EXPECT_EQ(run("number --language ar_EG 0.5"), "٠٫٥\n(0)\n");
  EXPECT_EQ(run("number --language '' 0.5"), "0.5\n(0)\n");
  EXPECT_EQ(run("number 0.5", "LC_ALL=de_DE.UTF-8 "), "0,5\n(0)\n");
  EXPECT_EQ(run("number --language en 0.5", "LC_ALL=de_DE.UTF-8 "), "0.5\n(0)\n");
}

TEST(FormatCommand, ReadsValuesFromStandardInput) {
  EXPECT_EQ(run("bytes", "printf '1500\\n2500\\n' | "), "2 kB\n2 kB\n(0)\n");
  EXPECT_EQ(run("bytes </dev/null"), "(0)\n");
  EXPECT_EQ(run("bytes", "printf '1500\\nx\\n3' | "),
            "2 kB\ntessaly format: Line 2: \"x\" is no integer of 64 bits\n(1)\n");
}

TEST(FormatCommand, WrongUsageHasItsExitCode) {
  for (const std::string arguments : {"",
                                      "nothing",
                                      "bytes x",
                                      "bytes 1.5",
                                      "bytes 99999999999999999999",
                                      "bytes --unit TB 1",
                                      "bytes --unit GB 9223372037",
                                      "bytes --style full 1",
                                      "bytes --digits 1 1",
                                      "duration x",
                                      "duration --style full 1.5",
                                      "duration --style short 1",
                                      "duration --style",
                                      "date today",
                                      "date @x",
                                      "date --length full now",
                                      "date --style relative --length huge now",
                                      "date --style iso8601 --time now",
                                      "date --style short now",
                                      "number ''",
                                      "number +-5",
                                      "number 5a",
                                      "number --digits x 1",
                                      "number --digits 1 --style bpm 1",
                                      "number --style bpm --nothing 1",
                                      "number --time 1",
                                      "number --style octal 1"}) {
    EXPECT_TRUE(run(arguments + " </dev/null").ends_with("(2)\n")) << arguments << run(arguments + " </dev/null");
  }
}

TEST(FormatCommand, ArgumentsAfterTwoHyphensAreValues) {
  EXPECT_EQ(run("number -- -5 +5"), "-5\n5\n(0)\n");
  EXPECT_TRUE(run("number -- --digits").ends_with("(2)\n"));
}

TEST(FormatCommand, Helps) { EXPECT_TRUE(run("--help").starts_with("Usage: tessaly format <kind>")); }

}  // namespace
}  // namespace Tessaly::inline v1
