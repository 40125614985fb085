/* Marks the functions and variables that the library exports, and the record that a format module
 * exports. */
#ifndef VOR_API_H
#define VOR_API_H

#if defined(_WIN32)
#if defined(VOR_BUILDING)
#define VOR_API __declspec(dllexport)
#else
#define VOR_API __declspec(dllimport)
#endif
#define VOR_MODULE_EXPORT __declspec(dllexport)
#else
#define VOR_API __attribute__((visibility("default")))
#define VOR_MODULE_EXPORT __attribute__((visibility("default")))
#endif

/* Lets the compiler hold the arguments of a printing call against its format. */
#if defined(__GNUC__)
#define VOR_PRINTF(format_at, first_at) __attribute__((format(printf, format_at, first_at)))
#else
#define VOR_PRINTF(format_at, first_at)
#endif

#endif
