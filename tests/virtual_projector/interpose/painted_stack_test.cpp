#include "virtual_projector/interpose/painted_stack.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/virtual_projector/interpose/machine_fixture.h"

// An entry function with a name that a table of threads can show.
extern "C" void* painted_stack_test_entry(void* bytes);

namespace {

using namespace interpose_test;
using vp::PaintedStack;

constexpr std::size_t kib = 1024;

// Writes to that much stack below the caller.
__attribute__((noinline)) void use_stack(std::size_t bytes) {
    auto* room = static_cast<volatile char*>(__builtin_alloca(bytes));
    for (std::size_t i = 0; i < bytes; i += 64) room[i] = 1;
}

TEST(PaintedStack, HasAtLeastTheSizeAskedForAndNoUseBeforeItsEntry) {
    const auto stack = PaintedStack::map(10'000);
    ASSERT_TRUE(stack);
    EXPECT_GE(stack->size(), 10'000U);
    EXPECT_EQ(stack->deepest_use(), 0U);
}

TEST(PaintedStack, MeasuresTheDeepestPlaceWrittenTo) {
    auto stack = PaintedStack::map(64 * kib);
    ASSERT_TRUE(stack);
    char* top = static_cast<char*>(stack->base()) + stack->size();
    stack->entered_at(top - 256);
    EXPECT_EQ(stack->deepest_use(), 0U);
    *(top - 256 - 4096) = 1;
    EXPECT_EQ(stack->deepest_use(), 4096U);
    *(top - 256 - 512) = 1;  // less deep
    EXPECT_EQ(stack->deepest_use(), 4096U);
}

TEST(PaintedStack, MeasuresUseBelowThePaintedPart) {
    auto stack = PaintedStack::map(1024 * kib);
    ASSERT_TRUE(stack);
    char* top = static_cast<char*>(stack->base()) + stack->size();
    stack->entered_at(top);
    for (char* place = top - 8; place >= top - 600 * kib; place -= 8) *place = 1;
    EXPECT_EQ(stack->deepest_use(), 600 * kib);
}

TEST(PaintedStack, CannotBeMappedBeyondAllMemory) {
    EXPECT_FALSE(PaintedStack::map(std::size_t{1} << (sizeof(void*) * 8 - 2)));
}

struct ThreadStacks : MachineTest {
    vp::StackUse use_of_thread_using(std::size_t bytes, const pthread_attr_t* attributes = nullptr) {
        pthread_t thread;
        EXPECT_EQ(pthread_create(&thread, attributes, painted_stack_test_entry, &bytes), 0);
        EXPECT_EQ(pthread_join(thread, nullptr), 0);
        const std::vector<vp::StackUse> uses = machine.threads().stack_uses();
        return uses.empty() ? vp::StackUse{} : uses.back();
    }
};

TEST_F(ThreadStacks, NameTheirThreadAndItsDeepestUse) {
    const vp::StackUse small = use_of_thread_using(1 * kib);
    const vp::StackUse large = use_of_thread_using(100 * kib);
    EXPECT_EQ(small.thread, 2);
    EXPECT_EQ(large.thread, 3);
    EXPECT_EQ(small.name, "painted_stack_test_entry");
    EXPECT_GE(small.deepest_use, 1 * kib);
    EXPECT_LT(small.deepest_use, 90 * kib);
    EXPECT_GE(large.deepest_use, 100 * kib);
    EXPECT_LT(large.deepest_use, 190 * kib);
    EXPECT_EQ(machine.threads().stack_uses().size(), 2U);
}

TEST_F(ThreadStacks, HaveTheSizeAskedForAndMore) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 512 * kib), 0);
    const vp::StackUse use = use_of_thread_using(400 * kib, &attributes);
    EXPECT_GE(use.size, 512 * kib);
    EXPECT_GE(use.deepest_use, 400 * kib);
    pthread_attr_destroy(&attributes);
}

TEST_F(ThreadStacks, OfTheProgramsOwnMakingAreLeftToIt) {
    constexpr std::size_t size = 4096 * kib;
    std::vector<std::uint64_t> memory(size / 8);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstack(&attributes, memory.data(), size), 0);
    const vp::StackUse use = use_of_thread_using(1 * kib, &attributes);
    EXPECT_EQ(use.thread, 0);  // none was measured
    pthread_attr_destroy(&attributes);
}

TEST_F(ThreadStacks, AreMeasuredForThreadsThatStillRun) {
    pthread_t thread;
    pthread_create(
        &thread, nullptr,
        [](void*) -> void* {
            use_stack(50 * kib);
            ::usleep(1000);
            return nullptr;
        },
        nullptr);
    ::usleep(10);
    const std::vector<vp::StackUse> uses = machine.threads().stack_uses();
    ASSERT_EQ(uses.size(), 1U);
    EXPECT_GE(uses[0].deepest_use, 50 * kib);
    pthread_join(thread, nullptr);
}

// A device that takes much stack is the projector's business, not the program's.
struct DeepDevice final : vp::Device {
    struct File final : vp::OpenFile {
        vp::Answer read(void*, std::size_t) override {
            use_stack(60 * kib);
            return vp::Answer::done(0);
        }
    };
    std::unique_ptr<vp::OpenFile> open(int, int&) override { return std::make_unique<File>(); }
};

TEST_F(ThreadStacks, ExactlyMeasuredAreWithoutTheProjectorsOwnUse) {
    devices.add("/dev/fb0", std::make_shared<DeepDevice>());
    machine.threads().measure_stacks_exactly();
    pthread_t thread;
    pthread_create(
        &thread, nullptr,
        [](void*) -> void* {
            const int fd = ::open("/dev/fb0", 0);
            char byte;
            (void)!::read(fd, &byte, 1);
            use_stack(8 * kib);
            (void)!::read(fd, &byte, 1);
            ::close(fd);
            return nullptr;
        },
        nullptr);
    pthread_join(thread, nullptr);
    const vp::StackUse use = machine.threads().stack_uses().back();
    EXPECT_GE(use.deepest_use, 8 * kib);
    EXPECT_LT(use.deepest_use, 16 * kib);
}

}  // namespace

void* painted_stack_test_entry(void* bytes) {
    use_stack(*static_cast<std::size_t*>(bytes));
    return nullptr;
}
