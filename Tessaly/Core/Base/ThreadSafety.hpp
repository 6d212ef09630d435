// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include "Tessaly/Core/Base/Requirements.hpp"

// Clang's thread-safety annotations, with the names of Clang's documentation. They are empty for other compilers.

#if defined(__clang__)
#define TESSALY_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define TESSALY_THREAD_ANNOTATION(x)
#endif

#define TESSALY_CAPABILITY(name) TESSALY_THREAD_ANNOTATION(capability(name))
#define TESSALY_SCOPED_CAPABILITY TESSALY_THREAD_ANNOTATION(scoped_lockable)
#define TESSALY_GUARDED_BY(lock) TESSALY_THREAD_ANNOTATION(guarded_by(lock))
#define TESSALY_PT_GUARDED_BY(lock) TESSALY_THREAD_ANNOTATION(pt_guarded_by(lock))
#define TESSALY_REQUIRES(...) TESSALY_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define TESSALY_ACQUIRE(...) TESSALY_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TESSALY_TRY_ACQUIRE(...) TESSALY_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define TESSALY_RELEASE(...) TESSALY_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TESSALY_EXCLUDES(...) TESSALY_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define TESSALY_NO_THREAD_SAFETY_ANALYSIS TESSALY_THREAD_ANNOTATION(no_thread_safety_analysis)
