// A call that succeeds leaves errno as it was, whatever the virtual projector has met while it answered.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/virtual_projector/interpose/machine_fixture.h"

namespace {

using namespace interpose_test;

constexpr int of_the_program = E2BIG;
constexpr int of_the_projector = EBADMSG;

int spoils = 0;

void spoil_errno() {
    errno = of_the_projector;
    ++spoils;
}

// Lets every thread keep its turn.
class SpoilingSchedule final : public vp::SchedulePolicy {
public:
    std::size_t choose(const vp::SchedulingPoint& point) override {
        spoil_errno();
        return point.last();
    }
};

void* nothing(void* /*argument*/) { return nullptr; }

struct ErrnoTest : MachineTest {
    ErrnoTest() : MachineTest(std::make_unique<SpoilingSchedule>()) { node->content = "1\n"; }

    /// Makes a call that succeeds.
    void expect_untouched(const std::string& name, const std::function<bool()>& call) {
        const int spoils_before = spoils;
        errno = of_the_program;
        const bool succeeded = call();
        const int errno_after = errno;
        EXPECT_TRUE(succeeded) << name;
        EXPECT_EQ(errno_after, of_the_program) << name;
        EXPECT_GT(spoils, spoils_before) << name;
    }
};

TEST_F(ErrnoTest, StaysAfterEachCallOnAFile) {
    int descriptor = -1;
    char byte = '1';
    std::uint32_t answer = 0;
    expect_untouched("open", [&] { return (descriptor = ::open(node_path, O_RDWR)) >= 0; });
    expect_untouched("read", [&] { return ::read(descriptor, &byte, 1) == 1; });
    expect_untouched("write", [&] { return ::write(descriptor, &byte, 1) == 1; });
    expect_untouched("ioctl", [&] { return ::ioctl(descriptor, 5, &answer) == 0; });
    expect_untouched("close", [&] { return ::close(descriptor) == 0; });
    expect_untouched("openat", [&] { return (descriptor = ::openat(AT_FDCWD, node_path, O_RDWR)) >= 0; });
    (void)::close(descriptor);
    FILE* stream = nullptr;
    expect_untouched("fopen", [&] { return (stream = std::fopen(node_path, "r")) != nullptr; });
    expect_untouched("fread", [&] { return std::fread(&byte, 1, 1, stream) == 1; });
    expect_untouched("fclose", [&] { return std::fclose(stream) == 0; });
}

TEST_F(ErrnoTest, StaysAfterEachCallOnTime) {
    timespec moment{0, 1000};
    timeval length{0, 1};
    timespec time{};
    timeval day{};
    expect_untouched("usleep", [&] { return ::usleep(1) == 0; });
    expect_untouched("sleep", [&] { return ::sleep(1) == 0; });
    expect_untouched("nanosleep", [&] { return ::nanosleep(&moment, nullptr) == 0; });
    expect_untouched("clock_nanosleep",
                     [&] { return ::clock_nanosleep(CLOCK_MONOTONIC, 0, &moment, nullptr) == 0; });
    expect_untouched("poll", [&] { return ::poll(nullptr, 0, 1) == 0; });
    expect_untouched("select", [&] { return ::select(0, nullptr, nullptr, nullptr, &length) == 0; });
    expect_untouched("gettimeofday", [&] { return ::gettimeofday(&day, nullptr) == 0; });
    expect_untouched("clock_gettime", [&] { return ::clock_gettime(CLOCK_REALTIME, &time) == 0; });
    expect_untouched("time", [&] { return ::time(nullptr) > 0; });
}

TEST_F(ErrnoTest, StaysAfterEachCallOnThreads) {
    pthread_t thread{};
    expect_untouched("pthread_create",
                     [&] { return ::pthread_create(&thread, nullptr, nothing, nullptr) == 0; });
    expect_untouched("pthread_join", [&] { return ::pthread_join(thread, nullptr) == 0; });
}

TEST_F(ErrnoTest, StaysAfterEachCallOnLocks) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
    const timespec far = {2'000'000'000, 0};
    expect_untouched("pthread_mutex_lock", [&] { return ::pthread_mutex_lock(&mutex) == 0; });
    expect_untouched("pthread_mutex_unlock", [&] { return ::pthread_mutex_unlock(&mutex) == 0; });
    expect_untouched("pthread_mutex_trylock", [&] { return ::pthread_mutex_trylock(&mutex) == 0; });
    (void)::pthread_mutex_unlock(&mutex);
    expect_untouched("pthread_mutex_timedlock", [&] { return ::pthread_mutex_timedlock(&mutex, &far) == 0; });
    (void)::pthread_mutex_unlock(&mutex);
    expect_untouched("pthread_rwlock_rdlock", [&] { return ::pthread_rwlock_rdlock(&lock) == 0; });
    expect_untouched("pthread_rwlock_unlock", [&] { return ::pthread_rwlock_unlock(&lock) == 0; });
    expect_untouched("pthread_rwlock_wrlock", [&] { return ::pthread_rwlock_wrlock(&lock) == 0; });
    (void)::pthread_rwlock_unlock(&lock);
}

TEST_F(ErrnoTest, StaysAfterEachCallOnConditionsAndSemaphores) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    sem_t semaphore;
    (void)::sem_init(&semaphore, 0, 0);
    const timespec far = {2'000'000'000, 0};
    const timespec past = {0, 0};
    (void)::pthread_mutex_lock(&mutex);
    // A timeout is told by the result, not by errno.
    expect_untouched("pthread_cond_timedwait",
                     [&] { return ::pthread_cond_timedwait(&condition, &mutex, &past) == ETIMEDOUT; });
    expect_untouched("pthread_cond_clockwait", [&] {
        return ::pthread_cond_clockwait(&condition, &mutex, CLOCK_MONOTONIC, &past) == ETIMEDOUT;
    });
    expect_untouched("pthread_cond_signal", [&] { return ::pthread_cond_signal(&condition) == 0; });
    expect_untouched("pthread_cond_broadcast", [&] { return ::pthread_cond_broadcast(&condition) == 0; });
    expect_untouched("sem_post", [&] { return ::sem_post(&semaphore) == 0; });
    expect_untouched("sem_wait", [&] { return ::sem_wait(&semaphore) == 0; });
    (void)::sem_post(&semaphore);
    expect_untouched("sem_timedwait", [&] { return ::sem_timedwait(&semaphore, &far) == 0; });
    (void)::sem_destroy(&semaphore);
}

// A semaphore that is not free at first is tried in vain, which the C library says by errno.
TEST_F(ErrnoTest, StaysAfterAWaitForAnotherThread) {
    static sem_t semaphore;
    (void)::sem_init(&semaphore, 0, 0);
    pthread_t thread{};
    const auto post = [](void* /*argument*/) -> void* {
        ::usleep(100);
        (void)::sem_post(&semaphore);
        return nullptr;
    };
    (void)::pthread_create(&thread, nullptr, post, nullptr);
    expect_untouched("sem_wait", [&] { return ::sem_wait(&semaphore) == 0; });
    EXPECT_EQ(clock.now(), 100);
    (void)::pthread_join(thread, nullptr);
    (void)::sem_destroy(&semaphore);
}

TEST_F(ErrnoTest, IsTheNodesAfterAFailure) {
    node->open_error = EACCES;
    errno = of_the_program;
    EXPECT_EQ(::open(node_path, O_RDONLY), -1);
    EXPECT_EQ(errno, EACCES);
}

}  // namespace
