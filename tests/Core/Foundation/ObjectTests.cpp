// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <thread>
#include <vector>

#include "Tessaly/Core/Foundation/Object.hpp"

namespace Tessaly::inline v1 {
namespace {

using ::testing::Eq;
using ::testing::KilledBySignal;

class Plain final : public Object {};

class Recorder final : public Object {
 public:
  [[nodiscard]] std::string_view className() const noexcept override { return "Studio.Recorder"; }
};

std::shared_ptr<Object> makeRecorder() { return std::make_shared<Recorder>(); }

TEST(Object, ARegisteredClassIsMadeByItsName) {
  EXPECT_EQ(Object::make("Studio.Recorder"), nullptr);
  Object::registerClass("Studio.Recorder", &makeRecorder);
  const auto first = Object::make("Studio.Recorder");
  const auto second = Object::make("Studio.Recorder");
  ASSERT_NE(first, nullptr);
  EXPECT_NE(std::dynamic_pointer_cast<Recorder>(first), nullptr);
  EXPECT_EQ(first->className(), "Studio.Recorder");
  EXPECT_FALSE(*first == *second);
  EXPECT_TRUE(*first == *first->shared_from_this());
}

TEST(Object, AnUnknownNameMakesNothing) {
  EXPECT_EQ(Object::make("Studio.Unknown"), nullptr);
  EXPECT_EQ(Object::make(""), nullptr);
}

TEST(Object, AClassWithoutAnInitializerStopsTheProcess) {
  Object::registerClassWithoutInitializer("Tessaly.Backing", "Tessaly/Default", 31);
  EXPECT_EXIT(
      static_cast<void>(Object::make("Tessaly.Backing")), KilledBySignal(SIGABRT),
      Eq("Tessaly/Default:31: Fatal error: Use of unimplemented initializer 'init()' for class 'Tessaly.Backing'\n"));
}

TEST(Object, RegisteringANameAgainChangesNothing) {
  Object::registerClass("Studio.Recorder", &makeRecorder);
  Object::registerClassWithoutInitializer("Studio.Recorder", "Tessaly/Other", 1);
  EXPECT_NE(Object::make("Studio.Recorder"), nullptr);
}

TEST(Object, TheDescriptionNamesTheClassAndTheAddress) {
  const auto recorder = std::make_shared<Recorder>();
  std::ostringstream expected;
  expected << "<Studio.Recorder: " << static_cast<const void*>(recorder.get()) << '>';
  EXPECT_EQ(recorder->description(), expected.str());
  std::ostringstream written;
  written << *recorder;
  EXPECT_EQ(written.str(), expected.str());
}

TEST(Object, ClassWithoutOverridesIsAPlainObject) {
  const auto plain = std::make_shared<Plain>();
  EXPECT_EQ(plain->className(), "Tessaly.Object");
}

TEST(Object, AMakerMayRegisterAndMakeOthers) {
  Object::registerClass("Studio.Outer", [] {
    Object::registerClass("Studio.Recorder", &makeRecorder);
    return Object::make("Studio.Recorder");
  });
  EXPECT_NE(Object::make("Studio.Outer"), nullptr);
}

TEST(Object, ThreadsMayRegisterAndMakeAtOnce) {
  for (int round = 0; round < 200; ++round) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([] {
        Object::registerClass("Studio.Recorder", &makeRecorder);
        EXPECT_NE(Object::make("Studio.Recorder"), nullptr);
      });
    }
    for (auto& thread : threads) thread.join();
  }
}

}  // namespace
}  // namespace Tessaly::inline v1
