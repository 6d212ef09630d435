// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/detail/Thread.hpp"

#include <pthread.h>

#include <array>
#include <csignal>
#include <memory>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/ForkGuard.hpp"

namespace Tessaly::inline v1::detail {
namespace {

struct Start {
  std::array<char, 16> name{};  // The kernel keeps 15 characters and a zero.
  std::move_only_function<void()> body;
};

void* run(void* argument) {
  const std::unique_ptr<Start> start(static_cast<Start*>(argument));
  ::pthread_setname_np(::pthread_self(), start->name.data());
  try {
    start->body();
  } catch (...) {
    fatalError("A library thread's body has thrown", "Tessaly/Thread", __LINE__);
  }
  return nullptr;
}

}  // namespace

void startLibraryThread(const char* name, std::move_only_function<void()> body) {
  noteRuntimeStarted();
  auto start = std::make_unique<Start>();
  std::string_view(name).copy(start->name.data(), start->name.size() - 1);
  start->body = std::move(body);

  // The thread inherits this mask, so it blocks all signals from its beginning.
  sigset_t all;
  sigset_t previous;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &previous);
  pthread_attr_t attributes;
  ::pthread_attr_init(&attributes);
  ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_t thread{};
  const int status = ::pthread_create(&thread, &attributes, &run, start.get());
  if (status == 0) static_cast<void>(start.release());
  ::pthread_attr_destroy(&attributes);
  ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  if (status != 0) fatalError("The system refused to start a thread", "Tessaly/Thread", __LINE__);
}

}  // namespace Tessaly::inline v1::detail
