// What the processes of one run know of each other: a page of memory that the launcher makes and that every
// process with the run's options in its environment maps. It is no file: nothing of it is left, however the run
// ends.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_RUN_STATE_H
#define VIRTUAL_PROJECTOR_LAUNCHER_RUN_STATE_H

#include <memory>
#include <string>

namespace vp {

/// Files of the run.
enum class RunFile { trace, summary, schedule, flash, tof_memory };

class RunState {
public:
    /// By the launcher. Null when the system refuses; errno tells why.
    static std::unique_ptr<RunState> create();
    /// By a process of the run: maps what create() made. Throws std::runtime_error when it cannot.
    static std::unique_ptr<RunState> open(const std::string& path);
    ~RunState();
    RunState(const RunState&) = delete;
    RunState& operator=(const RunState&) = delete;

    /// Where other processes find it, as long as the one that created it lives.
    const std::string& path() const { return path_; }

    /// True for the process that asks first of all, also when it asks again as another program.
    bool is_first(int process);
    /// The board of a run belongs to one process. False when it belongs to another one.
    bool claim(int process, const std::string& name);
    int owner() const;  // 0: nobody's yet
    std::string owner_name() const;

    /// A machine has been started: the run's files are in somebody's hands.
    void set_begun();
    bool has_begun() const;

    /// Whether all of a file could be written.
    void set_complete(RunFile file, bool complete);
    bool is_complete(RunFile file) const;
    bool all_complete() const;

private:
    struct Page;
    RunState(Page* page, int descriptor, std::string path);
    static Page* map(int descriptor);

    Page* page_;
    int descriptor_;  // -1: another process's
    std::string path_;
};

}  // namespace vp

#endif
