#pragma once

/// RIVLINK_COMMON_EXPORT exports a symbol of the shared library `rivlink_common`; all others are hidden.
#if defined(_WIN32)
#if defined(rivlink_common_EXPORTS)
#define RIVLINK_COMMON_EXPORT __declspec(dllexport)
#else
#define RIVLINK_COMMON_EXPORT __declspec(dllimport)
#endif
#else
#define RIVLINK_COMMON_EXPORT __attribute__((visibility("default")))
#endif
