// Lines to and from another process over a socket, without ever waiting for it.
#ifndef VIRTUAL_PROJECTOR_LIVE_LINE_CHANNEL_H
#define VIRTUAL_PROJECTOR_LIVE_LINE_CHANNEL_H

#include <cstddef>
#include <string>
#include <vector>

namespace vp {

class LineChannel {
public:
    /// Takes over a connected stream socket and closes it at its end.
    explicit LineChannel(int socket) : socket_(socket) {}
    ~LineChannel();
    LineChannel(const LineChannel&) = delete;
    LineChannel& operator=(const LineChannel&) = delete;

    /// To be polled: for reading, and for writing while something is unsent.
    int descriptor() const { return socket_; }
    /// False once the other process is gone.
    bool is_open() const { return is_open_; }

    /// The whole lines that have come, without their newlines.
    std::vector<std::string> receive();

    /// Sends as much as the other side takes now and keeps the rest.
    void send(const std::string& line);
    void flush();
    std::size_t unsent() const { return unsent_.size(); }

private:
    int socket_;
    bool is_open_ = true;
    std::string received_;
    std::string unsent_;
};

}  // namespace vp

#endif
