/* The version of the library whose headers these are. Usable from C. */
#ifndef TKVERSION_H
#define TKVERSION_H

#define TKGEN_VERSION_MAJOR 0
#define TKGEN_VERSION_MINOR 1
#define TKGEN_VERSION_PATCH 0

/* All three as text: "0.1.0". */
#define TKGEN_VERSION                                                                              \
    TKGEN_VERSION_TEXT(TKGEN_VERSION_MAJOR, TKGEN_VERSION_MINOR, TKGEN_VERSION_PATCH)

/* Helpers of the above. */
#define TKGEN_VERSION_TEXT(major, minor, patch) TKGEN_VERSION_JOIN(major, minor, patch)
#define TKGEN_VERSION_JOIN(major, minor, patch) #major "." #minor "." #patch

#endif
