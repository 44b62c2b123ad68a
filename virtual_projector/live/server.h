// The live page's web server: on the loopback address alone, for those who know the token in its address.
//
//     GET  /?token=T           the page
//     GET  /events?token=T     server-sent events, see hub.h; at most 30 a second, the newest state in each
//     POST /command?token=T    a command, see command.h; {"id":7}, or {"mistake":"..."} with 400
//     GET  /scenario?token=T   what has been done, as a scenario file
//
// Everything else is refused with a line that says why: another Host or Origin than its own (403), a wrong
// token (403), other paths (404), bodies of more than 16 KiB (413), more than 200 commands a second (429), more
// than eight viewers (503).
#ifndef VIRTUAL_PROJECTOR_LIVE_SERVER_H
#define VIRTUAL_PROJECTOR_LIVE_SERVER_H

#include <functional>
#include <memory>
#include <string>

#include "virtual_projector/live/hub.h"

namespace vp {

class LiveServer {
public:
    static constexpr int max_viewers = 8;

    struct Actions {
        /// A command's text; returns the answer. Throws LocatedError when it is wrong. On any thread.
        std::function<std::string(const std::string& text)> command;
        std::function<std::string()> scenario;
    };

    /// Serves on this port, 0: one that is free. `page` is its HTML. Throws std::runtime_error when it cannot.
    LiveServer(int port, std::string page, Hub& hub, Actions actions);
    ~LiveServer();
    LiveServer(const LiveServer&) = delete;
    LiveServer& operator=(const LiveServer&) = delete;

    int port() const;
    const std::string& token() const;
    /// What a person opens.
    std::string address() const;

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace vp

#endif
