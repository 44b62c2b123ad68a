// Sockets of the program's own: pairs, Unix, TCP and UDP on the loopback address.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

struct Pair {
    explicit Pair(int type = SOCK_STREAM) {
        int ends[2] = {-1, -1};
        worked("socketpair", socketpair(AF_UNIX, type, 0, ends));
        here = Descriptor(ends[0]);
        there = Descriptor(ends[1]);
    }
    Descriptor here;
    Descriptor there;
};

sockaddr* any(sockaddr_in& address) { return reinterpret_cast<sockaddr*>(&address); }
sockaddr* any(sockaddr_un& address) { return reinterpret_cast<sockaddr*>(&address); }

sockaddr_in address_of(int bound) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    worked("getsockname", getsockname(bound, any(address), &size));
    return address;
}

// Bound to a free port of the loopback address.
Descriptor on_loopback(int type) {
    Descriptor made(socket(AF_INET, type, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    worked("bind", bind(made, any(address), sizeof address));
    return made;
}

Descriptor tcp_server() {
    Descriptor server = on_loopback(SOCK_STREAM);
    worked("listen", listen(server, 5));
    return server;
}

Descriptor connected_to(int server) {
    Descriptor client(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address = address_of(server);
    worked("connect", connect(client, any(address), sizeof address));
    return client;
}

struct TcpPair {
    TcpPair() {
        const Descriptor server = tcp_server();
        there = connected_to(server);
        here = Descriptor(accept(server, nullptr, nullptr));
    }
    Descriptor here;
    Descriptor there;
};

class UnixServer {
public:
    explicit UnixServer(int backlog) {
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, folder_.file("socket").c_str(), sizeof address.sun_path - 1);
        worked("bind", bind(socket_, any(address), sizeof address));
        worked("listen", listen(socket_, backlog));
    }
    operator int() const { return socket_; }
    int connect_from(int client) { return connect(client, any(address), sizeof address); }

    sockaddr_un address{};

private:
    Folder folder_;
    Descriptor socket_{socket(AF_UNIX, SOCK_STREAM, 0)};
};

void set_timeout(int socket, int which, std::int64_t ns) {
    const timeval length = to_timeval(ns);
    worked("setsockopt", setsockopt(socket, SOL_SOCKET, which, &length, sizeof length));
}

// A receive that waits for "hello" from another thread.
template <typename Receive>
void receive_waits(const char* call, Receive receive) {
    const Pair pair;
    const Later sender([&] { put(pair.there, "hello"); });
    char buffer[16] = {};
    takes_the_wait(call, [&] { same(call, receive(pair.here, buffer, sizeof buffer), 5); });
    check(std::string(buffer) == "hello", "another text has come");
}

// A send that waits for room.
template <typename Send>
void send_waits(const char* call, Send send_some) {
    const Pair pair;
    const std::int64_t before = fill(pair.here);
    std::int64_t arrived = 0;
    Later reader([&] { arrived = drain(pair.there); });
    takes_the_wait(call, [&] { same(call, send_some(pair.here, "sixsix", 6), 6); });
    reader.join();
    same("what has arrived", arrived + drain(pair.there), before + 6);
}

}  // namespace

WAY(socket_read) {
    receive_waits("read", [](int from, char* to, std::size_t size) { return read(from, to, size); });
}

WAY(socket_recv) {
    receive_waits("recv", [](int from, char* to, std::size_t size) { return recv(from, to, size, 0); });
}

WAY(socket_recvfrom) {
    receive_waits("recvfrom", [](int from, char* to, std::size_t size) {
        return recvfrom(from, to, size, 0, nullptr, nullptr);
    });
}

WAY(socket_recvmsg) {
    receive_waits("recvmsg", [](int from, char* to, std::size_t size) {
        iovec part = {to, size};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        return recvmsg(from, &message, 0);
    });
}

WAY(socket_recvmmsg) {
    const Pair pair(SOCK_DGRAM);
    const Later sender([&] { put(pair.there, "hello"); });
    char buffer[16];
    iovec part = {buffer, sizeof buffer};
    mmsghdr one{};
    one.msg_hdr.msg_iov = &part;
    one.msg_hdr.msg_iovlen = 1;
    takes_the_wait("recvmmsg", [&] { same("recvmmsg", recvmmsg(pair.here, &one, 1, 0, nullptr), 1); });
    same("bytes", one.msg_len, 5);
}

WAY(socket_send) {
    send_waits("send", [](int to, const char* text, std::size_t size) { return send(to, text, size, 0); });
}

WAY(socket_write) {
    send_waits("write", [](int to, const char* text, std::size_t size) { return write(to, text, size); });
}

WAY(socket_sendto) {
    send_waits("sendto", [](int to, const char* text, std::size_t size) {
        return sendto(to, text, size, 0, nullptr, 0);
    });
}

WAY(socket_sendmsg) {
    send_waits("sendmsg", [](int to, const char* text, std::size_t size) {
        iovec part = {const_cast<char*>(text), size};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        return sendmsg(to, &message, 0);
    });
}

WAY(socket_sendmmsg) {
    const Pair pair(SOCK_DGRAM);
    fill(pair.here);
    const Later reader([&] { drain(pair.there); });
    char text[] = "sixsix";
    iovec part = {text, 6};
    mmsghdr one{};
    one.msg_hdr.msg_iov = &part;
    one.msg_hdr.msg_iovlen = 1;
    takes_the_wait("sendmmsg", [&] { same("sendmmsg", sendmmsg(pair.here, &one, 1, 0), 1); });
    same("bytes", one.msg_len, 6);
}

WAY(socket_dgram_pair) {
    const Pair pair(SOCK_DGRAM);
    const Later sender([&] { put(pair.there, "hello"); });
    char buffer[16];
    takes_the_wait("recv", [&] { same("recv", recv(pair.here, buffer, sizeof buffer, 0), 5); });
}

WAY(socket_seqpacket_pair) {
    const Pair pair(SOCK_SEQPACKET);
    const Later sender([&] { put(pair.there, "hello"); });
    char buffer[16];
    takes_the_wait("recv", [&] { same("recv", recv(pair.here, buffer, sizeof buffer, 0), 5); });
}

// A descriptor travels with the message, as D-Bus and display servers do it.
WAY(socket_passes_a_descriptor) {
    const Pair pair;
    const Pipe pipe;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
    const Later sender([&] {
        char text[] = "x";
        iovec part = {text, 1};
        alignas(cmsghdr) char own[CMSG_SPACE(sizeof(int))] = {};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = own;
        message.msg_controllen = sizeof own;
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        const int end = pipe.out;
        std::memcpy(CMSG_DATA(header), &end, sizeof end);
        same("sendmsg", sendmsg(pair.there, &message, 0), 1);
    });
    char text[4];
    iovec part = {text, sizeof text};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    takes_the_wait("recvmsg", [&] { same("recvmsg", recvmsg(pair.here, &message, 0), 1); });
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    if (header == nullptr) return fail("no descriptor has come");
    int number = -1;
    std::memcpy(&number, CMSG_DATA(header), sizeof number);
    const Descriptor end(number);
    put(end, "hello");
    same("what has arrived", drain(pipe.in), 5);
}

WAY(socket_recv_until_shut_down) {
    const Pair pair;
    const Later closer([&] { worked("shutdown", shutdown(pair.here, SHUT_RDWR)); });
    char buffer[16];
    takes_the_wait("recv", [&] { same("recv", recv(pair.here, buffer, sizeof buffer, 0), 0); });
}

WAY(socket_recv_until_closed) {
    Pair pair;
    const Later closer([&] { pair.there.close_now(); });
    char buffer[16];
    takes_the_wait("recv", [&] { same("recv", recv(pair.here, buffer, sizeof buffer, 0), 0); });
}

WAY(socket_recv_waits_for_all) {
    const Pair pair;
    const Later first(wait_ns() / 2, [&] { put(pair.there, "hel"); });
    const Later second([&] { put(pair.there, "lo"); });
    char buffer[5];
    takes_the_wait("recv", [&] { same("recv", recv(pair.here, buffer, sizeof buffer, MSG_WAITALL), 5); });
    check(std::string(buffer, 5) == "hello", "another text has come");
}

WAY(socket_recv_peeks) {
    const Pair pair;
    const Later sender([&] { put(pair.there, "hello"); });
    char buffer[16];
    takes_the_wait("recv", [&] { same("recv", recv(pair.here, buffer, sizeof buffer, MSG_PEEK), 5); });
    same("again", recv(pair.here, buffer, sizeof buffer, 0), 5);
}

WAY(socket_recv_does_not_wait) {
    const Pair pair;
    char buffer[16];
    takes_no_time("both", [&] {
        failed_with("recv", recv(pair.here, buffer, sizeof buffer, MSG_DONTWAIT), EAGAIN);
        set_non_blocking(pair.here, true);
        failed_with("read", read(pair.here, buffer, sizeof buffer), EAGAIN);
    });
    sleep_ns(wait_ns());
}

WAY(socket_send_does_not_wait) {
    const Pair pair;
    fill(pair.here);
    takes_no_time("send", [&] { failed_with("send", send(pair.here, "x", 1, MSG_DONTWAIT), EAGAIN); });
    sleep_ns(wait_ns());
}

WAY(socket_receive_timeout) {
    const Pair pair;
    set_timeout(pair.here, SO_RCVTIMEO, wait_ns());
    char buffer[16];
    takes_the_wait("recv", [&] { failed_with("recv", recv(pair.here, buffer, sizeof buffer, 0), EAGAIN); });
    takes_the_wait("read", [&] { failed_with("read", read(pair.here, buffer, sizeof buffer), EAGAIN); });
}

WAY(socket_receive_before_its_timeout) {
    const Pair pair;
    set_timeout(pair.here, SO_RCVTIMEO, 3 * wait_ns());
    const Later sender([&] { put(pair.there, "hello"); });
    char buffer[16];
    takes_the_wait("recv", [&] { same("recv", recv(pair.here, buffer, sizeof buffer, 0), 5); });
}

WAY(socket_send_timeout) {
    const Pair pair;
    fill(pair.here);
    set_timeout(pair.here, SO_SNDTIMEO, wait_ns());
    takes_the_wait("send", [&] { failed_with("send", send(pair.here, "x", 1, 0), EAGAIN); });
}

WAY(socket_send_to_one_that_closes) {
    Pair pair;
    fill(pair.here);
    const Later closer([&] { pair.there.close_now(); });
    takes_the_wait("send", [&] { failed_with("send", send(pair.here, "x", 1, MSG_NOSIGNAL), ECONNRESET); });
    failed_with("the next", send(pair.here, "x", 1, MSG_NOSIGNAL), EPIPE);
}

WAY(tcp_accept) {
    const Descriptor server = tcp_server();
    const Later client([&] { const Descriptor made = connected_to(server); });
    takes_the_wait("accept", [&] { const Descriptor taken(accept(server, nullptr, nullptr)); });
}

WAY(tcp_accept4) {
    const Descriptor server = tcp_server();
    const Later client([&] { const Descriptor made = connected_to(server); });
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    takes_the_wait("accept4", [&] {
        const Descriptor taken(accept4(server, any(peer), &size, SOCK_NONBLOCK | SOCK_CLOEXEC));
        check((fcntl(taken, F_GETFL) & O_NONBLOCK) != 0, "the new socket blocks");
    });
    same("the peer's family", peer.sin_family, AF_INET);
}

WAY(tcp_accept_timeout) {
    const Descriptor server = tcp_server();
    set_timeout(server, SO_RCVTIMEO, wait_ns());
    takes_the_wait("accept", [&] { failed_with("accept", accept(server, nullptr, nullptr), EAGAIN); });
}

WAY(tcp_accept_without_blocking) {
    const Descriptor server = tcp_server();
    set_non_blocking(server, true);
    takes_no_time("accept", [&] { failed_with("accept", accept(server, nullptr, nullptr), EAGAIN); });
    sleep_ns(wait_ns());
}

WAY(tcp_recv) {
    const TcpPair pair;
    const Later sender([&] { put(pair.there, "hello"); });
    char buffer[16];
    takes_the_wait("recv", [&] { same("recv", recv(pair.here, buffer, sizeof buffer, 0), 5); });
}

WAY(tcp_send) {
    const TcpPair pair;
    const std::string all(20'000'000, 't');
    std::int64_t arrived = 0;
    Later reader([&] {
        std::string block(1'000'000, ' ');
        while (arrived < static_cast<std::int64_t>(all.size())) {
            const ssize_t count = read(pair.there, block.data(), block.size());
            if (count <= 0) break;
            arrived += count;
        }
    });
    takes_the_wait("send", [&] { same("send", send(pair.here, all.data(), all.size(), 0), 20'000'000); });
    reader.join();
    same("what has arrived", arrived, 20'000'000);
}

WAY(tcp_connect_refused) {
    Descriptor server = tcp_server();
    sockaddr_in address = address_of(server);
    server.close_now();
    const Descriptor client(socket(AF_INET, SOCK_STREAM, 0));
    takes_no_time("connect",
                  [&] { failed_with("connect", connect(client, any(address), sizeof address), ECONNREFUSED); });
    sleep_ns(wait_ns());
}

WAY(tcp_connect_without_blocking) {
    const Descriptor server = tcp_server();
    const Descriptor client(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
    sockaddr_in address = address_of(server);
    takes_no_time("connecting", [&] {
        if (connect(client, any(address), sizeof address) != 0) {
            same("errno", errno, EINPROGRESS);
            pollfd one = {client, POLLOUT, 0};
            same("poll", poll(&one, 1, -1), 1);
        }
        int error = -1;
        socklen_t size = sizeof error;
        worked("getsockopt", getsockopt(client, SOL_SOCKET, SO_ERROR, &error, &size));
        same("SO_ERROR", error, 0);
    });
    sleep_ns(wait_ns());
}

// A server's loop: one thread serves what another asks, in an epoll set.
WAY(tcp_server_loop) {
    const Descriptor server = tcp_server();
    const Later client([&] {
        const Descriptor made = connected_to(server);
        put(made, "ping");
        char answer[16];
        same("the answer", recv(made, answer, sizeof answer, 0), 4);
    });
    takes_the_wait("serving", [&] {
        pollfd listening = {server, POLLIN, 0};
        same("poll", poll(&listening, 1, -1), 1);
        const Descriptor taken(accept(server, nullptr, nullptr));
        char question[16];
        same("the question", recv(taken, question, sizeof question, 0), 4);
        put(taken, "pong");
        same("the end", recv(taken, question, sizeof question, 0), 0);
    });
}

WAY(udp_recvfrom) {
    const Descriptor receiver = on_loopback(SOCK_DGRAM);
    const Descriptor sender = on_loopback(SOCK_DGRAM);
    sockaddr_in to = address_of(receiver);
    const Later sending([&] { same("sendto", sendto(sender, "hello", 5, 0, any(to), sizeof to), 5); });
    sockaddr_in from{};
    socklen_t size = sizeof from;
    char buffer[16];
    takes_the_wait("recvfrom", [&] {
        same("recvfrom", recvfrom(receiver, buffer, sizeof buffer, 0, any(from), &size), 5);
    });
    same("the sender's port", from.sin_port, address_of(sender).sin_port);
}

WAY(udp_receive_timeout) {
    const Descriptor receiver = on_loopback(SOCK_DGRAM);
    set_timeout(receiver, SO_RCVTIMEO, wait_ns());
    char buffer[16];
    takes_the_wait("recv", [&] { failed_with("recv", recv(receiver, buffer, sizeof buffer, 0), EAGAIN); });
}

WAY(unix_accept) {
    UnixServer server(5);
    const Later client([&] {
        const Descriptor made(socket(AF_UNIX, SOCK_STREAM, 0));
        worked("connect", server.connect_from(made));
    });
    takes_the_wait("accept", [&] { const Descriptor taken(accept(server, nullptr, nullptr)); });
}

// The queue of those who want to be accepted is full: the next one waits.
WAY(unix_connect_waits_for_room) {
    UnixServer server(0);
    const Descriptor first(socket(AF_UNIX, SOCK_STREAM, 0));
    worked("connect", server.connect_from(first));
    const Later accepter([&] { const Descriptor taken(accept(server, nullptr, nullptr)); });
    const Descriptor second(socket(AF_UNIX, SOCK_STREAM, 0));
    takes_the_wait("connect", [&] { worked("connect", server.connect_from(second)); });
}

WAY(unix_connect_timeout) {
    UnixServer server(0);
    const Descriptor first(socket(AF_UNIX, SOCK_STREAM, 0));
    worked("connect", server.connect_from(first));
    const Descriptor second(socket(AF_UNIX, SOCK_STREAM, 0));
    set_timeout(second, SO_SNDTIMEO, wait_ns());
    takes_the_wait("connect", [&] { failed_with("connect", server.connect_from(second), EAGAIN); });
}

WAY(unix_recv) {
    UnixServer server(5);
    const Descriptor client(socket(AF_UNIX, SOCK_STREAM, 0));
    worked("connect", server.connect_from(client));
    const Descriptor taken(accept(server, nullptr, nullptr));
    const Later sender([&] { put(client, "hello"); });
    char buffer[16];
    takes_the_wait("recv", [&] { same("recv", recv(taken, buffer, sizeof buffer, 0), 5); });
}
