#pragma once

/// RIVLINK_CORE_EXPORT exports a symbol of the shared library `rivlink_core`; all others are hidden.
#if defined(_WIN32)
#if defined(rivlink_core_EXPORTS)
#define RIVLINK_CORE_EXPORT __declspec(dllexport)
#else
#define RIVLINK_CORE_EXPORT __declspec(dllimport)
#endif
#else
#define RIVLINK_CORE_EXPORT __attribute__((visibility("default")))
#endif
