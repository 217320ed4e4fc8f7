// Symbol export for the shared library: everything is hidden by default and the public classes
// and functions carry OMBREL_API.
#pragma once

#if defined(_WIN32)
#if defined(OMBREL_BUILDING_LIBRARY)
#define OMBREL_API __declspec(dllexport)
#else
#define OMBREL_API __declspec(dllimport)
#endif
#else
#define OMBREL_API __attribute__((visibility("default")))
#endif
