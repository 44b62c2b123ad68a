#include "virtual_projector/interpose/system_v_queues.h"

#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "tests/virtual_projector/interpose/waiting_threads.h"

namespace {

using namespace interpose_test;

struct Message {
    long type;
    char text[64];
};

long or_errno(long result) { return result < 0 ? -errno : result; }

// --- Messages ----------------------------------------------------------------------------------------------

struct Queues : WaitingThreads {
    Queues() : queue(::msgget(IPC_PRIVATE, 0600)) { EXPECT_GE(queue, 0); }
    ~Queues() override {
        join();
        (void)::msgctl(queue, IPC_RMID, nullptr);
    }

    long send(long type, const std::string& text, int flags = 0) const {
        Message message{};
        message.type = type;
        std::strncpy(message.text, text.c_str(), sizeof message.text - 1);
        return or_errno(::msgsnd(queue, &message, sizeof message.text, flags));
    }
    long receive(long type = 0, int flags = 0, std::size_t size = sizeof(Message::text)) {
        received = {};
        return or_errno(::msgrcv(queue, &received, size, type, flags));
    }
    void allow_only(std::size_t bytes) const {
        msqid_ds state{};
        ASSERT_EQ(::msgctl(queue, IPC_STAT, &state), 0);
        state.msg_qbytes = bytes;
        ASSERT_EQ(::msgctl(queue, IPC_SET, &state), 0);
    }

    int queue;
    Message received{};
};

TEST_F(Queues, AReceiverWaitsForAMessage) {
    start([&] {
        ::usleep(30);
        EXPECT_EQ(send(1, "hello"), 0);
    });
    EXPECT_EQ(receive(), 64);
    EXPECT_STREQ(received.text, "hello");
    EXPECT_EQ(clock.now(), 30);
}

TEST_F(Queues, AReceiverWaitsForAMessageOfItsType) {
    start([&] {
        ::usleep(10);
        send(1, "one");
        ::usleep(10);
        send(2, "two");
    });
    EXPECT_EQ(receive(2), 64);
    EXPECT_STREQ(received.text, "two");
    EXPECT_EQ(clock.now(), 20);
    EXPECT_EQ(receive(), 64);
    EXPECT_STREQ(received.text, "one");
}

TEST_F(Queues, ASenderWaitsForRoom) {
    allow_only(2 * sizeof(Message::text));
    start([&] {
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(send(1, "x"), 0);
            say("sent");
        }
    });
    ::usleep(40);
    EXPECT_EQ(send(1, "x", IPC_NOWAIT), -EAGAIN);
    EXPECT_EQ(receive(), 64);
    join();
    EXPECT_EQ(said, (Lines{"0 sent", "0 sent", "40 sent"}));
}

TEST_F(Queues, ASenderGoesOnWhenTheQueueIsMadeLarger) {
    allow_only(sizeof(Message::text));
    start([&] {
        send(1, "x");
        EXPECT_EQ(send(1, "x"), 0);
        say("sent");
    });
    ::usleep(40);
    allow_only(2 * sizeof(Message::text));
    join();
    EXPECT_EQ(said, Lines{"40 sent"});
}

TEST_F(Queues, WhoMayNotWaitIsTold) {
    EXPECT_EQ(receive(0, IPC_NOWAIT), -ENOMSG);
    EXPECT_EQ(clock.now(), 0);
}

TEST_F(Queues, ATooLongMessageStaysUnlessItMayBeCut) {
    send(1, "hello");
    EXPECT_EQ(receive(0, 0, 3), -E2BIG);
    EXPECT_EQ(receive(0, MSG_NOERROR, 3), 3);
    EXPECT_STREQ(received.text, "hel");
}

TEST_F(Queues, ARemovedQueueEndsTheWait) {
    start([&] {
        EXPECT_EQ(receive(), -EIDRM);
        say("removed");
    });
    ::usleep(20);
    EXPECT_EQ(::msgctl(queue, IPC_RMID, nullptr), 0);
    join();
    EXPECT_EQ(said, Lines{"20 removed"});
    EXPECT_EQ(receive(), -EINVAL);
}

// --- Semaphores ----------------------------------------------------------------------------------------------

