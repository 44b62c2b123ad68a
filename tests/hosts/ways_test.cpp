// Each way of waiting, with the library beside it, on the virtual projector: the right result after the right
// simulated time, and twice the same trace. One test for each way of the table. Under the address sanitizer,
// and on the board's processor, whose emulator takes a second for each run, the second one is left to who asks
// for it by WAYS_TWICE=1.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "virtual_projector/storykit/launched_program.h"

namespace {

using storykit::contents_of;
using storykit::Finished;
using storykit::ScratchFolder;

// A way that does not keep simulated time often never ends; this one has then failed.
constexpr auto longest_run = std::chrono::seconds(60);
constexpr auto look_interval = std::chrono::milliseconds(2);
// When the outside says something after the way has begun: late enough for all that can happen before.
constexpr auto feeding_delay = std::chrono::milliseconds(300);
// Standard input stays open, and nobody ever says anything.
constexpr auto never = longest_run;
constexpr int killed = 128 + SIGKILL;

// A broken run must not fill the disk, or the memory.
constexpr rlim_t max_file_bytes = 300'000'000;
constexpr rlim_t max_data_bytes = 3'000'000'000;

struct Input {
    Input() {
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe for standard input");
    }
    ~Input() {
        close(ends[0]);
        close(ends[1]);
    }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;
    int ends[2] = {-1, -1};
};

pid_t start(const std::vector<std::string>& command, const ScratchFolder& folder, const Input* input) {
    posix_spawn_file_actions_t streams;
    posix_spawn_file_actions_init(&streams);
    constexpr int writing = O_WRONLY | O_CREAT | O_TRUNC;
    if (input == nullptr) {
        posix_spawn_file_actions_addopen(&streams, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    } else {
        posix_spawn_file_actions_adddup2(&streams, input->ends[0], STDIN_FILENO);
    }
    posix_spawn_file_actions_addopen(&streams, STDOUT_FILENO, folder.file("out").c_str(), writing, 0600);
    posix_spawn_file_actions_addopen(&streams, STDERR_FILENO, folder.file("err").c_str(), writing, 0600);
    // A group of its own, so that all of it can be ended.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    pid_t child = -1;
    const int failure = posix_spawnp(&child, arguments[0], &streams, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&streams);
    if (failure != 0) throw std::runtime_error("cannot start " + command.front());
    return child;
}

// Whoever lost their parent by it, and is this process's own since.
void kill_orphans() {
    for (int round = 0; round < 100; ++round) {
        std::ifstream children("/proc/self/task/" + std::to_string(getpid()) + "/children");
        pid_t orphan = 0;
        if (!(children >> orphan)) return;
        kill(orphan, SIGKILL);
        waitpid(orphan, nullptr, 0);
    }
}

// Says something on standard input, once, a while after the program has said that it may.
class Feeder {
public:
    Feeder(const Input* input, std::chrono::milliseconds delay, const ScratchFolder& folder)
        : input_(input), delay_(delay), words_(folder.file("out")), fed_(input == nullptr) {}

    void look() {
        if (fed_) return;
        const auto now = std::chrono::steady_clock::now();
        if (!begin_ && contents_of(words_).find("now the outside may speak\n") != std::string::npos)
            begin_ = now;
        if (begin_ && now - *begin_ >= delay_) fed_ = write(input_->ends[1], "hello\n", 6) == 6;
    }

private:
    const Input* input_;
    const std::chrono::milliseconds delay_;
    const std::string words_;
    std::optional<std::chrono::steady_clock::time_point> begin_;
    bool fed_;
};

// Waits for the end, and lets the outside say something on the way.
int exit_code_of(pid_t child, Feeder feeder) {
    const auto begin = std::chrono::steady_clock::now();
    for (;;) {
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child) {
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        const auto passed = std::chrono::steady_clock::now() - begin;
        feeder.look();
        if (passed >= longest_run) {
            kill(-child, SIGKILL);
            waitpid(child, &status, 0);
            kill_orphans();
            return killed;
        }
        std::this_thread::sleep_for(look_interval);
    }
}

struct Outcome {
    Finished finished;
    std::string trace;

    std::string told() const {
        if (finished.exit_code == killed) return "it does not end\n" + finished.complaints;
        const std::size_t line = finished.words.rfind("\nway ");
        return "exit code " + std::to_string(finished.exit_code) + "\n" +
               (line == std::string::npos ? "" : finished.words.substr(line + 1)) + finished.complaints;
    }
};

Outcome run_way(const std::string& name, std::vector<std::string> options, bool fed,
                std::chrono::milliseconds delay = feeding_delay) {
    const ScratchFolder folder;
    options.insert(options.begin(), {"--scenario", storykit::project_file("tests/hosts/ways.json"), "--trace",
                                     folder.file("trace")});
    std::optional<Input> input;
    if (fed) input.emplace();
    const Input* const given = fed ? &*input : nullptr;
    const pid_t child = start(storykit::projector_command(options, {WAYS, "run", name}), folder, given);
    Outcome run;
    run.finished.exit_code = exit_code_of(child, Feeder(given, delay, folder));
    run.finished.words = contents_of(folder.file("out"));
    run.finished.complaints = contents_of(folder.file("err"));
    run.trace = contents_of(folder.file("trace"));
    return run;
}

void expect_right(const Outcome& run, const std::string& name) {
    EXPECT_EQ(run.finished.exit_code, 0) << run.told();
    EXPECT_NE(run.finished.words.find("\nway " + name + ": right"), std::string::npos) << run.told();
    EXPECT_FALSE(run.trace.empty());
}

// The first line that differs says more than two whole traces.
void expect_same(const std::string& what, const std::string& first, const std::string& second) {
    if (first == second) return;
    std::istringstream left(first);
    std::istringstream right(second);
    std::string of_first;
    std::string of_second;
    for (int line = 1;; ++line) {
        const bool more_left = static_cast<bool>(std::getline(left, of_first));
        const bool more_right = static_cast<bool>(std::getline(right, of_second));
        if (!more_left && !more_right) break;
        if (of_first == of_second && more_left == more_right) continue;
        ADD_FAILURE() << what << " differ first in line " << line << ":\n" << of_first << "\n" << of_second;
        return;
    }
}

// Lines that tell what was drawn.
std::string drawn(const Outcome& run) {
    std::istringstream lines(run.finished.words);
    std::string all;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("drew ", 0) == 0) all += line + "\n";
    }
    return all;
}

