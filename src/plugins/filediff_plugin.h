/*
 * The interface of file diff plug-ins, for C and C++. docs/filediff-plugins.md is its manual.
 *
 * A plug-in for files of the type "xyz" is a library "filediff_xyz.dll" ("filediff_xyz.so" on
 * Linux) in the agent's binary folder, and exports three functions:
 *
 *     FILEDIFF_EXPORT uint32_t FILEDIFF_CALL FilterVersion(void);
 *     FILEDIFF_EXPORT int32_t FILEDIFF_CALL Filter(void** state, const filediff_request* request);
 *     FILEDIFF_EXPORT void FILEDIFF_CALL Free(void* state);
 *
 * Nothing is allocated on one side and freed on the other. No exception may leave a function.
 */
#ifndef LATHWIND_FILEDIFF_PLUGIN_H
#define LATHWIND_FILEDIFF_PLUGIN_H

/* NOLINTBEGIN(modernize-*): this is C. */

#include <stdint.h>

#ifdef _WIN32
#define FILEDIFF_CALL __cdecl
#define FILEDIFF_LINKAGE __declspec(dllexport)
#else
#define FILEDIFF_CALL
#define FILEDIFF_LINKAGE __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define FILEDIFF_EXPORT extern "C" FILEDIFF_LINKAGE
extern "C" {
#else
#define FILEDIFF_EXPORT FILEDIFF_LINKAGE
#endif

/* What FilterVersion returns. It changes whenever the meaning of what stands below does; a host
 * refuses a plug-in of another version than its own. */
#define FILEDIFF_VERSION 1u

/* Appends `size` bytes to the result: UTF-8, not terminated, copied before the call returns. Lines
 * end with "\n"; a piece may begin and end anywhere, also within a character. Gives 0, or another
 * value if the host takes no more, after which Filter should return an error. */
typedef int32_t(FILEDIFF_CALL* filediff_write)(void* context, const char* text, uint32_t size);

/* One comparison. The host's own, and good until Filter returns. */
typedef struct filediff_request {
    /* Of this structure, in bytes. Later hosts of this version may append fields. */
    uint32_t size;
    /* Sizes of the two contents, in bytes. A pointer to no bytes may be null. */
    uint32_t previous_size;
    uint32_t current_size;
    uint32_t reserved; /* 0 */
    const uint8_t* previous;
    const uint8_t* current;
    filediff_write write;
    void* context; /* to be handed to `write` */
} filediff_request;

/* The types of the exported functions. */

typedef uint32_t(FILEDIFF_CALL* filediff_version_entry)(void);

/* Writes the difference through request->write; nothing for none. `*state` is null when a file is
 * compared for the first time, then what the last call for this file has left there. 0 is success;
 * with any other result what was written is thrown away. */
typedef int32_t(FILEDIFF_CALL* filediff_filter_entry)(void** state,
                                                      const filediff_request* request);

/* Releases a state; never called with null. */
typedef void(FILEDIFF_CALL* filediff_free_entry)(void* state);

#ifdef __cplusplus
}
#endif

/* NOLINTEND(modernize-*) */

#endif
