#pragma once
// The per-user temporary folder of Lumevar: $XDG_RUNTIME_DIR/Lumevar when that variable names a
// usable folder, else "Lumevar/Temporary" under the user's cache directory. It is made with mode
// 0700 (and brought back to 0700 if found otherwise), so no other account can read or plant files
// in it. The shared /tmp is never used. Artwork thumbnails and notification pictures live here.

#include <QString>

namespace TemporaryDirectory {

// The folder's path, made on first use. Empty only when no folder could be made at all (the
// callers then skip their file writes). Thread-safe.
QString path();

// The same choice for the given runtime folder and cache folder, made now (for tests).
QString make(const QString &runtimeDirectory, const QString &cacheDirectory);

} // namespace TemporaryDirectory
