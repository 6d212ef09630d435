// SPDX-License-Identifier: MIT
#pragma once

#include "Tessaly/Core/Base/Requirements.hpp"

/// 1 in code that is compiled with the address or the thread sanitizer, otherwise 0.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TESSALY_IS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TESSALY_IS_SANITIZED 1
#endif
#endif
#ifndef TESSALY_IS_SANITIZED
#define TESSALY_IS_SANITIZED 0
#endif
