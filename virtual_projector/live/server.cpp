#include "virtual_projector/live/server.h"

#include <httplib.h>
#include <sys/random.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/live/rate_limit.h"

namespace vp {
namespace {

using httplib::Request;
using httplib::Response;

constexpr const char* loopback = "127.0.0.1";
constexpr std::size_t max_body = std::size_t{16} * 1024;
constexpr double commands_per_s = 100;
constexpr double commands_at_once = 100;
// In no second more than 30.
constexpr double messages_per_s = 26;
constexpr double messages_at_once = 4;
// Beside a thread for each viewer: pages open several connections at once.
constexpr std::size_t other_threads = 16;
constexpr std::chrono::milliseconds sign_of_life{2000};
constexpr time_t patience_s = 5;  // with who sends or takes nothing
constexpr time_t keep_alive_s = 2;
constexpr std::size_t max_kept_requests = 10000;

std::string make_token() {
    std::array<unsigned char, 16> bytes{};
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("the system has no random bytes for the page's token");
    std::string token;
    for (const unsigned char byte : bytes) {
        std::array<char, 3> text{};
        std::snprintf(text.data(), text.size(), "%02x", byte);
        token += text.data();
    }
    return token;
}

// Takes as long wherever the first difference is.
bool is_same(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        difference |=
            static_cast<unsigned>(static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]));
    return difference == 0;
}

void refuse(Response& response, int status, const std::string& why) {
    response.status = status;
    response.set_content(why + "\n", "text/plain; charset=utf-8");
}

const char* words_for(int status) {
    constexpr int too_large = 413;
    constexpr int failed = 500;
    if (status == too_large) return "a command has at most 16 KiB";
    return status == failed ? "this could not be done" : "there is nothing here but the live page";
}

void harden(Response& response) {
    response.set_header("Cache-Control", "no-store");
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("Referrer-Policy", "no-referrer");
    response.set_header("Cross-Origin-Opener-Policy", "same-origin");
    response.set_header("Cross-Origin-Resource-Policy", "same-origin");
    response.set_header("X-Frame-Options", "DENY");
}

// The policy that the page itself names, so that it holds before its first byte is read. Some of it only a
// header can say.
std::string policy_of(const std::string& page) {
    constexpr std::string_view begin = "http-equiv=\"Content-Security-Policy\" content=\"";
    const std::size_t at = page.find(begin);
    const std::string only_header = "frame-ancestors 'none'";
    if (at == std::string::npos) return "default-src 'none'; " + only_header;
    const std::size_t from = at + begin.size();
    return page.substr(from, page.find('"', from) - from) + "; " + only_header;
}

// One viewer of the cap; gives its place back.
class Place {
public:
    explicit Place(std::atomic<int>& viewers) : viewers_(viewers) {}
    ~Place() { --viewers_; }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

private:
    std::atomic<int>& viewers_;
};

// What a viewer is sent, on a thread of its own.
class Stream {
public:
    Stream(const Hub& hub, std::atomic<int>& viewers) : hub_(hub), place_(viewers) {}

    // False: the viewer is gone, or the server is.
    bool send_next(httplib::DataSink& sink) {
        const auto begin = Hub::Clock::now();
        const bool has_news = hub_.wait_for_news(seen_, begin + sign_of_life);
        if (hub_.is_closed()) return false;
        if (!has_news) return write(sink, ": still here\n\n");
        while (!rate_.take(Hub::Clock::now())) std::this_thread::sleep_until(rate_.next(Hub::Clock::now()));
        constexpr auto replace = Hub::Json::error_handler_t::replace;
        return write(sink, "data: " + hub_.news_for(seen_).dump(-1, ' ', false, replace) + "\n\n");
    }

private:
    static bool write(httplib::DataSink& sink, const std::string& text) {
        return sink.write(text.data(), text.size());
    }

    const Hub& hub_;
    Place place_;
    Hub::Seen seen_;
    RateLimit rate_{messages_per_s, messages_at_once, Hub::Clock::now()};
};

}  // namespace

struct LiveServer::Parts {
    Parts(std::string html, Hub& the_hub, Actions the_actions)
        : page(std::move(html)),
          policy(policy_of(page)),
          hub(the_hub),
          actions(std::move(the_actions)),
          token(make_token()) {}

