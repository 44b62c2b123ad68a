// What a handler of the program's that runs during a wait means to it.
#include <gtest/gtest.h>
#include <linux/futex.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/virtual_projector/interpose/waiting_threads.h"

namespace {

using namespace interpose_test;

int handled = 0;
void handle(int /*signal*/) { ++handled; }

long or_errno(long result) { return result < 0 ? -errno : result; }

struct InterruptedWaits : WaitingThreads {
    InterruptedWaits() {
        handled = 0;
        handle_with(0);
    }
    static void handle_with(int flags) {
        struct sigaction action {};
        action.sa_handler = handle;
        action.sa_flags = flags;
        ASSERT_EQ(::sigaction(SIGUSR1, &action, nullptr), 0);
    }

    /// Waits on a thread of its own, is struck by a signal at 10 us, and let go on by `release` at 30 us.
    long result_when_struck_at_10(const std::function<long()>& wait, const std::function<void()>& release) {
        long result = -1;
        start([&] {
            result = wait();
            say(handled == 1 ? "after the handler" : "before the handler");
        });
        ::usleep(10);
        EXPECT_EQ(pthread_kill(threads.back().native_handle(), SIGUSR1), 0);
        ::usleep(20);
        release();
        join();
        return result;
    }
};

// --- Those that go on ----------------------------------------------------------------------------------------

TEST_F(InterruptedWaits, AMutexIsWaitedForOn) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_lock(&mutex);
    EXPECT_EQ(result_when_struck_at_10([&] { return pthread_mutex_lock(&mutex); },
                                       [&] { pthread_mutex_unlock(&mutex); }),
              0);
    EXPECT_EQ(said, Lines{"30 after the handler"});
}

TEST_F(InterruptedWaits, AReadWriteLockIsWaitedForOn) {
    pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
    pthread_rwlock_wrlock(&lock);
    EXPECT_EQ(result_when_struck_at_10([&] { return pthread_rwlock_rdlock(&lock); },
                                       [&] { pthread_rwlock_unlock(&lock); }),
              0);
    EXPECT_EQ(said, Lines{"30 after the handler"});
}

TEST_F(InterruptedWaits, ABarrierIsWaitedForOn) {
    pthread_barrier_t barrier;
    pthread_barrier_init(&barrier, nullptr, 2);
    EXPECT_EQ(result_when_struck_at_10([&] { return pthread_barrier_wait(&barrier); },
                                       [&] { (void)pthread_barrier_wait(&barrier); }),
              0);
    EXPECT_EQ(said, Lines{"30 after the handler"});
    pthread_barrier_destroy(&barrier);
}

TEST_F(InterruptedWaits, AThreadsEndIsWaitedForOn) {
    bool end = false;
    pthread_t sleeper;
    pthread_create(
        &sleeper, nullptr,
        [](void* given) -> void* {
            while (!*static_cast<bool*>(given)) ::usleep(7);
            return nullptr;
        },
        &end);
    EXPECT_EQ(result_when_struck_at_10([&] { return pthread_join(sleeper, nullptr); }, [&] { end = true; }), 0);
    EXPECT_EQ(said, Lines{"35 after the handler"});
}

TEST_F(InterruptedWaits, AConditionMayBeLookedAtAgain) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    EXPECT_EQ(result_when_struck_at_10(
                  [&] {
                      pthread_mutex_lock(&mutex);
                      const int result = pthread_cond_wait(&condition, &mutex);
                      EXPECT_EQ(pthread_mutex_unlock(&mutex), 0);
                      return result;
                  },
                  [&] { pthread_cond_signal(&condition); }),
              0);
    EXPECT_EQ(said, Lines{"10 after the handler"});
}

// --- Those that fail, and those that are restarted where the handler asks for it -----------------------------

TEST_F(InterruptedWaits, ASemaphoreSaysSoUnlessItIsToRestart) {
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    const auto wait = [&] { return or_errno(sem_wait(&semaphore)); };
    const auto post = [&] { sem_post(&semaphore); };
    EXPECT_EQ(result_when_struck_at_10(wait, post), -EINTR);
    EXPECT_EQ(said, Lines{"10 after the handler"});
    EXPECT_EQ(sem_trywait(&semaphore), 0);
    handled = 0;
    handle_with(SA_RESTART);
    EXPECT_EQ(result_when_struck_at_10(wait, post), 0);
    EXPECT_EQ(said.back(), "60 after the handler");
    sem_destroy(&semaphore);
}

TEST_F(InterruptedWaits, AFutexSaysSoUnlessItIsToRestart) {
    std::uint32_t word = 5;
    const auto wait = [&] { return or_errno(::syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, 5, nullptr)); };
    const auto wake = [&] { ::syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1); };
    EXPECT_EQ(result_when_struck_at_10(wait, wake), -EINTR);
    EXPECT_EQ(said, Lines{"10 after the handler"});
    handled = 0;
    handle_with(SA_RESTART);
    EXPECT_EQ(result_when_struck_at_10(wait, wake), 0);
    EXPECT_EQ(said.back(), "60 after the handler");
}

TEST_F(InterruptedWaits, SystemVCallsSaySoAlways) {
    handle_with(SA_RESTART);
    const int queue = ::msgget(IPC_PRIVATE, 0600);
    const int set = ::semget(IPC_PRIVATE, 1, 0600);
    long message[2] = {1, 2};
    EXPECT_EQ(result_when_struck_at_10(
                  [&] { return or_errno(::msgrcv(queue, message, sizeof message[1], 0, 0)); }, [] {}),
              -EINTR);
    sembuf down{0, -1, 0};
    handled = 0;
    EXPECT_EQ(result_when_struck_at_10([&] { return or_errno(::semop(set, &down, 1)); }, [] {}), -EINTR);
    EXPECT_EQ(said, (Lines{"10 after the handler", "40 after the handler"}));
    (void)::msgctl(queue, IPC_RMID, nullptr);
    (void)::semctl(set, 0, IPC_RMID);
}

}  // namespace
