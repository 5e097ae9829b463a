#pragma once

/// RIVLINK_SIMULATED_EXPORT exports a symbol of the plug-in library `rivlink_simulated`; all others are
/// hidden.
#if defined(_WIN32)
#if defined(rivlink_simulated_EXPORTS)
#define RIVLINK_SIMULATED_EXPORT __declspec(dllexport)
#else
#define RIVLINK_SIMULATED_EXPORT __declspec(dllimport)
#endif
#else
#define RIVLINK_SIMULATED_EXPORT __attribute__((visibility("default")))
#endif
