/*
 * A plug-in that breaks the interface in the way that the first byte of the current content names.
 * VERSION_SHIFT makes it one of another version, NO_FREE one that lacks an entry.
 */
#include <stddef.h>

#include "plugins/filediff_plugin.h"

#ifndef VERSION_SHIFT
#define VERSION_SHIFT 0
#endif

FILEDIFF_EXPORT uint32_t FILEDIFF_CALL FilterVersion(void) {
    return FILEDIFF_VERSION + VERSION_SHIFT;
}

FILEDIFF_EXPORT int32_t FILEDIFF_CALL Filter(void** state, const filediff_request* request) {
    static const char piece[65536];
    const char fault = request->current_size != 0 ? (char)request->current[0] : ' ';
    (void)state;
    switch (fault) {
        case 'e': /* an error after some text */
            request->write(request->context, "text", 4);
            return -7;
        case 'n': /* a size without bytes */
            return request->write(request->context, NULL, 5) != 0 ? 0 : 1;
        case 'c': /* no context */
            return request->write(NULL, "text", 4) != 0 ? 0 : 1;
        case 'm': /* more than the host takes, and no heed of its answer */
            for (int i = 0; i < 1100; ++i) {
                request->write(request->context, piece, sizeof(piece));
            }
            return 0;
        case 'u': /* in pieces, a letter cut in two, no UTF-8, a NUL, a gap, empty lines at the end
                   */
            request->write(request->context, "a\xC3", 2);
            request->write(request->context, NULL, 0);
            request->write(request->context, "\xA4\xFF\0\n\nb\n\n\n", 9);
            return 0;
        default:
            return 0;
    }
}

#ifndef NO_FREE
FILEDIFF_EXPORT void FILEDIFF_CALL Free(void* state) {
    (void)state;
}
#endif
