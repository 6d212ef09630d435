// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/Qt/MainLoop.hpp"
