#include "support/allocations.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local long made = 0;
thread_local long alive = 0;
thread_local long untilFailure = 0; // 0: none is to fail
thread_local int ownDepth = 0;

/// In front of each block: whether it counts. As long as the strictest alignment that operator new promises.
struct alignas(__STDCPP_DEFAULT_NEW_ALIGNMENT__) Header {
    bool counted;
};

} // namespace

void* operator new(std::size_t size)
{
    const bool counted = ownDepth == 0;
    if (counted && untilFailure > 0 && --untilFailure == 0) {
        throw std::bad_alloc();
    }
    void* memory = std::malloc(sizeof(Header) + size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    if (counted) {
        ++made;
        ++alive;
    }
    return new (memory) Header{counted} + 1;
}

void operator delete(void* block) noexcept
{
    if (block == nullptr) {
        return;
    }
    Header* header = static_cast<Header*>(block) - 1;
    if (header->counted) {
        --alive;
    }
    std::free(header);
}

void operator delete(void* block, std::size_t) noexcept
{
    operator delete(block);
}

namespace zantest {

long allocationsMade()
{
    return made;
}

long allocationsAlive()
{
    return alive;
}

FailingAllocation::FailingAllocation(long nth)
{
    untilFailure = nth;
}

FailingAllocation::~FailingAllocation()
{
    untilFailure = 0;
}

bool FailingAllocation::happened() const
{
    return untilFailure == 0;
}

OwnAllocations::OwnAllocations()
{
    ++ownDepth;
}

OwnAllocations::~OwnAllocations()
{
    --ownDepth;
}

} // namespace zantest
