#include "virtual_projector/live/live_launcher.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <utility>

#include "pages/page_templates.h"
#include "virtual_projector/launcher/located_json.h"
#include "virtual_projector/live/command.h"
#include "virtual_projector/live/happenings.h"
#include "virtual_projector/live/hub.h"
#include "virtual_projector/live/run_link.h"
#include "virtual_projector/live/saved_scenario.h"
#include "virtual_projector/live/server.h"

namespace vp {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::chrono::milliseconds look_interval{50};

// As a shell takes it.
std::string quoted(const std::string& word) {
    constexpr const char* plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=.,/:@%";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
    std::string text = "'";
    for (const char c : word) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + "'";
}

std::string shown_command(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += " " + quoted(word);
    return text;
}

// Everything that viewers and runs have to do with each other.
class LiveSession {
public:
    explicit LiveSession(const LiveProgram& program) : program_(program) {}

    // On threads of the server.
    std::string obey(const std::string& text) {
        const std::int64_t id = ++last_id_;
        const Command command = parse_command(text, id);
        const std::lock_guard<std::mutex> lock(lock_);
        if (command.is_restart) {
            // Whoever waits for the program's end ends it then, as if somebody had asked this process to.
            if (!restart_.exchange(true) && link_) (void)::kill(::getpid(), SIGTERM);
        } else if (link_) {
            link_->send(command.line);
        } else {
            throw LocatedError("the program has ended: restart it first");
        }
        return Json{{"id", id}}.dump();
    }

    std::string scenario() const {
        const std::lock_guard<std::mutex> lock(lock_);
        return saved_scenario(program_.given, events_);
    }

    /// What a viewer does from here on is for the next run.
    void begin() {
        happenings_ = Happenings();
        limit_us_.reset();
        auto link = std::make_unique<RunLink>([this](const std::string& line) { hear(line); });
        hub.begin_run({{"story", program_.story},
                       {"program", shown_command(program_.command)},
                       {"scenario", program_.given.scenario}});
        const std::lock_guard<std::mutex> lock(lock_);
        events_.clear();
        link_ = std::move(link);
    }

    int run_once() {
        const int code = program_.run(link_->programs_socket());
        std::unique_ptr<RunLink> ended;
        {
            const std::lock_guard<std::mutex> lock(lock_);
            ended = std::move(link_);
        }
        ended.reset();
        Json end = {{"exit_code", code}};
        if (limit_us_) end["limit_s"] = seconds(*limit_us_);
        hub.show_end(end);
        return code;
    }

    /// Until somebody wants another run; false: until they want this process to end.
    bool await_restart() {
        if (program_.was_told_to_end() && !restart_) return false;
        while (!restart_) {
            if (program_.await_ending_signal(look_interval) && !restart_) return false;
        }
        // It may have come when the program had ended by itself.
        (void)program_.await_ending_signal(std::chrono::milliseconds(0));
        restart_ = false;
        return true;
    }

    Hub hub;

private:
    // On the link's thread.
    void hear(const std::string& line) {
        Json message = Json::parse(line);
        const auto kind = message.at("kind").get<std::string>();
        if (kind == "state") {
            hub.show_state(std::move(message));
        } else if (kind == "event") {
            const std::lock_guard<std::mutex> lock(lock_);
            events_.push_back(std::move(message.at("event")));
        } else if (kind == "record") {
            if (std::optional<Json> happening = happenings_.of(message.at("record")))
                hub.show_happening(std::move(*happening));
        } else if (kind == "limit") {
            limit_us_ = message.at("t_us").get<Microseconds>();
        } else if (kind == "refused") {
            hub.show_happening(
                {{"t_us", message.at("t_us")}, {"kind", "failure"}, {"text", message.at("why")}});
        }
    }

    const LiveProgram& program_;
    std::atomic<std::int64_t> last_id_{0};
    std::atomic<bool> restart_{false};
    mutable std::mutex lock_;
    std::unique_ptr<RunLink> link_;
    std::vector<Json> events_;
    // The link's thread's own while there is a link.
    Happenings happenings_;
    std::optional<Microseconds> limit_us_;
};

}  // namespace

int run_live(const LiveProgram& program) {
    const std::string page(live_page_template());
    if (page.empty())
        throw std::runtime_error(
            "--live: this virtual-projector was built without its pages (esbuild was missing)");
    LiveSession session(program);
    const LiveServer server(
        program.port, page, session.hub,
        {[&](const std::string& text) { return session.obey(text); }, [&] { return session.scenario(); }});
    session.begin();
    std::fprintf(stderr, "virtual-projector: open %s\n", server.address().c_str());
    for (;;) {
        const int code = session.run_once();
        if (!session.await_restart()) return code;
        session.begin();
    }
}

}  // namespace vp
