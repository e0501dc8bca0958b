#include "Support/Allocator.h"

// <cstdlib> brings the C library's own header that defines __GLIBC__; tested before any include,
// the macro is never set and the trim would do nothing.
#include <cstdlib>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace Allocator {

void releaseFreeMemory()
{
#if defined(__GLIBC__)
    malloc_trim(0);
#endif
}

} // namespace Allocator
