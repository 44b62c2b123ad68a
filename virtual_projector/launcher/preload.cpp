// Begins and ends the run when the virtual projector has been loaded into a program.
#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "virtual_projector/launcher/run_options.h"
#include "virtual_projector/launcher/run_process.h"

namespace {

using Main = int (*)(int, char**, char**);
using Start = int (*)(Main, int, char**, void (*)(), void (*)(), void (*)(), void*);

constexpr int cannot_begin = 2;

vp::RunProcess* process = nullptr;  // stays to the end: the program's threads may call at any time
Main program_main = nullptr;

void end_run() { process->end(); }

void continue_as_child() { process->continue_as_child(); }

void begin_run(const char* options) {
    try {
        process = new vp::RunProcess(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "virtual-projector: %s\n", error.what());
        _exit(cannot_begin);
    }
    std::atexit(end_run);
    pthread_atfork(nullptr, nullptr, continue_as_child);
    process->start();
    vp::ProcessRole::set_current(process);
}

int run_program_main(int argc, char** argv, char** environment) {
    if (const char* const options = std::getenv(vp::run_options_variable)) begin_run(options);
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
