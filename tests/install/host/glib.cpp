// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/GLib/MainLoop.hpp"
