// Pipes, FIFOs, eventfds and the like: calls that wait for another thread of the program.
#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <limits>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

constexpr std::uint64_t eventfd_limit = std::numeric_limits<std::uint64_t>::max() - 1;

// A write that waits because nothing more goes in, until another thread has read it empty.
template <typename Write>
void write_waits_for_room(const char* call, Write write_some) {
    const Pipe pipe;
    const std::int64_t before = fill(pipe.out);
    std::int64_t arrived = 0;
    Later reader([&] { arrived = drain(pipe.in); });
    takes_the_wait(call, [&] { same(call, write_some(pipe.out), 6); });
    reader.join();
    same("what has arrived", arrived + drain(pipe.in), before + 6);
}

}  // namespace

WAY(read_pipe) {
    const Pipe pipe;
    const Later writer([&] { put(pipe.out, "hello"); });
    char buffer[16];
    takes_the_wait("read", [&] { same("read", read(pipe.in, buffer, sizeof buffer), 5); });
    check(std::string(buffer, 5) == "hello", "read brought something else");
}

WAY(readv_pipe) {
    const Pipe pipe;
    const Later writer([&] { put(pipe.out, "hello"); });
    char first[2];
    char second[8];
    const iovec parts[] = {{first, sizeof first}, {second, sizeof second}};
    takes_the_wait("readv", [&] { same("readv", readv(pipe.in, parts, 2), 5); });
    check(std::string(first, 2) + std::string(second, 3) == "hello", "readv brought something else");
}

WAY(preadv2_pipe) {
    const Pipe pipe;
    const Later writer([&] { put(pipe.out, "hello"); });
    char buffer[16];
    const iovec part = {buffer, sizeof buffer};
    takes_the_wait("preadv2", [&] { same("preadv2", preadv2(pipe.in, &part, 1, -1, 0), 5); });
}

WAY(read_pipe_until_its_end) {
    Pipe pipe;
    const Later closer([&] { pipe.out.close_now(); });
    char buffer[16];
    takes_the_wait("read", [&] { same("read", read(pipe.in, buffer, sizeof buffer), 0); });
}

WAY(read_pipe_by_two_threads) {
    const Pipe pipe;
    takes_the_wait("both", [&] {
        const Later writer([&] { put(pipe.out, "ab"); });
        const auto take_one = [&] {
            char one = 0;
            same("read", read(pipe.in, &one, 1), 1);
        };
        const Later second(0, take_one);
        take_one();
    });
}

WAY(read_pipe_without_blocking) {
    const Pipe pipe(O_NONBLOCK);
    takes_no_time("read", [&] {
        char buffer[16];
        failed_with("read", read(pipe.in, buffer, sizeof buffer), EAGAIN);
    });
    sleep_ns(wait_ns());
}

WAY(write_full_pipe) {
    write_waits_for_room("write", [](int out) { return write(out, "sixsix", 6); });
}

WAY(writev_full_pipe) {
    write_waits_for_room("writev", [](int out) {
        char text[] = "sixsix";
        const iovec parts[] = {{text, 2}, {text + 2, 4}};
        return writev(out, parts, 2);
    });
}

