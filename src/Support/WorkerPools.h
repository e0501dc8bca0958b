#pragma once
// Lumevar's own worker threads. Qt's global pool (QThreadPool::globalInstance()) is left to Qt:
// its raster engine and image conversions split large fills and conversions into parts run on
// that pool, and the painting thread waits for every part. Work of ours holding the global
// pool's threads (a scan reading tags for seconds) made each such paint wait as long, and the
// window froze. Every long-running job of the application therefore runs on one of these.
// Each pool starts its threads when work comes and lets them go after 30 s without any.

class QThreadPool;

namespace WorkerPools {

// The library backend's work: reading tags, digesting and grouping the library index; decoding a
// server's answers into items (one thread a core).
QThreadPool &library();
// The store's side work: preparing a sync's songs while the store writes (one thread a core).
QThreadPool &store();
// Short jobs that block on something outside: starting the audio engine, touching cache files.
QThreadPool &background();

} // namespace WorkerPools