int count_of(const std::string& part, const std::string& text) {
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

#if defined(__mips__)
// What the emulator of the board's processor does not do right, on a plain PC either.
const std::map<std::string, std::string> beyond_the_emulator = {
    {"child_by_every_exec", "a child cannot become a program of the other processor"},
    {"mq_notify_by_signal", "the signal of a queue does not come"},
    {"mutex_robust_whose_owner_ends", "no kernel looks at a thread's list of robust mutexes"},
};
#endif

bool runs_twice() {
#if defined(__mips__) || defined(__SANITIZE_ADDRESS__)
    return std::getenv("WAYS_TWICE") != nullptr;
#else
    return true;
#endif
}

class AWay : public testing::Test {
public:
    AWay(std::string name, std::string kind) : name_(std::move(name)), kind_(std::move(kind)) {}

    void TestBody() override {
#if defined(__mips__)
        if (const auto reason = beyond_the_emulator.find(name_); reason != beyond_the_emulator.end()) {
            GTEST_SKIP() << reason->second;
        }
#endif
        if (kind_ == "busy") return loses_its_turn();
        if (kind_ == "skip") return lets_time_go_on(feeding_delay);
        if (kind_ == "skip_for_good") return lets_time_go_on(never);
        const bool fed = kind_ == "fed";
        const Outcome first = run_way(name_, {}, fed);
        expect_right(first, name_);
        EXPECT_EQ(count_of("no longer deterministic", first.finished.complaints), 0);
        if (HasFailure()) return;
        if (runs_twice()) runs_again_the_same(first, fed);
        if (kind_ == "chance") follows_the_seed(first);
    }

private:
    void runs_again_the_same(const Outcome& first, bool fed) const {
        const Outcome second = run_way(name_, {}, fed);
        expect_right(second, name_);
        expect_same("traces", first.trace, second.trace);
        expect_same("words", first.finished.words, second.finished.words);
        EXPECT_EQ(first.finished.complaints, second.finished.complaints);
    }

    void loses_its_turn() const {
        const Outcome run = run_way(name_, {}, false);
        expect_right(run, name_);
        EXPECT_EQ(count_of("no longer deterministic", run.finished.complaints), 1) << run.finished.complaints;
    }

    void lets_time_go_on(std::chrono::milliseconds delay) const {
        expect_right(run_way(name_, {"--outside=skip"}, true, delay), name_);
    }

    void follows_the_seed(const Outcome& first) const {
        ASSERT_NE(drawn(first), "");
        const Outcome other = run_way(name_, {"--seed", "2"}, false);
        expect_right(other, name_);
        EXPECT_NE(drawn(other), drawn(first));
    }

    const std::string name_;
    const std::string kind_;
};

void register_ways() {
    const Finished listed = storykit::launch({WAYS_ALONE, "list"});
    std::istringstream lines(listed.words);
    for (std::string name, kind; lines >> name >> kind;) {
        testing::RegisterTest("ways", name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                              [=]() -> testing::Test* { return new AWay(name, kind); });
    }
}

void set_limit(decltype(RLIMIT_FSIZE) resource, rlim_t bytes) {
    rlimit limit{};
    if (getrlimit(resource, &limit) != 0) return;
    limit.rlim_cur = std::min(limit.rlim_max, bytes);
    setrlimit(resource, &limit);
}

}  // namespace

int main(int count, char** words) {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    set_limit(RLIMIT_FSIZE, max_file_bytes);
#if !defined(__SANITIZE_ADDRESS__)
    set_limit(RLIMIT_DATA, max_data_bytes);
#endif
    testing::InitGoogleTest(&count, words);
    register_ways();
    return RUN_ALL_TESTS();
}
