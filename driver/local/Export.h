#pragma once

/// RIVLINK_LOCAL_EXPORT marks what the shared library `rivlink_local` offers to others; everything else stays
/// hidden.
#if defined(_WIN32)
#if defined(rivlink_local_EXPORTS)
#define RIVLINK_LOCAL_EXPORT __declspec(dllexport)
#else
#define RIVLINK_LOCAL_EXPORT __declspec(dllimport)
#endif
#else
#define RIVLINK_LOCAL_EXPORT __attribute__((visibility("default")))
#endif