// More than the pipe holds: it goes in as the reader makes room.
WAY(write_more_than_a_pipe_holds) {
    const Pipe pipe;
    const std::string all(200'000, 'm');
    std::int64_t arrived = 0;
    Later reader([&] {
        char block[4096];
        while (arrived < static_cast<std::int64_t>(all.size())) {
            const ssize_t count = read(pipe.in, block, sizeof block);
            if (count <= 0) break;
            arrived += count;
        }
    });
    takes_the_wait("write", [&] { same("write", write(pipe.out, all.data(), all.size()), 200'000); });
    reader.join();
    same("what has arrived", arrived, 200'000);
}

WAY(write_full_pipe_without_blocking) {
    const Pipe pipe;
    fill(pipe.out);
    set_non_blocking(pipe.out, true);
    takes_no_time("write", [&] { failed_with("write", write(pipe.out, "x", 1), EAGAIN); });
    sleep_ns(wait_ns());
}

WAY(write_full_pipe_whose_reader_goes_away) {
    Pipe pipe;
    fill(pipe.out);
    count_signal(SIGPIPE);
    const Later closer([&] { pipe.in.close_now(); });
    takes_the_wait("write", [&] { failed_with("write", write(pipe.out, "x", 1), EPIPE); });
    same("SIGPIPE", signals_seen(SIGPIPE), 1);
}

WAY(splice_from_pipe) {
    const Pipe from;
    const Pipe to;
    const Later writer([&] { put(from.out, "hello"); });
    takes_the_wait("splice", [&] { same("splice", splice(from.in, nullptr, to.out, nullptr, 100, 0), 5); });
    same("what has arrived", drain(to.in), 5);
}

WAY(tee_from_pipe) {
    const Pipe from;
    const Pipe to;
    const Later writer([&] { put(from.out, "hello"); });
    takes_the_wait("tee", [&] { same("tee", tee(from.in, to.out, 100, 0), 5); });
}

WAY(open_fifo_waits_for_its_writer) {
    const Folder folder;
    const std::string path = folder.file("fifo");
    worked("mkfifo", mkfifo(path.c_str(), 0600));
    Later writer([&] {
        const Descriptor out(open(path.c_str(), O_WRONLY));
        put(out, "hello");
    });
    takes_the_wait("open", [&] {
        const Descriptor in(open(path.c_str(), O_RDONLY));
        char buffer[16];
        same("read", read(in, buffer, sizeof buffer), 5);
    });
}

WAY(open_fifo_waits_for_its_reader) {
    const Folder folder;
    const std::string path = folder.file("fifo");
    worked("mkfifo", mkfifo(path.c_str(), 0600));
    Later reader([&] {
        const Descriptor in(open(path.c_str(), O_RDONLY));
        char buffer[16];
        same("read", read(in, buffer, sizeof buffer), 5);
    });
    takes_the_wait("open", [&] {
        const Descriptor out(open(path.c_str(), O_WRONLY));
        put(out, "hello");
    });
}

WAY(open_fifo_without_blocking) {
    const Folder folder;
    const std::string path = folder.file("fifo");
    worked("mkfifo", mkfifo(path.c_str(), 0600));
    takes_no_time("open", [&] {
        failed_with("open", open(path.c_str(), O_WRONLY | O_NONBLOCK), ENXIO);
        const Descriptor in(open(path.c_str(), O_RDONLY | O_NONBLOCK));
    });
    sleep_ns(wait_ns());
}

WAY(read_fifo) {
    const Folder folder;
    const std::string path = folder.file("fifo");
    worked("mkfifo", mkfifo(path.c_str(), 0600));
    const Descriptor both(open(path.c_str(), O_RDWR));
    const Later writer([&] { put(both, "hello"); });
    char buffer[16];
    takes_the_wait("read", [&] { same("read", read(both, buffer, sizeof buffer), 5); });
}

WAY(read_eventfd) {
    const Descriptor event(eventfd(0, 0));
    const Later writer([&] {
        const std::uint64_t seven = 7;
        same("write", write(event, &seven, sizeof seven), sizeof seven);
    });
    std::uint64_t count = 0;
    takes_the_wait("read", [&] { same("read", read(event, &count, sizeof count), sizeof count); });
    same("the count", static_cast<std::int64_t>(count), 7);
}

WAY(eventfd_read) {
    const Descriptor event(eventfd(0, EFD_SEMAPHORE));
    const Later writer([&] { worked("eventfd_write", eventfd_write(event, 2)); });
    eventfd_t count = 0;
    takes_the_wait("eventfd_read", [&] { worked("eventfd_read", eventfd_read(event, &count)); });
    same("the count", static_cast<std::int64_t>(count), 1);
    takes_no_time("the second", [&] { worked("eventfd_read", eventfd_read(event, &count)); });
}

WAY(write_full_eventfd) {
    const Descriptor event(eventfd(0, 0));
    same("write", write(event, &eventfd_limit, sizeof eventfd_limit), sizeof eventfd_limit);
    const Later reader([&] {
        std::uint64_t count = 0;
        same("read", read(event, &count, sizeof count), sizeof count);
    });
    const std::uint64_t one = 1;
    takes_the_wait("write", [&] { same("write", write(event, &one, sizeof one), sizeof one); });
}

WAY(eventfd_write_to_a_full_one) {
    const Descriptor event(eventfd(0, 0));
    worked("eventfd_write", eventfd_write(event, eventfd_limit));
    const Later reader([&] {
        eventfd_t count = 0;
        worked("eventfd_read", eventfd_read(event, &count));
    });
    takes_the_wait("eventfd_write", [&] { worked("eventfd_write", eventfd_write(event, 1)); });
}

WAY(read_eventfd_without_blocking) {
    const Descriptor event(eventfd(0, EFD_NONBLOCK));
    takes_no_time("read", [&] {
        std::uint64_t count = 0;
        failed_with("read", read(event, &count, sizeof count), EAGAIN);
    });
    sleep_ns(wait_ns());
}

WAY(read_inotify) {
    const Folder folder;
    const Descriptor watch(inotify_init1(0));
    worked("inotify_add_watch", inotify_add_watch(watch, folder.file("").c_str(), IN_CREATE));
    const Later maker([&] { const Descriptor file(open(folder.file("new").c_str(), O_CREAT | O_RDWR, 0600)); });
    alignas(inotify_event) char buffer[1024];
    takes_the_wait("read", [&] { check(read(watch, buffer, sizeof buffer) > 0, "no event"); });
}

WAY(flock_held_by_another) {
    const Folder folder;
    const std::string path = folder.file("locked");
    Descriptor first(open(path.c_str(), O_CREAT | O_RDWR, 0600));
    const Descriptor second(open(path.c_str(), O_RDWR));
    worked("flock", flock(first, LOCK_EX));
    takes_no_time("trying", [&] { failed_with("flock", flock(second, LOCK_EX | LOCK_NB), EWOULDBLOCK); });
    const Later opener([&] { worked("flock", flock(first, LOCK_UN)); });
    takes_the_wait("flock", [&] { worked("flock", flock(second, LOCK_EX)); });
}

WAY(fcntl_lock_held_by_another) {
    const Folder folder;
    const std::string path = folder.file("locked");
    const Descriptor first(open(path.c_str(), O_CREAT | O_RDWR, 0600));
    const Descriptor second(open(path.c_str(), O_RDWR));
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    worked("fcntl", fcntl(first, F_OFD_SETLK, &whole));
    const Later opener([&] {
        struct flock open_again {};
        open_again.l_type = F_UNLCK;
        open_again.l_whence = SEEK_SET;
        worked("fcntl", fcntl(first, F_OFD_SETLK, &open_again));
    });
    takes_the_wait("fcntl", [&] { worked("fcntl", fcntl(second, F_OFD_SETLKW, &whole)); });
}

// What is always there is there at once.
WAY(read_regular_file) {
    const Folder folder;
    const std::string path = folder.file("file");
    const Descriptor file(open(path.c_str(), O_CREAT | O_RDWR, 0600));
    takes_no_time("a file", [&] {
        put(file, "hello");
        char buffer[16];
        same("pread", pread(file, buffer, sizeof buffer, 0), 5);
        same("read", read(file, buffer, sizeof buffer), 0);
    });
    sleep_ns(wait_ns());
}
