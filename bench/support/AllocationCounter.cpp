#include "bench/support/AllocationCounter.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>

#include <execinfo.h>
#include <unistd.h>

namespace {

std::atomic<long> sAllocations{0};
std::atomic<long> sFrameSizedAllocations{0};
std::atomic<bool> sTracing{false};

}  // namespace

namespace BenchAllocations {

long Count() { return sAllocations.load(); }
long FrameSizedCount() { return sFrameSizedAllocations.load(); }
void SetTracing(bool tracing) { sTracing = tracing; }

}  // namespace BenchAllocations

void* operator new(std::size_t size) {
    sAllocations.fetch_add(1, std::memory_order_relaxed);
    if (size >= BenchAllocations::kFrameSizedBytes) {
        sFrameSizedAllocations.fetch_add(1, std::memory_order_relaxed);
    }
    if (sTracing.exchange(false)) {  // the trace itself must not be traced
        void* stack[16];
        int const depth = backtrace(stack, 16);
        char header[64];
        int const length = std::snprintf(header, sizeof header, "new(%zu)\n", size);
        [[maybe_unused]] ssize_t const written = write(STDOUT_FILENO, header, size_t(length));
        backtrace_symbols_fd(stack + 1, depth - 1, STDOUT_FILENO);
        sTracing = true;
    }
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
