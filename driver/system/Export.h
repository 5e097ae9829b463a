#pragma once

/// RIVLINK_SYSTEM_EXPORT exports a symbol of the plug-in library `rivlink_system`; all others are hidden.
#if defined(_WIN32)
#if defined(rivlink_system_EXPORTS)
#define RIVLINK_SYSTEM_EXPORT __declspec(dllexport)
#else
#define RIVLINK_SYSTEM_EXPORT __declspec(dllimport)
#endif
#else
#define RIVLINK_SYSTEM_EXPORT __attribute__((visibility("default")))
#endif
