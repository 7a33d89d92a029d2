#pragma once

#if (defined(_MSVC_LANG) ? _MSVC_LANG : __cplusplus) < 201709L
#error "mth needs C++20: compile with -std=c++20, or /std:c++20, or later."
#endif

/// Marks a declaration that host programs may use; everything else stays hidden inside the shared libraries.
#if defined(_WIN32) || !(defined(__GNUC__) || defined(__clang__))
#define MTH_EXPORT
#else
#define MTH_EXPORT __attribute__((visibility("default")))
#endif

#if defined(MTH_BUILDING) && defined(__FAST_MATH__)
#error "Build the library without -ffast-math: its results are fixed bit for bit."
#endif