struct Sets : WaitingThreads {
    Sets() : set(::semget(IPC_PRIVATE, 2, 0600)) { EXPECT_GE(set, 0); }
    ~Sets() override {
        join();
        (void)::semctl(set, 0, IPC_RMID);
    }

    long change(std::vector<sembuf> operations) {
        return or_errno(::semop(set, operations.data(), operations.size()));
    }
    long change_for(sembuf operation, const timespec& length) {
        return or_errno(::semtimedop(set, &operation, 1, &length));
    }
    int value(int number) const { return ::semctl(set, number, GETVAL); }

    int set;
};

TEST_F(Sets, AThreadWaitsForItsSemaphore) {
    start([&] {
        ::usleep(30);
        EXPECT_EQ(change({{0, 1, 0}}), 0);
    });
    EXPECT_EQ(change({{0, -1, 0}}), 0);
    EXPECT_EQ(clock.now(), 30);
    EXPECT_EQ(value(0), 0);
}

TEST_F(Sets, AllOperationsOfACallHappenTogether) {
    start([&] {
        ::usleep(10);
        change({{0, 1, 0}});
        ::usleep(10);
        EXPECT_EQ(value(0), 1);
        change({{1, 1, 0}});
    });
    EXPECT_EQ(change({{0, -1, 0}, {1, -1, 0}}), 0);
    EXPECT_EQ(clock.now(), 20);
}

TEST_F(Sets, ZeroCanBeWaitedForAndSetByControl) {
    change({{0, 2, 0}});
    start([&] {
        ::usleep(10);
        change({{0, -1, 0}});
        ::usleep(10);
        EXPECT_EQ(::semctl(set, 0, SETVAL, 0), 0);
    });
    EXPECT_EQ(change({{0, 0, 0}}), 0);
    EXPECT_EQ(clock.now(), 20);
}

// Semaphore 0 is 1, semaphore 1 is 0: which of the operations cannot be done decides.
TEST_F(Sets, OnlyTheOperationThatCannotBeDoneIsAskedWhetherItWaits) {
    const short now = IPC_NOWAIT;
    change({{0, 1, 0}});
    EXPECT_EQ(change({{1, -1, now}}), -EAGAIN);
    EXPECT_EQ(change({{0, -1, 0}, {1, -1, now}}), -EAGAIN);
    EXPECT_EQ(change({{0, -2, now}, {1, -1, 0}}), -EAGAIN);
    EXPECT_EQ(change({{0, -1, 0}, {0, -1, now}}), -EAGAIN);
    EXPECT_EQ(change({{0, 0, now}, {1, -1, 0}}), -EAGAIN);
    EXPECT_EQ(clock.now(), 0);
    start([&] {
        ::usleep(10);
        change({{1, 1, 0}});
    });
    EXPECT_EQ(change({{0, -1, now}, {1, -1, 0}}), 0);
    EXPECT_EQ(clock.now(), 10);
}

TEST_F(Sets, ATimedOperationGivesUpAtItsTime) {
    EXPECT_EQ(change_for({0, -1, 0}, {0, 40'000}), -EAGAIN);
    EXPECT_EQ(clock.now(), 40);
    EXPECT_EQ(change_for({0, -1, 0}, {0, 1'000'000'000}), -EINVAL);
    EXPECT_EQ(change_for({0, -1, 0}, {-1, 0}), -EINVAL);
    start([&] {
        ::usleep(10);
        change({{0, 1, 0}});
    });
    EXPECT_EQ(change_for({0, -1, 0}, {0, 40'000}), 0);
    EXPECT_EQ(clock.now(), 50);
}

TEST_F(Sets, ARemovedSetEndsTheWait) {
    start([&] {
        EXPECT_EQ(change({{0, -1, 0}}), -EIDRM);
        say("removed");
    });
    ::usleep(20);
    EXPECT_EQ(::semctl(set, 0, IPC_RMID), 0);
    join();
    EXPECT_EQ(said, Lines{"20 removed"});
    EXPECT_EQ(change({{0, -1, 0}}), -EINVAL);
}

TEST_F(Sets, WhatIsNoCallIsRefused) {
    EXPECT_EQ(change({{7, -1, 0}}), -EFBIG);
    EXPECT_EQ(or_errno(::semop(set, nullptr, 1)), -EFAULT);
    EXPECT_EQ(change(std::vector<sembuf>(40'000)), -E2BIG);
}

}  // namespace
