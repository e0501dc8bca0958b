#include "Support/Allocator.h"

// <cstdlib> brings the C library's own header that defines __GLIBC__; tested before any include,
// the macro is never set and both functions would do nothing.
#include <cstdlib>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace Allocator {

void keepLargeBlocksInHeap()
{
#if defined(__GLIBC__)
    // Blocks up to 256 MB come from the heap, and up to 128 MB of free heap stay with the process.
    mallopt(M_MMAP_THRESHOLD, 256 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 128 * 1024 * 1024);
#endif
}

void releaseFreeMemory()
{
#if defined(__GLIBC__)
    malloc_trim(0);
#endif
}

} // namespace Allocator
