/* What the library's shared build shows to others. Usable from C. */
#ifndef TKEXPORT_H
#define TKEXPORT_H

#if defined(TKGEN_STATIC)
#define TKGEN_EXPORT
#elif defined(_WIN32)
#if defined(TKGEN_BUILDING)
#define TKGEN_EXPORT __declspec(dllexport)
#else
#define TKGEN_EXPORT __declspec(dllimport)
#endif
#else
#define TKGEN_EXPORT __attribute__((visibility("default")))
#endif

#endif
