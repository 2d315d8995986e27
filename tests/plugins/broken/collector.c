/*
 * Collector plug-ins that cannot be used: NO_TERMINATE lacks an entry, any other refuses its host.
 */
#include <stddef.h>

#include "plugins/collector_plugin.h"

COLLECTOR_EXPORT void* COLLECTOR_CALL PluginInitialize(const collector_host* host) {
    (void)host;
    return NULL;
}

#ifndef NO_TERMINATE
COLLECTOR_EXPORT void COLLECTOR_CALL PluginTerminate(void* plugin) {
    (void)plugin;
}
#endif
