#pragma once

/// RIVLINK_CORE_EXPORT marks what the shared library `rivlink_core` offers to others; everything else stays
/// hidden.
#if defined(_WIN32)
#if defined(rivlink_core_EXPORTS)
#define RIVLINK_CORE_EXPORT __declspec(dllexport)
#else
#define RIVLINK_CORE_EXPORT __declspec(dllimport)
#endif
#else
#define RIVLINK_CORE_EXPORT __attribute__((visibility("default")))
#endif
