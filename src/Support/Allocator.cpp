#include "Support/Allocator.h"

// <cstdlib> brings the C library's own header that defines __GLIBC__; tested before any include,
// the macro is never set and the trim would do nothing.
#include <cstdlib>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

// Under a sanitizer the sanitizer's allocator serves every malloc, so glibc's heap is never set
// up. Trimming it then runs glibc's lazy set-up, which is not safe from two threads at once and
// crashed a run where the scan and the store trimmed together. There is nothing to return anyway.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define LUMEVAR_SANITIZED_ALLOCATOR 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define LUMEVAR_SANITIZED_ALLOCATOR 1
#endif
#endif

namespace Allocator {

void releaseFreeMemory()
{
#if defined(__GLIBC__) && !defined(LUMEVAR_SANITIZED_ALLOCATOR)
    malloc_trim(0);
#endif
}

} // namespace Allocator
