#pragma once
// Hand-overs between threads that a thread sanitizer cannot see by itself. Qt here is the
// system's build, not instrumented: a pool's job queue, a QFuture's result and a queued event
// pass through locks inside Qt, so what one thread wrote before such a hand-over and another
// reads after it looks like a race. release() on the giving side, once everything handed over is
// written, and acquire() on the taking side, before anything handed over is read, on the same
// address, order the two as the hidden lock does. Without the sanitizer both compile to nothing.

#if defined(__SANITIZE_THREAD__)
#define LUMEVAR_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define LUMEVAR_THREAD_SANITIZER 1
#endif
#endif

#ifdef LUMEVAR_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

namespace ThreadSanitizer {

inline void release([[maybe_unused]] const void *address)
{
#ifdef LUMEVAR_THREAD_SANITIZER
    __tsan_release(const_cast<void *>(address));
#endif
}

inline void acquire([[maybe_unused]] const void *address)
{
#ifdef LUMEVAR_THREAD_SANITIZER
    __tsan_acquire(const_cast<void *>(address));
#endif
}

} // namespace ThreadSanitizer
