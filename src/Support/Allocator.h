#pragma once
// Process-wide allocator work. Large blocks (a list of 100,000 song records is 27 MB) are left to
// glibc's own rule, mapped from the kernel and given back when freed: kept in the heap instead,
// they saved no measurable time and pinned free heap pages between the library's long-lived
// records (27 MB more resident at an idle relaunch over 100,000 songs).

namespace Allocator {

// Gives the free pages of the heap back to the system. For the end of a large one-off job (a scan
// of the music folder, a full sync), whose transient blocks would otherwise stay resident.
void releaseFreeMemory();

} // namespace Allocator
