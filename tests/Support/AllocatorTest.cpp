// Freed heap goes back to the system when asked, even when it lies below blocks still in use
// (where glibc never gives it back by itself).
#include "Support/Allocator.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <utility>
#include <vector>

namespace {

// Resident pages of this process, in bytes.
long long residentBytes()
{
    std::ifstream statm("/proc/self/statm");
    long long size = 0, resident = 0;
    statm >> size >> resident;
    return resident * 4096;
}

} // namespace

TEST(Allocator, FreedHeapBelowLiveBlocksIsReturned)
{
#if !defined(__GLIBC__)
    GTEST_SKIP() << "only glibc keeps freed heap";
#elif defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "AddressSanitizer serves malloc from its own heap, which malloc_trim does not touch";
#elif defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "ThreadSanitizer serves malloc from its own heap, which malloc_trim does not touch";
#else
    // 64 MB in blocks of 1 KB (what a library's texts look like); one block in 64 stays in use, so
    // the freed runs between them are never at the top of the heap.
    constexpr size_t blockSize = 1024, count = 64 * 1024, keptEvery = 64;
    std::vector<void *> blocks(count);
    for (void *&block : blocks) {
        block = std::malloc(blockSize);
        std::memset(block, 1, blockSize);
    }
    for (size_t i = 0; i < count; ++i) {
        if (i % keptEvery != keptEvery - 1)
            std::free(std::exchange(blocks[i], nullptr));
    }
    const long long before = residentBytes();
    Allocator::releaseFreeMemory();
    const long long after = residentBytes();
    for (void *block : blocks)
        std::free(block);
    EXPECT_LT(after, before - 32LL * 1024 * 1024) << "resident before " << before << ", after " << after;
#endif
}
