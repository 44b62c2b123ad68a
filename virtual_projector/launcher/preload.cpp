// Begins and ends the run when the virtual projector has been loaded into a program.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>

#include "virtual_projector/launcher/run_options.h"
#include "virtual_projector/launcher/session.h"

namespace {

using Main = int (*)(int, char**, char**);
using Start = int (*)(Main, int, char**, void (*)(), void (*)(), void (*)(), void*);

constexpr int cannot_begin = 2;

std::unique_ptr<vp::Session> session;
Main program_main = nullptr;

void end_run() { session.reset(); }

void begin_run(const std::string& options) {
    try {
        session = std::make_unique<vp::Session>(vp::run_options_from(options));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "virtual-projector: %s\n", error.what());
        _exit(cannot_begin);
    }
    std::atexit(end_run);
}

// Programs that this one starts live on the plain PC.
int run_program_main(int argc, char** argv, char** environment) {
    if (const char* const given = std::getenv(vp::run_options_variable)) {
        const std::string options = given;
        unsetenv(vp::run_options_variable);
        unsetenv("LD_PRELOAD");
        begin_run(options);
    }
    return program_main(argc, argv, environment);
}

}  // namespace

// Where every program begins, after the constructors of all its libraries: the earliest place at which this
// one's own are known to have run.
extern "C" int __libc_start_main(Main main, int argc, char** argv, void (*init)(), void (*fini)(),
                                 void (*loader_fini)(), void* stack_end) {
    program_main = main;
    const auto start = reinterpret_cast<Start>(dlsym(RTLD_NEXT, "__libc_start_main"));
    return start(run_program_main, argc, argv, init, fini, loader_fini, stack_end);
}
