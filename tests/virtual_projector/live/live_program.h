// The launcher with a live page, and a person at it who is a program.
#ifndef TESTS_VIRTUAL_PROJECTOR_LIVE_LIVE_PROGRAM_H
#define TESTS_VIRTUAL_PROJECTOR_LIVE_LIVE_PROGRAM_H

#include <fcntl.h>
#include <httplib.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <functional>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "virtual_projector/storykit/launched_program.h"

namespace live_test {

using Json = nlohmann::ordered_json;

class LiveProgram {
public:
    LiveProgram(std::vector<std::string> options, const std::vector<std::string>& program) {
        options.insert(options.begin(), "--live");
        start(storykit::projector_command(options, program));
        read_address();
    }
    ~LiveProgram() {
        if (process_ > 0) (void)end(SIGKILL);
        (void)::close(complaints_);
    }
    LiveProgram(const LiveProgram&) = delete;
    LiveProgram& operator=(const LiveProgram&) = delete;

    int post(const Json& command) const {
        httplib::Client client("127.0.0.1", port_);
        const httplib::Result got = client.Post("/command?token=" + token_, command.dump(), "application/json");
        return got ? got->status : 0;
    }
    int event(const Json& event) const { return post({{"do", "event"}, {"event", event}}); }

    std::string scenario() const {
        httplib::Client client("127.0.0.1", port_);
        return client.Get("/scenario?token=" + token_)->body;
    }

    /// Watches until a message satisfies this; returns it.
    Json watch_for(const std::function<bool(const Json&)>& is_it) const {
        httplib::Client client("127.0.0.1", port_);
        client.set_read_timeout(60);
        std::string text;
        Json found;
        (void)client.Get("/events?token=" + token_, [&](const char* bytes, std::size_t count) {
            text.append(bytes, count);
            for (std::size_t end = text.find("\n\n"); end != std::string::npos; end = text.find("\n\n")) {
                if (text.rfind("data: ", 0) == 0) found = Json::parse(text.substr(6, end - 6));
                text.erase(0, end + 2);
                if (!found.is_null() && is_it(found)) return false;
            }
            return true;
        });
        return found;
    }
    Json watch_for_end() const {
        return watch_for([](const Json& news) { return news.contains("end"); });
    }
    /// Until simulated time has come so far.
    Json watch_until(double time_s) const {
        return watch_for([=](const Json& news) {
            return news.contains("state") && news.at("state").at("t_us").get<double>() >= time_s * 1e6;
        });
    }

    /// The launcher's exit code after this signal.
    int end(int signal) {
        (void)::kill(process_, signal);
        int status = 0;
        (void)::waitpid(process_, &status, 0);
        process_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    void start(const std::vector<std::string>& command) {
        std::vector<char*> words;
        for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
        words.push_back(nullptr);
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        complaints_ = ends[0];
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
        ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        const int error = ::posix_spawn(&process_, words[0], &actions, nullptr, words.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        (void)::close(ends[1]);
        if (error != 0) throw std::runtime_error("no process");
    }

    void read_address() {
        std::string line;
        for (char c = 0; c != '\n' && ::read(complaints_, &c, 1) == 1;) line += c;
        const std::size_t port = line.find("127.0.0.1:");
        const std::size_t token = line.find("token=");
        if (port == std::string::npos || token == std::string::npos)
            throw std::runtime_error("no address: " + line);
        port_ = std::stoi(line.substr(port + 10));
        token_ = line.substr(token + 6, 32);
    }

    pid_t process_ = 0;
    int complaints_ = -1;
    int port_ = 0;
    std::string token_;
};

}  // namespace live_test

#endif
