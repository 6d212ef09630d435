// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/String+Key.hpp"

namespace {

using namespace Tessaly;

void show(std::string_view typed) { const bool isConfirmed = typed == String::key.enter; }

}  // namespace
