#pragma once

/// KOR_EXPORT exports a symbol of the shared library `kor`; all others are hidden.
#if defined(_WIN32)
#if defined(kor_EXPORTS)
#define KOR_EXPORT __declspec(dllexport)
#else
#define KOR_EXPORT __declspec(dllimport)
#endif
#else
#define KOR_EXPORT __attribute__((visibility("default")))
#endif
