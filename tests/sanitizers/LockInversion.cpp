// SPDX-License-Identifier: MIT
#include <mutex>

// Two locks of the standard library taken in both orders: a deadlock, had there been two threads.
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
