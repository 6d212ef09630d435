// expected: no matching function for call to 'follow'
// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/AnyAsyncSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"

void follow(Tessaly::AnyAsyncSequence<int> auto) {}

void start(Tessaly::AsyncStream<int> numbers) {
#ifdef ALLOWED
  follow(Tessaly::eraseToAnyAsyncSequence(numbers));
#else
  follow(numbers);
#endif
}
