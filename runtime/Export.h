#pragma once

/// RIVLINK_RUNTIME_EXPORT marks what the shared library `rivlink_runtime` offers to others; everything else
/// stays hidden.
#if defined(_WIN32)
#if defined(rivlink_runtime_EXPORTS)
#define RIVLINK_RUNTIME_EXPORT __declspec(dllexport)
#else
#define RIVLINK_RUNTIME_EXPORT __declspec(dllimport)
#endif
#else
#define RIVLINK_RUNTIME_EXPORT __attribute__((visibility("default")))
#endif
