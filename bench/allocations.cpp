#include "allocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t count = 0;

} // namespace

namespace quillo::bench {

std::size_t allocationsOfThisThread()
{
    return count;
}

} // namespace quillo::bench

void* operator new(std::size_t size)
{
    ++count;
    if (void* memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
