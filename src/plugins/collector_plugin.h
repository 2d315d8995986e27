/*
 * The interface of collector plug-ins, for C and C++. docs/collector-plugins.md is its manual.
 *
 * A collector plug-in is a library in the agent's binary folder that brings events of its own. It
 * exports two functions:
 *
 *     COLLECTOR_EXPORT void* COLLECTOR_CALL PluginInitialize(const collector_host* host);
 *     COLLECTOR_EXPORT void COLLECTOR_CALL PluginTerminate(void* plugin);
 *
 * Nothing is allocated on one side and freed on the other. No exception may leave a function.
 */
#ifndef LATHWIND_COLLECTOR_PLUGIN_H
#define LATHWIND_COLLECTOR_PLUGIN_H

/* NOLINTBEGIN(modernize-*): this is C. */

#include <stdint.h>

#ifdef _WIN32
#define COLLECTOR_CALL __cdecl
#define COLLECTOR_LINKAGE __declspec(dllexport)
#else
#define COLLECTOR_CALL
#define COLLECTOR_LINKAGE __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define COLLECTOR_EXPORT extern "C" COLLECTOR_LINKAGE
extern "C" {
#else
#define COLLECTOR_EXPORT COLLECTOR_LINKAGE
#endif

/* What collector_host.version holds. It changes whenever the meaning of what stands below does; a
 * plug-in refuses a host of another version by returning null from PluginInitialize. */
#define COLLECTOR_VERSION 1u

/* UTF-8, not terminated. A pointer to no bytes may be null. */
typedef struct collector_text {
    const char* bytes;
    uint32_t size;
} collector_text;

/* One thing that happened. The plug-in's own, and read before `pass` returns. */
typedef struct collector_record {
    /* Of this structure, in bytes. */
    uint32_t size;
    /* COLLECTOR_KIND_STATUS, or any other number. */
    int32_t kind;
    /* Seconds since 1970-01-01, universal time; 0 for the moment at which it is passed. */
    int64_t time;
    collector_text text;
    /* The event's own values, in order. */
    const collector_text* fields;
    uint32_t field_count;
} collector_record;

#define COLLECTOR_KIND_EVENT 1
#define COLLECTOR_KIND_STATUS 2

/* What `pass` returns. */
#define COLLECTOR_STORED 0
#define COLLECTOR_NEAR_FULL 1 /* stored, and the queue is filling up */
#define COLLECTOR_FULL 2      /* lost */
#define COLLECTOR_STOPPED 3   /* lost: the agent is stopping */
#define COLLECTOR_REFUSED 4   /* lost: the record breaks the interface */

/* Copies the record and queues it. Any thread of the plug-in may call, until PluginTerminate
 * returns. */
typedef int32_t(COLLECTOR_CALL* collector_pass)(void* context, const collector_record* record);

/* The agent's side. It stays until PluginTerminate has returned. */
typedef struct collector_host {
    uint32_t size; /* of this structure; later hosts of this version may append fields */
    uint32_t version;
    void* context; /* to be handed to `pass` */
    collector_pass pass;
} collector_host;

/* The types of the exported functions. */

/* Gives the plug-in's object, whatever that is, or null when it cannot work. Threads that it starts
 * may pass records at once. */
typedef void*(COLLECTOR_CALL* collector_initialize_entry)(const collector_host* host);

/* Ends the plug-in's threads and frees the object. No call of `pass` may be under way or come when
 * it returns. */
typedef void(COLLECTOR_CALL* collector_terminate_entry)(void* plugin);

#ifdef __cplusplus
}
#endif

/* NOLINTEND(modernize-*) */

#endif
