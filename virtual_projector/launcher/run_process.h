// What a process with the run's options in its environment has to do with the run.
//
// The run's first process, and each that comes with the library loaded, has a machine from main on. Every other
// one is let alone until it loads the library or opens a node of the board. The board is one process's: the
// first that has the library or opens a node owns it. The owner's children find nothing of the run in their
// environment; those of others, such as a shell or a launcher in another language, carry it on to the program
// that is meant.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_RUN_PROCESS_H
#define VIRTUAL_PROJECTOR_LAUNCHER_RUN_PROCESS_H

#include <sys/types.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "virtual_projector/interpose/process_role.h"
#include "virtual_projector/launcher/run_options.h"
#include "virtual_projector/launcher/run_state.h"
#include "virtual_projector/launcher/session.h"

namespace vp {

class RunProcess final : public ProcessRole {
public:
    /// Of the process with these options. Throws std::runtime_error when they name what is not there.
    explicit RunProcess(std::string options);

    /// Before the program's main. Ends the process when it wants the board and another one has it.
    void start();
    /// After it.
    void end();
    /// In a child that has been forked off, on its only thread.
    void continue_as_child();

    bool may_use_board() override;
    void libraries_changed() override;
    void before_execution(const std::string& file) override;
    void before_end() override { end(); }
    std::vector<std::string> needed_in_environment(char* const* environment) const override;

private:
    bool claim();
    void claim_or_end();
    void begin_session();
    std::string owned_by() const;
    bool is_child() const;

    std::string text_;
    RunOptions options_;
    std::unique_ptr<RunState> state_;  // null: there is no other process
    std::string preload_;              // this library's file
    pid_t process_;
    bool owner_ = false;
    bool said_ = false;  // that the board is another's
    std::unique_ptr<Session> session_;
};

}  // namespace vp

#endif
