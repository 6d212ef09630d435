// SPDX-License-Identifier: MIT
#pragma once

// The common parts of the probes of the compiler. They use nothing of the library, so that a compiler which the
// library's headers refuse can be probed, too.

#include <coroutine>
#include <deque>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

namespace probes {

/// One pattern that compilers are known to miscompile. `passes` returns whether the program did what the language says.
/// A compiler that fails a probe with a way round is admitted: the sources avoid the pattern, and a check reads them.
struct Probe {
  const char* name;
  bool (*passes)();
  const char* wayRound;
};

std::vector<Probe>& allProbes();

struct Registration {
  Registration(const char* name, bool (*passes)(), const char* wayRound = nullptr) {
    allProbes().push_back({name, passes, wayRound});
  }
};

#define PROBE(name, ...)                                                              \
  static bool name();                                                                 \
  static const Registration name##Registered{#name, name __VA_OPT__(, ) __VA_ARGS__}; \
  static bool name()

/// An object that notices if it is copied without its constructor, destroyed twice or never destroyed.
class Counted {
 public:
  static inline int living = 0;
  static inline bool misused = false;

  Counted(int value = 0) : value_(value), self_(this) { ++living; }
  Counted(const Counted& other) : Counted(other.value()) {}
  Counted(Counted&& other) noexcept : Counted(std::exchange(other.value_, -1)) {}
  Counted& operator=(Counted other) {
    value_ = other.value();
    return *this;
  }
  ~Counted() {
    if (self_ != this) misused = true;
    self_ = nullptr;
    --living;
  }

  int value() const {
    if (self_ != this) misused = true;
    return value_;
  }

 private:
  int value_;
  Counted* volatile self_;  // Volatile, so that the store of the destructor stays.
};

/// Coroutines that wait for the loop of `run`.
inline std::deque<std::coroutine_handle<>> pending;

/// Whether `soon` suspends. Each probe runs with both answers.
inline bool suspends = true;

template <typename T>
class Soon {
 public:
  explicit Soon(T value) : value_(std::move(value)) {}
  bool await_ready() const noexcept { return !suspends; }
  void await_suspend(std::coroutine_handle<> caller) { pending.push_back(caller); }
  T await_resume() { return std::move(value_); }

 private:
  T value_;
};

/// Gives a value at once, or after a suspension.
template <typename T>
Soon<T> soon(T value) {
  return Soon<T>(std::move(value));
}

/// The common part of the promises of all jobs: the end of a job continues its caller by symmetric transfer.
class JobPromiseBase {
 public:
  struct Transfer {
    bool await_ready() const noexcept { return false; }
    template <typename Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> job) const noexcept {
      return job.promise().continuation_;
    }
    void await_resume() const noexcept {}
  };

  std::suspend_always initial_suspend() const noexcept { return {}; }
  Transfer final_suspend() const noexcept { return {}; }
  void unhandled_exception() { error_ = std::current_exception(); }

 protected:
  template <typename T>
  friend class Job;
  std::coroutine_handle<> continuation_ = std::noop_coroutine();
  std::exception_ptr error_;
};

template <typename T>
class JobPromise;

/// A coroutine that starts when it is awaited, and that its owner destroys.
template <typename T>
class [[nodiscard]] Job {
 public:
  using promise_type = JobPromise<T>;
  using Handle = std::coroutine_handle<promise_type>;

  explicit Job(Handle handle) : handle_(handle) {}
  Job(Job&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  ~Job() {
    if (handle_) handle_.destroy();
  }

  bool await_ready() const noexcept { return false; }
  std::coroutine_handle<> await_suspend(std::coroutine_handle<> caller) {
    handle_.promise().continuation_ = caller;
    return handle_;
  }
  T await_resume() { return result(); }

  void start() { handle_.resume(); }
  bool done() const { return handle_.done(); }
  T result() {
    if (handle_.promise().error_) std::rethrow_exception(handle_.promise().error_);
    return handle_.promise().take();
  }

 private:
  Handle handle_;
};

template <typename T>
class JobPromise : public JobPromiseBase {
 public:
  Job<T> get_return_object() { return Job<T>(std::coroutine_handle<JobPromise>::from_promise(*this)); }
  void return_value(T value) { value_.emplace(std::move(value)); }
  T take() { return std::move(*value_); }

 private:
  std::optional<T> value_;
};

template <>
class JobPromise<void> : public JobPromiseBase {
 public:
  Job<void> get_return_object() { return Job<void>(std::coroutine_handle<JobPromise>::from_promise(*this)); }
  void return_void() {}
  void take() {}
};

/// Runs a job to its end and returns its result.
template <typename T>
T run(Job<T> job) {
  job.start();
  while (!job.done() && !pending.empty()) {
    auto next = pending.front();
    pending.pop_front();
    next.resume();
  }
  return job.result();
}

/// Starts the job that a function makes, destroys it where it is suspended, and returns whether all that it held is
/// destroyed.
template <typename Function>
bool startAndDestroy(Function make) {
  bool suspended = false;
  {
    auto job = make();
    job.start();
    pending.clear();
    suspended = !job.done() && Counted::living > 0;
  }
  return suspended && Counted::living == 0;
}

}  // namespace probes
