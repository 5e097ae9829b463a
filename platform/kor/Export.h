#pragma once

/// KOR_EXPORT marks what the shared library `kor` offers to others; everything else stays hidden.
#if defined(_WIN32)
#if defined(kor_EXPORTS)
#define KOR_EXPORT __declspec(dllexport)
#else
#define KOR_EXPORT __declspec(dllimport)
#endif
#else
#define KOR_EXPORT __attribute__((visibility("default")))
#endif
