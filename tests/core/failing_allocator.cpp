// SPDX-License-Identifier: Apache-2.0
#include "tests/core/failing_allocator.h"

#include <cerrno>
#include <cstddef>

// glibc's own allocator under the names that are not replaced.
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void __libc_free(void *block);
}

namespace {

struct State {
    bool counting = false;
    bool failed = false;
    bool from_then_on = false;
    long until_failure = 0;  // 0: none shall fail
    long live = 0;
};

// Limited to the thread under test: the log's thread must be able to allocate.
thread_local State g_state;

bool IsToFail() {
    State &state = g_state;
    if (!state.counting || state.until_failure == 0) return false;
    if (--state.until_failure > 0) return false;
    if (state.from_then_on) state.until_failure = 1;
    state.failed = true;
    errno = ENOMEM;
    return true;
}

void *Counted(void *block) {
    if (block != nullptr && g_state.counting) ++g_state.live;
    return block;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void *malloc(size_t size) {
    return IsToFail() ? nullptr : Counted(__libc_malloc(size));
}

__attribute__((visibility("default"))) void *calloc(size_t count, size_t size) {
    return IsToFail() ? nullptr : Counted(__libc_calloc(count, size));
}

__attribute__((visibility("default"))) void *realloc(void *block, size_t size) {
    if (IsToFail()) return nullptr;
    void *moved = __libc_realloc(block, size);
    return block == nullptr ? Counted(moved) : moved;
}

__attribute__((visibility("default"))) void free(void *block) {
    if (block != nullptr && g_state.counting) --g_state.live;
    __libc_free(block);
}

}  // extern "C"

namespace zafo::core_test {

void FailingAllocator::Begin(long nth, Mode mode) {
    g_state = {.counting = true,
               .failed = false,
               .from_then_on = mode == Mode::kFromThenOn,
               .until_failure = nth,
               .live = 0};
}

void FailingAllocator::StopFailing() {
    g_state.until_failure = 0;
}

long FailingAllocator::End() {
    g_state.counting = false;
    return g_state.live;
}

bool FailingAllocator::HasFailed() {
    return g_state.failed;
}

}  // namespace zafo::core_test
