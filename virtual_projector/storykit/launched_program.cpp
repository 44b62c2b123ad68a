#include "virtual_projector/storykit/launched_program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace storykit {
namespace {

constexpr const char* emulator = STORYKIT_EMULATOR;  // the words of its command; none: the processor runs them
constexpr int signal_base = 128;

std::vector<std::string> emulated(const std::vector<std::string>& command) {
    std::istringstream words(emulator);
    std::vector<std::string> all(std::istream_iterator<std::string>(words), {});
    all.insert(all.end(), command.begin(), command.end());
    return all;
}

int shell_exit_code(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : signal_base + WTERMSIG(status);
}

int spawn_and_wait(const std::vector<std::string>& command, const ScratchFolder& folder) {
    posix_spawn_file_actions_t streams;
    posix_spawn_file_actions_init(&streams);
    constexpr int writing = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&streams, STDIN_FILENO, folder.file("in").c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&streams, STDOUT_FILENO, folder.file("out").c_str(), writing, 0600);
    posix_spawn_file_actions_addopen(&streams, STDERR_FILENO, folder.file("err").c_str(), writing, 0600);
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    pid_t child = 0;
    const int failure = posix_spawnp(&child, arguments[0], &streams, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&streams);
    if (failure != 0) throw std::runtime_error("cannot start " + command.front());
    int status = 0;
    waitpid(child, &status, 0);
    return shell_exit_code(status);
}

Finished finish(const std::vector<std::string>& command, const std::string& input) {
    const ScratchFolder folder;
    write_file(folder.file("in"), input);
    Finished finished;
    finished.exit_code = spawn_and_wait(command, folder);
    finished.words = contents_of(folder.file("out"));
    finished.complaints = contents_of(folder.file("err"));
    return finished;
}

}  // namespace

const char* const launcher = STORYKIT_LAUNCHER;
const char* const host_program = STORYKIT_HOST;
const char* const report_program = STORYKIT_REPORT;

std::string contents_of(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void write_file(const std::string& path, const std::string& contents) {
    std::ofstream(path, std::ios::binary) << contents;
}

Finished launch(const std::vector<std::string>& command, const std::string& input) {
    return finish(emulated(command), input);
}

std::vector<std::string> projector_command(const std::vector<std::string>& options,
                                           const std::vector<std::string>& program) {
    std::vector<std::string> command = {launcher};
    if (*emulator != '\0') command.insert(command.end(), {"--emulator", emulator});
    command.insert(command.end(), options.begin(), options.end());
    command.emplace_back("--");
    command.insert(command.end(), program.begin(), program.end());
    return emulated(command);
}

Finished launch_projector(const std::vector<std::string>& options, const std::vector<std::string>& program,
                          const std::string& input) {
    return finish(projector_command(options, program), input);
}

Finished launch_own(const std::vector<std::string>& command) { return finish(command, ""); }

std::string project_file(const std::string& name) { return std::string(STORYKIT_PROJECT) + "/" + name; }

}  // namespace storykit
