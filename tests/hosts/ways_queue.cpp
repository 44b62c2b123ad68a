// Message queues and semaphores of POSIX and System V, and input and output that goes on meanwhile.
#include <aio.h>
#include <fcntl.h>
#include <mqueue.h>
#include <poll.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/sem.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <mutex>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

constexpr long queue_length = 2;
constexpr long message_size = 16;

class Queue {
public:
    explicit Queue(int flags = 0) {
        const std::string name = "/way-" + std::to_string(getpid());
        mq_attr attributes{};
        attributes.mq_maxmsg = queue_length;
        attributes.mq_msgsize = message_size;
        queue_ = mq_open(name.c_str(), O_CREAT | O_EXCL | O_RDWR | flags, 0600, &attributes);
        worked("mq_open", queue_);
        mq_unlink(name.c_str());
    }
    ~Queue() { mq_close(queue_); }
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;
    operator mqd_t() const { return queue_; }
    void send(const std::string& text) const {
        worked("mq_send", mq_send(queue_, text.data(), text.size(), 1));
    }
    void fill() const {
        for (long i = 0; i < queue_length; ++i) send("full");
    }
    ssize_t receive() const {
        char buffer[message_size];
        return mq_receive(queue_, buffer, sizeof buffer, nullptr);
    }

private:
    mqd_t queue_;
};

// A queue of System V's, removed at the end.
class Messages {
public:
    Messages() { worked("msgget", queue_); }
    ~Messages() { msgctl(queue_, IPC_RMID, nullptr); }
    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;
    operator int() const { return queue_; }

private:
    int queue_ = msgget(IPC_PRIVATE, IPC_CREAT | 0600);
};

struct Message {
    long type;
    char text[4096];
};

class Semaphores {
public:
    Semaphores() { worked("semget", set_); }
    ~Semaphores() { semctl(set_, 0, IPC_RMID); }
    Semaphores(const Semaphores&) = delete;
    Semaphores& operator=(const Semaphores&) = delete;
    operator int() const { return set_; }
    int change(short by, short flags = 0) const {
        sembuf operation = {0, by, flags};
        return semop(set_, &operation, 1);
    }

private:
    int set_ = semget(IPC_PRIVATE, 1, IPC_CREAT | 0600);
};

}  // namespace

WAY(mq_receive) {
    const Queue queue;
    const Later sender([&] { queue.send("hello"); });
    takes_the_wait("mq_receive", [&] { same("mq_receive", queue.receive(), 5); });
}

WAY(mq_send_full) {
    const Queue queue;
    queue.fill();
    const Later receiver([&] { same("mq_receive", queue.receive(), 4); });
    takes_the_wait("mq_send", [&] { queue.send("hello"); });
}

WAY(mq_timedreceive) {
    const Queue queue;
    char buffer[message_size];
    const timespec moment = moment_ahead(CLOCK_REALTIME, wait_ns());
    takes_the_wait("mq_timedreceive", [&] {
        failed_with("mq_timedreceive", mq_timedreceive(queue, buffer, sizeof buffer, nullptr, &moment),
                    ETIMEDOUT);
    });
    const timespec later = moment_ahead(CLOCK_REALTIME, 3 * wait_ns());
    const Later sender([&] { queue.send("hello"); });
    unsigned priority = 0;
    takes_the_wait("mq_timedreceive", [&] {
        same("mq_timedreceive", mq_timedreceive(queue, buffer, sizeof buffer, &priority, &later), 5);
    });
    same("the priority", priority, 1);
}

WAY(mq_timedsend) {
    const Queue queue;
    queue.fill();
    const timespec moment = moment_ahead(CLOCK_REALTIME, wait_ns());
    takes_the_wait("mq_timedsend",
                   [&] { failed_with("mq_timedsend", mq_timedsend(queue, "x", 1, 1, &moment), ETIMEDOUT); });
}

WAY(mq_without_blocking) {
    const Queue queue(O_NONBLOCK);
    takes_no_time("both", [&] {
        failed_with("mq_receive", queue.receive(), EAGAIN);
        queue.fill();
        failed_with("mq_send", mq_send(queue, "x", 1, 1), EAGAIN);
    });
    sleep_ns(wait_ns());
}

// On Linux a message queue is a descriptor.
WAY(mq_in_poll) {
    const Queue queue;
    const Later sender([&] { queue.send("hello"); });
    pollfd one = {queue, POLLIN, 0};
    takes_the_wait("poll", [&] { same("poll", poll(&one, 1, -1), 1); });
}

WAY(mq_notify_by_signal) {
    const Queue queue;
    count_signal(SIGUSR1);
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGUSR1;
    worked("mq_notify", mq_notify(queue, &event));
    const Later sender([&] { queue.send("hello"); });
    takes_the_wait("pause", [] { failed_with("pause", pause(), EINTR); });
    same("signals", signals_seen(SIGUSR1), 1);
}

WAY(msgrcv) {
    const Messages queue;
    const Later sender([&] {
        const Message message = {3, "hello"};
        worked("msgsnd", msgsnd(queue, &message, 6, 0));
    });
    Message message{};
    takes_the_wait("msgrcv", [&] { same("msgrcv", msgrcv(queue, &message, sizeof message.text, 3, 0), 6); });
    check(std::strcmp(message.text, "hello") == 0, "another message has come");
}

