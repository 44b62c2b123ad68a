// The launcher's end of the socket to the run: one thread listens, any thread may send.
#ifndef VIRTUAL_PROJECTOR_LIVE_RUN_LINK_H
#define VIRTUAL_PROJECTOR_LIVE_RUN_LINK_H

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "virtual_projector/live/line_channel.h"

namespace vp {

class RunLink {
public:
    /// Called for each line, on the listening thread.
    using Listener = std::function<void(const std::string& line)>;

    /// Throws std::runtime_error when the system has no socket or no thread.
    explicit RunLink(Listener listener);
    ~RunLink();  // what has come by now has been heard
    RunLink(const RunLink&) = delete;
    RunLink& operator=(const RunLink&) = delete;

    /// The program's end, which it inherits.
    int programs_socket() const { return programs_socket_; }

    void send(const std::string& line);

private:
    void listen();
    void hear();

    Listener listener_;
    int programs_socket_ = -1;
    int stop_ = -1;  // readable: the run is over
    std::mutex lock_;
    std::unique_ptr<LineChannel> channel_;
    std::thread thread_;
};

}  // namespace vp

#endif
