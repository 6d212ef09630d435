// expected: no matching member function for call to 'finish'
// SPDX-License-Identifier: MIT
#include <stdexcept>

#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/AsyncThrowingStream.hpp"

#ifdef ALLOWED
using Stream = Tessaly::AsyncThrowingStream<int>;
#else
using Stream = Tessaly::AsyncStream<int>;
#endif

void fail(const Stream::Continuation& continuation) { continuation.finish(std::runtime_error("broken")); }
