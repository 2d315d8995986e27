/*
 * A collector plug-in as an example: it passes one record when it starts, and one when it ends. The
 * real work of a collector would be done by a thread that PluginInitialize starts and that
 * PluginTerminate ends.
 */
#include <stdlib.h>
#include <string.h>

#include "plugins/collector_plugin.h"

typedef struct sample_collector {
    const collector_host* host;
} sample_collector;

static collector_text text_of(const char* bytes) {
    collector_text text;
    text.bytes = bytes;
    text.size = (uint32_t)strlen(bytes);
    return text;
}

static void tell(const collector_host* host, int32_t kind, int64_t time, const char* message) {
    const collector_text fields[] = {text_of("sample"), text_of(message)};
    collector_record record;
    memset(&record, 0, sizeof(record));
    record.size = sizeof(record);
    record.kind = kind;
    record.time = time;
    record.text = text_of(message);
    record.fields = fields;
    record.field_count = 2;
    host->pass(host->context, &record);
}

COLLECTOR_EXPORT void* COLLECTOR_CALL PluginInitialize(const collector_host* host) {
    if (host->version != COLLECTOR_VERSION || host->size < sizeof(*host)) {
        return NULL;
    }
    sample_collector* collector = malloc(sizeof(*collector));
    if (collector == NULL) {
        return NULL;
    }
    collector->host = host;
    tell(host, COLLECTOR_KIND_STATUS, 1000000000, "The sample collector has started");
    return collector;
}

COLLECTOR_EXPORT void COLLECTOR_CALL PluginTerminate(void* plugin) {
    sample_collector* collector = plugin;
    tell(collector->host, COLLECTOR_KIND_EVENT, 0, "The sample collector ends");
    free(collector);
}
