#pragma once

#include <cstddef>

// Replaces the allocator of the whole process, libraries included, by one that can be told to fail.
namespace memory {

/// What fails.
enum class Failing {
    operatorNew, ///< C++'s operator new only
    everything,  ///< malloc, calloc and realloc, and with them operator new and all of the C libraries
};

/// How often it fails from the given allocation on.
enum class Times { once, forever };

/// Lets the allocation number `nth` (from 1) of those within `Inside` fail from now on.
void arm(Failing failing, Times times, std::size_t nth);

/// Ends that.
/// @return whether an allocation has failed since `arm`
bool disarm();

/// While one lives, allocations count, and fail.
class Inside {
public:
    Inside();
    ~Inside();
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
};

/// Blocks that are allocated now.
long liveBlocks();

} // namespace memory
