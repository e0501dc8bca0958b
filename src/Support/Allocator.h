#pragma once
// Process-wide allocator settings.

namespace Allocator {

// Song lists of a large library are blocks of tens of megabytes, made and dropped each time a list
// is sorted anew. glibc maps such blocks fresh from the kernel and unmaps them when freed, so every
// new list pays a page fault per 4 KB; served from the heap and kept there, the next list reuses
// the pages. Call once at start-up, before other threads run. Does nothing on other C libraries.
void keepLargeBlocksInHeap();

// Gives the free pages of the heap back to the system. For the end of a large one-off job (a scan
// of the music folder, a full sync), whose transient blocks would otherwise stay resident.
void releaseFreeMemory();

} // namespace Allocator
