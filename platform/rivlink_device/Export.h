#pragma once

/// RIVLINK_DEVICE_EXPORT exports a symbol of the shared library `rivlink_device`; all others are hidden.
#if defined(_WIN32)
#if defined(rivlink_device_EXPORTS)
#define RIVLINK_DEVICE_EXPORT __declspec(dllexport)
#else
#define RIVLINK_DEVICE_EXPORT __declspec(dllimport)
#endif
#else
#define RIVLINK_DEVICE_EXPORT __attribute__((visibility("default")))
#endif
