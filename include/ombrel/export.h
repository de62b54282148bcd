// Marks what the framework library exports. Everything else stays hidden inside it.
#pragma once

#if !defined(_WIN32)
#define OMBREL_API __attribute__((visibility("default")))
#elif defined(OMBREL_BUILDING_FRAMEWORK)
#define OMBREL_API __declspec(dllexport)
#elif defined(OMBREL_STATIC_FRAMEWORK)
#define OMBREL_API
#else
#define OMBREL_API __declspec(dllimport)
#endif
