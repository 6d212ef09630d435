// SPDX-License-Identifier: MIT
#include <mutex>

// Takes two locks of the standard library in both orders. With two threads that could be a deadlock.
int main() {
  std::mutex first;
  std::mutex second;
  {
    const std::scoped_lock outer(first);
    const std::scoped_lock inner(second);
  }
  const std::scoped_lock outer(second);
  const std::scoped_lock inner(first);
}
