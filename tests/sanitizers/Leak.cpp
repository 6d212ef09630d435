// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/Concurrency/Mutex.hpp"

// A `Mutex` does not destroy what it holds, and this one was not emptied.
int main() { Tessaly::Mutex<std::string> text(std::string(1000, 'x')); }
