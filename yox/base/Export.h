#pragma once

// What the shared library shows to its consumers. Everything else is hidden. Objects that are
// linked without the shared library (the unit tests) are compiled with YOX_STATIC.
#if defined(YOX_STATIC)
#define YOX_API
#define YOX_LOCAL
#elif defined(_WIN32)
#if defined(YOX_BUILDING)
#define YOX_API __declspec(dllexport)
#else
#define YOX_API __declspec(dllimport)
#endif
#define YOX_LOCAL
#else
#define YOX_API __attribute__((visibility("default")))
// For a private class within an exported one, which would be exported with it.
#define YOX_LOCAL __attribute__((visibility("hidden")))
#endif

// Inside yox, and inside the namespace of the specified interface, platform names one namespace.
namespace yox::platform {}
namespace YOX {
namespace platform = yox::platform;
}