WAY(msgrcv_without_waiting) {
    const Messages queue;
    Message message{};
    takes_no_time("msgrcv", [&] {
        failed_with("msgrcv", msgrcv(queue, &message, sizeof message.text, 0, IPC_NOWAIT), ENOMSG);
    });
    sleep_ns(wait_ns());
}

WAY(msgsnd_full) {
    const Messages queue;
    const Message message = {1, ""};
    while (msgsnd(queue, &message, sizeof message.text, IPC_NOWAIT) == 0) {
    }
    same("errno", errno, EAGAIN);
    const Later receiver([&] {
        Message taken{};
        worked("msgrcv", msgrcv(queue, &taken, sizeof taken.text, 0, 0));
    });
    takes_the_wait("msgsnd", [&] { worked("msgsnd", msgsnd(queue, &message, sizeof message.text, 0)); });
}

WAY(msgrcv_of_a_queue_that_is_removed) {
    const Messages queue;
    const Later remover([&] { msgctl(queue, IPC_RMID, nullptr); });
    Message message{};
    takes_the_wait("msgrcv",
                   [&] { failed_with("msgrcv", msgrcv(queue, &message, sizeof message.text, 0, 0), EIDRM); });
}

WAY(semop) {
    const Semaphores semaphores;
    const Later poster([&] { worked("semop", semaphores.change(1)); });
    takes_the_wait("semop", [&] { worked("semop", semaphores.change(-1)); });
    takes_no_time("without waiting", [&] { failed_with("semop", semaphores.change(-1, IPC_NOWAIT), EAGAIN); });
}

WAY(semop_waits_for_zero) {
    const Semaphores semaphores;
    worked("semop", semaphores.change(1));
    const Later taker([&] { worked("semop", semaphores.change(-1)); });
    takes_the_wait("semop", [&] { worked("semop", semaphores.change(0)); });
}

WAY(semtimedop) {
    const Semaphores semaphores;
    sembuf take = {0, -1, 0};
    const timespec length = to_timespec(wait_ns());
    takes_the_wait("semtimedop",
                   [&] { failed_with("semtimedop", semtimedop(semaphores, &take, 1, &length), EAGAIN); });
    const timespec longer = to_timespec(3 * wait_ns());
    const Later poster([&] { semaphores.change(1); });
    takes_the_wait("semtimedop", [&] { worked("semtimedop", semtimedop(semaphores, &take, 1, &longer)); });
}

WAY(aio_read_and_suspend) {
    const Pipe pipe;
    char buffer[16];
    aiocb request{};
    request.aio_fildes = pipe.in;
    request.aio_buf = buffer;
    request.aio_nbytes = sizeof buffer;
    request.aio_sigevent.sigev_notify = SIGEV_NONE;
    worked("aio_read", aio_read(&request));
    same("aio_error", aio_error(&request), EINPROGRESS);
    const Later writer([&] { put(pipe.out, "hello"); });
    const aiocb* const all[] = {&request};
    takes_the_wait("aio_suspend", [&] { worked("aio_suspend", aio_suspend(all, 1, nullptr)); });
    same("aio_error", aio_error(&request), 0);
    same("aio_return", aio_return(&request), 5);
}

WAY(aio_suspend_times_out) {
    const Pipe pipe;
    char buffer[16];
    aiocb request{};
    request.aio_fildes = pipe.in;
    request.aio_buf = buffer;
    request.aio_nbytes = sizeof buffer;
    request.aio_sigevent.sigev_notify = SIGEV_NONE;
    worked("aio_read", aio_read(&request));
    const aiocb* const all[] = {&request};
    const timespec length = to_timespec(wait_ns());
    takes_the_wait("aio_suspend", [&] { failed_with("aio_suspend", aio_suspend(all, 1, &length), EAGAIN); });
    put(pipe.out, "hello");
    worked("aio_suspend", aio_suspend(all, 1, nullptr));
    same("aio_return", aio_return(&request), 5);
}

WAY(aio_write_tells_by_signal) {
    const Folder folder;
    const Descriptor file(open(folder.file("out").c_str(), O_CREAT | O_RDWR, 0600));
    const Blocked blocked(SIGUSR1);
    const sigset_t set = set_of(SIGUSR1);
    char text[] = "hello";
    aiocb request{};
    request.aio_fildes = file;
    request.aio_buf = text;
    request.aio_nbytes = 5;
    request.aio_sigevent.sigev_notify = SIGEV_SIGNAL;
    request.aio_sigevent.sigev_signo = SIGUSR1;
    worked("aio_write", aio_write(&request));
    int number = 0;
    same("sigwait", sigwait(&set, &number), 0);
    same("aio_return", aio_return(&request), 5);
    sleep_ns(wait_ns());
}

WAY(lio_listio) {
    const Pipe pipe;
    char buffer[16];
    aiocb request{};
    request.aio_fildes = pipe.in;
    request.aio_buf = buffer;
    request.aio_nbytes = sizeof buffer;
    request.aio_lio_opcode = LIO_READ;
    aiocb* const all[] = {&request};
    const Later writer([&] { put(pipe.out, "hello"); });
    takes_the_wait("lio_listio", [&] { worked("lio_listio", lio_listio(LIO_WAIT, all, 1, nullptr)); });
    same("aio_return", aio_return(&request), 5);
}
