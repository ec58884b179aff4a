// Replaces the global allocation functions of the test program so that a
// test can tell how much memory a decode claimed at once. Kept in a file of
// its own so that the compiler never sees these paired with their callers.
#include "tests/encoding/EncodingTestSupport.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

size_t largest = 0;  // the tests run on one thread

}  // namespace

void* operator new(size_t size) {
    largest = std::max(largest, size);
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}

namespace tavu::test {

void resetLargestAllocation() {
    largest = 0;
}

size_t largestAllocation() {
    return largest;
}

}  // namespace tavu::test
