#include "memory.h"

#include <cerrno>
#include <cstdlib>
#include <new>

namespace {

using memory::Failing;
using memory::Times;

struct State {
    bool armed = false;
    bool inside = false;
    Failing failing = Failing::everything;
    Times times = Times::once;
    std::size_t nth = 0;
    std::size_t counted = 0;
    bool failed = false;
};
State state;
long blocks = 0;

bool fails(Failing kind)
{
    if (!state.armed || !state.inside || state.failing != kind) {
        return false;
    }
    ++state.counted;
    if (state.counted == state.nth || (state.counted > state.nth && state.times == Times::forever)) {
        state.failed = true;
        return true;
    }
    return false;
}

void* counted(void* block)
{
    blocks += block != nullptr ? 1 : 0;
    return block;
}

} // namespace

// The C library's own functions under their second names.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) noexcept
{
    if (fails(Failing::everything)) {
        errno = ENOMEM;
        return nullptr;
    }
    return counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    if (fails(Failing::everything)) {
        errno = ENOMEM;
        return nullptr;
    }
    return counted(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) noexcept
{
    if (size != 0 && fails(Failing::everything)) {
        errno = ENOMEM;
        return nullptr;
    }
    void* moved = __libc_realloc(block, size);
    if (block == nullptr) {
        return counted(moved);
    }
    blocks -= size == 0 ? 1 : 0;
    return moved;
}

void free(void* block) noexcept
{
    blocks -= block != nullptr ? 1 : 0;
    __libc_free(block);
}
}

void* operator new(std::size_t size)
{
    if (fails(Failing::operatorNew)) {
        throw std::bad_alloc();
    }
    if (void* block = std::malloc(size == 0 ? 1 : size)) {
        return block;
    }
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}

namespace memory {

void arm(Failing failing, Times times, std::size_t nth)
{
    state = {true, false, failing, times, nth, 0, false};
}

bool disarm()
{
    state.armed = false;
    return state.failed;
}

Inside::Inside()
{
    state.inside = true;
}

Inside::~Inside()
{
    state.inside = false;
}

long liveBlocks()
{
    return blocks;
}

} // namespace memory
