// What the library asks of the heap. Allocations are the library's when its code asks for them, whichever
// thread runs it. A stream that it opens takes one more, and a buffer, in the C library.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "ovrafocus/ovrafocus.h"
#include "tests/budgets/figures.h"
#include "virtual_projector/launcher/session.h"

extern "C" {
// The C library's own, after the ones below.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);
}

namespace {

std::atomic<std::uintptr_t> library_begin{0};
std::atomic<std::uintptr_t> library_end{0};
std::atomic<long> allocations{0};
std::atomic<long> releases{0};

bool is_library(const void* caller) {
    const auto address = reinterpret_cast<std::uintptr_t>(caller);
    return address >= library_begin && address < library_end;
}

void* counted(void* memory, const void* caller) {
    if (memory != nullptr && is_library(caller)) ++allocations;
    return memory;
}

void release(void* memory, const void* caller) {
    if (memory != nullptr && is_library(caller)) ++releases;
    __libc_free(memory);
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) { return counted(__libc_malloc(size), __builtin_return_address(0)); }

void* calloc(std::size_t count, std::size_t size) {
    return counted(__libc_calloc(count, size), __builtin_return_address(0));
}

void* realloc(void* memory, std::size_t size) {
    if (memory == nullptr) return counted(__libc_malloc(size), __builtin_return_address(0));
    return __libc_realloc(memory, size);
}

void free(void* memory) { release(memory, __builtin_return_address(0)); }

}  // extern "C"

void* operator new(std::size_t size) {
    void* const memory = counted(__libc_malloc(size), __builtin_return_address(0));
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept { release(memory, __builtin_return_address(0)); }
void operator delete(void* memory, std::size_t) noexcept { release(memory, __builtin_return_address(0)); }

namespace {

constexpr useconds_t second_us = 1000000;
constexpr int rest_s = 60;

int note_code_of(dl_phdr_info* object, std::size_t, void* base) {
    if (object->dlpi_addr != reinterpret_cast<std::uintptr_t>(base)) return 0;
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = object->dlpi_phdr[i];
        if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0) continue;
        library_begin = object->dlpi_addr + segment.p_vaddr;
        library_end = library_begin + segment.p_memsz;
    }
    return 1;
}

void find_library() {
    Dl_info info{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&varnel_autofocus), &info), 0);
    dl_iterate_phdr(note_code_of, info.dli_fbase);
    ASSERT_TRUE(is_library(reinterpret_cast<void*>(&varnel_autofocus)));
}

/// The library on the standard unit, tilted, with its threads running and at rest.
struct Heap : ::testing::Test {
    Heap() {
        find_library();
        static app_callback_table callbacks{};
        app_callback_init(&callbacks);
        EXPECT_EQ(ovrafocus_init(), 0);
        EXPECT_EQ(ovra_sys_param_init(), 0);
        EXPECT_EQ(ovra_gsensor_init(), 0);
        EXPECT_EQ(ovra_akaf_init(), 0);
        usleep(10 * second_us);
        start();
    }
    void start() {
        allocations = 0;
        releases = 0;
    }
    static vp::RunOptions tilted_unit() {
        vp::RunOptions options;
        options.parameters = {{"pose.pitch_deg", 12}};
        return options;
    }

    vp::Session session{tilted_unit()};
};

TEST_F(Heap, IsNotAskedAtRest) {
    usleep(rest_s * second_us);
    budgets::expect_within("heap.rest", static_cast<double>(allocations) / rest_s, "allocations a second");
    EXPECT_EQ(releases, 0);
}

TEST_F(Heap, IsNotAskedForAGravitySample) {
    for (int i = 0; i < 100; ++i) acc_event_read();
    budgets::expect_within("heap.gravity_sample", static_cast<double>(allocations) / 100, "allocations");
}

TEST_F(Heap, IsGivenBackAfterARunOfBoth) {
    varnel_autofocus();
    usleep(20 * second_us);
    ASSERT_EQ(varnel_get_state_autofocus(), 0);
    budgets::expect_within("heap.akaf_run", static_cast<double>(allocations), "allocations");
    EXPECT_EQ(releases, allocations);
}

TEST_F(Heap, IsGivenBackAfterAKeystoneRun) {
    EXPECT_EQ(varnel_keystone(0), 0);
    EXPECT_GT(allocations, 0) << "nothing was counted";
    budgets::expect_within("heap.keystone_run", static_cast<double>(allocations), "allocations");
    EXPECT_EQ(releases, allocations);
}

}  // namespace
