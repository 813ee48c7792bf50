#pragma once
// Every benchmark program counts its heap allocations: this file replaces operator new for
// the programs that link it. Allocations made with malloc inside libraries are not seen.

#include <cstddef>

namespace BenchAllocations {

// A quarter of a 640 x 480 ARGB frame already counts as frame-sized.
inline constexpr std::size_t kFrameSizedBytes = 640 * 480;

long Count();
long FrameSizedCount();
// While on, each allocation prints its size and call stack to standard output.
void SetTracing(bool tracing);

}  // namespace BenchAllocations
