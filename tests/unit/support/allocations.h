#pragma once

/// What the language's allocator is asked for on the calling thread, and its failure on demand. (Valgrind
/// puts its own operator new in the place of this one unless run with
/// --soname-synonyms=somalloc=nouserintercepts.)
namespace zantest {

/// Blocks that this thread got from operator new so far.
long allocationsMade();

/// Blocks that this thread got and has not given back: the same before and after means nothing leaked.
long allocationsAlive();

/// While it lives, the allocation number `nth` of this thread (counted from 1) throws std::bad_alloc, and
/// only that one.
class FailingAllocation {
public:
    explicit FailingAllocation(long nth);
    ~FailingAllocation();

    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /// Whether that allocation was asked for.
    bool happened() const;
};

/// While it lives, this thread's allocations are those of the test's own recorders: they are not counted and
/// do not fail.
class OwnAllocations {
public:
    OwnAllocations();
    ~OwnAllocations();

    OwnAllocations(const OwnAllocations&) = delete;
    OwnAllocations& operator=(const OwnAllocations&) = delete;
};

} // namespace zantest