    void configure() {
        server.new_task_queue = [] { return new httplib::ThreadPool(max_viewers + other_threads); };
        // Another server on the same port would get a part of the viewers.
        server.set_socket_options([](socket_t socket) {
            const int yes = 1;
            (void)::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        });
        server.set_tcp_nodelay(true);  // a state is sent at once
        server.set_payload_max_length(max_body);
        server.set_read_timeout(patience_s);
        server.set_write_timeout(patience_s);
        server.set_keep_alive_timeout(keep_alive_s);
        server.set_keep_alive_max_count(max_kept_requests);
        server.set_pre_routing_handler([this](const Request& request, Response& response) {
            harden(response);
            return is_allowed(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                                 : httplib::Server::HandlerResponse::Handled;
        });
        server.set_error_handler([](const Request&, Response& response) {
            if (!response.body.empty()) return;
            refuse(response, response.status, words_for(response.status));
        });
        server.Get("/", [this](const Request&, Response& response) { send_page(response); });
        server.Get("/events", [this](const Request&, Response& response) { send_events(response); });
        server.Get("/scenario", [this](const Request&, Response& response) { send_scenario(response); });
        server.Post("/command",
                    [this](const Request& request, Response& response) { obey(request, response); });
    }

    // A page of elsewhere that a person has open must reach nothing here, whatever name it calls this computer
    // by.
    bool is_allowed(const Request& request, Response& response) const {
        const std::string here = std::string(loopback) + ":" + std::to_string(port);
        const std::string by_name = "localhost:" + std::to_string(port);
        const std::string host = request.get_header_value("Host");
        if (host != here && host != by_name) {
            refuse(response, 403, "expected the Host " + here);
        } else if (request.has_header("Origin") && request.get_header_value("Origin") != "http://" + host) {
            refuse(response, 403, "expected the Origin http://" + here);
        } else if (!is_same(request.get_param_value("token"), token)) {
            refuse(response, 403, "expected the token of the address that virtual-projector printed");
        } else {
            return true;
        }
        return false;
    }

    void send_page(Response& response) const {
        response.set_header("Content-Security-Policy", policy);
        response.set_content(page, "text/html; charset=utf-8");
    }

    void send_events(Response& response) {
        if (++viewers > max_viewers) {
            --viewers;
            refuse(response, 503, "eight viewers have this page open already; close one of them");
            return;
        }
        const auto stream = std::make_shared<Stream>(hub, viewers);
        response.set_chunked_content_provider(
            "text/event-stream",
            [stream](std::size_t, httplib::DataSink& sink) { return stream->send_next(sink); });
    }

    void send_scenario(Response& response) const {
        response.set_header("Content-Disposition", "attachment; filename=\"live.json\"");
        response.set_content(actions.scenario(), "application/json");
    }

    void obey(const Request& request, Response& response) {
        if (!may_command()) {
            refuse(response, 429, "more than 200 commands in a second");
            return;
        }
        try {
            response.set_content(actions.command(request.body), "application/json");
        } catch (const LocatedError& mistake) {
            response.status = 400;
            response.set_content(nlohmann::json{{"mistake", mistake.what()}}.dump(), "application/json");
        }
    }

    bool may_command() {
        const std::lock_guard<std::mutex> lock(rate_lock);
        return rate.take(RateLimit::Clock::now());
    }

    std::string page;
    std::string policy;
    Hub& hub;
    Actions actions;
    std::string token;
    int port = 0;
    std::atomic<int> viewers{0};
    std::mutex rate_lock;
    RateLimit rate{commands_per_s, commands_at_once, RateLimit::Clock::now()};
    httplib::Server server;
    std::thread thread;
};

LiveServer::LiveServer(int port, std::string page, Hub& hub, Actions actions)
    : parts_(std::make_unique<Parts>(std::move(page), hub, std::move(actions))) {
    httplib::Server& server = parts_->server;
    parts_->configure();
    const int bound = port == 0 ? server.bind_to_any_port(loopback) : port;
    if (bound <= 0 || (port != 0 && !server.bind_to_port(loopback, port)))
        throw std::runtime_error("--live: port " + std::to_string(port) +
                                 " cannot be had; expected one that is free");
    parts_->port = bound;
    parts_->thread = std::thread([&server] { server.listen_after_bind(); });
    while (!server.is_running()) std::this_thread::yield();
}

LiveServer::~LiveServer() {
    parts_->hub.close();
    parts_->server.stop();
    parts_->thread.join();
}

int LiveServer::port() const { return parts_->port; }

const std::string& LiveServer::token() const { return parts_->token; }

std::string LiveServer::address() const {
    return std::string("http://") + loopback + ":" + std::to_string(parts_->port) + "/?token=" + parts_->token;
}

}  // namespace vp
