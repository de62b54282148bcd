// What a library exports. Everything else stays hidden inside it.
#pragma once

/// Marks what the framework library exports: for its own headers.
#if !defined(_WIN32)
#define OMBREL_API __attribute__((visibility("default")))
#elif defined(OMBREL_BUILDING_FRAMEWORK)
#define OMBREL_API __declspec(dllexport)
#elif defined(OMBREL_STATIC_FRAMEWORK)
#define OMBREL_API
#else
#define OMBREL_API __declspec(dllimport)
#endif

/// Marks an entry of a backend plug-in, exported under its plain name from the plug-in that defines
/// it. See model/backend.h for the two that the contract names; a plug-in whose host looks its
/// entries up by other names marks those with it.
#if defined(_WIN32)
#define OMBREL_ENTRY extern "C" __declspec(dllexport)
#else
#define OMBREL_ENTRY extern "C" __attribute__((visibility("default")))
#endif
