// Stands before the C library's allocator and keeps the largest amount that was ever allocated at once, to the byte.

#include <cstddef>
#include <malloc.h>

std::size_t heap_peak = 0;
namespace {

std::size_t held = 0;

} // namespace

extern "C" {

void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);
void __libc_free(void *memory);

namespace {

void *taken(void *memory) {
    held += malloc_usable_size(memory);
    heap_peak = held > heap_peak ? held : heap_peak;
    return memory;
}

} // namespace

void *malloc(std::size_t size) {
    return taken(__libc_malloc(size));
}
void *calloc(std::size_t count, std::size_t size) {
    return taken(__libc_calloc(count, size));
}
void *realloc(void *memory, std::size_t size) {
    const std::size_t before = malloc_usable_size(memory);
    void *moved = __libc_realloc(memory, size);
    held -= moved != nullptr || size == 0 ? before : 0;
    return moved != nullptr ? taken(moved) : nullptr;
}
void free(void *memory) {
    held -= malloc_usable_size(memory);
    __libc_free(memory);
}
}
