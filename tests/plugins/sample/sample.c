/*
 * A file diff plug-in as an example: the type "sample" tells how many lines and bytes a file has,
 * and where the first byte differs, without saying what the bytes are.
 */
#include <stdio.h>
#include <stdlib.h>

#include "plugins/filediff_plugin.h"

/* What is kept for one file. */
typedef struct sample_state {
    unsigned changes;
} sample_state;

static uint32_t count_lines(const uint8_t* bytes, uint32_t size) {
    uint32_t lines = 0;
    for (uint32_t i = 0; i < size; ++i) {
        lines += bytes[i] == '\n';
    }
    return lines;
}

static uint32_t first_difference(const filediff_request* request) {
    uint32_t at = 0;
    while (at < request->previous_size && at < request->current_size &&
           request->previous[at] == request->current[at]) {
        ++at;
    }
    return at;
}

FILEDIFF_EXPORT uint32_t FILEDIFF_CALL FilterVersion(void) {
    return FILEDIFF_VERSION;
}

FILEDIFF_EXPORT int32_t FILEDIFF_CALL Filter(void** state, const filediff_request* request) {
    const uint32_t at = first_difference(request);
    if (at == request->previous_size && at == request->current_size) {
        return 0; /* nothing written: no difference */
    }
    sample_state* kept = *state;
    if (kept == NULL) {
        kept = calloc(1, sizeof(*kept));
        if (kept == NULL) {
            return 1;
        }
        *state = kept;
    }
    ++kept->changes;

    char text[160];
    const int length = snprintf(text, sizeof(text),
                                "Lines: %u -> %u\nBytes: %u -> %u\nChange %u, from byte %u on\n",
                                (unsigned)count_lines(request->previous, request->previous_size),
                                (unsigned)count_lines(request->current, request->current_size),
                                (unsigned)request->previous_size, (unsigned)request->current_size,
                                kept->changes, (unsigned)at);
    return request->write(request->context, text, (uint32_t)length);
}

FILEDIFF_EXPORT void FILEDIFF_CALL Free(void* state) {
    free(state);
}
