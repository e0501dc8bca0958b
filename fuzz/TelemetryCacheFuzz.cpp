// The telemetry queue's cache file on arbitrary bytes: it is read at every launch, from a file
// another run (or anyone who can write the user's cache folder) left behind. What decodes must
// encode again into bytes that decode to the same records, and the wire body of those records
// must be made without a fault.

#include "FuzzKit.h"

#include "TelemetryDeck/SignalPostBody.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzKit::setUp();
    const std::optional<QList<SignalPostBody>> decoded = SignalPostBody::decodeFromCache(FuzzKit::bytes(data, size));
    if (!decoded)
        return 0;
    SignalPostBody::encodeForWire(*decoded);
    const QByteArray saved = SignalPostBody::encodeForCache(*decoded);
    const std::optional<QList<SignalPostBody>> reread = SignalPostBody::decodeFromCache(saved);
    // Compared as saved bytes, not records: a record may hold a value (NaN) unequal to itself.
    if (!reread || reread->size() != decoded->size() || SignalPostBody::encodeForCache(*reread) != saved)
        std::abort();
    return 0;
}
