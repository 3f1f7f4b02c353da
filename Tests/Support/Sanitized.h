// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

/// 1 in a build with the address or the thread sanitizer, else 0.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VEL_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VEL_SANITIZED 1
#endif
#endif
#ifndef VEL_SANITIZED
#define VEL_SANITIZED 0
#endif

/// A size in bytes at which work that is not linear in its input shows. With a sanitizer, which
/// makes everything many times slower, a tenth.
inline constexpr std::size_t largeInput = VEL_SANITIZED != 0 ? 1'000'000 : 10'000'000;

/// Of a long series of similar cases, every `sampleStep`-th is tried: all of them, but with a
/// sanitizer one in seven.
inline constexpr unsigned sampleStep = VEL_SANITIZED != 0 ? 7 : 1;
