#include "virtual_projector/interpose/program_threads.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/asan_interface.h>
#endif

#include <dlfcn.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/clock/turn_scheduler.h"
#include "virtual_projector/interpose/real_calls.h"
#include "virtual_projector/interpose/thread_run.h"

namespace vp {
namespace {

// What the calls of the virtual projector itself, and a sanitizer where there is one, need beside the
// program's own. Memory that is never touched costs nothing.
constexpr std::size_t headroom_bytes = std::size_t{1024} * 1024;

thread_local ProgramThread* current_thread = nullptr;

// Threads that still run, or wait for ever, when their program's threads are given up.
std::vector<std::unique_ptr<ProgramThread>>& abandoned_threads() {
    static auto* threads = new std::vector<std::unique_ptr<ProgramThread>>;
    return *threads;
}

std::string name_of_function(const void* address) {
    Dl_info info{};
    if (::dladdr(address, &info) == 0 || info.dli_saddr != address || info.dli_sname == nullptr) return {};
    return info.dli_sname;
}

// The library's threads end only with the process.
bool is_of_library(void* (*entry)(void*)) {
    Dl_info info{};
    return ::dladdr(reinterpret_cast<const void*>(entry), &info) != 0 && info.dli_fname != nullptr &&
           std::strstr(info.dli_fname, "libovrafocus.so") != nullptr;
}

bool is_gone(int kernel_id) { return ::syscall(SYS_tgkill, ::getpid(), kernel_id, 0) != 0 && errno == ESRCH; }

void set_current(ProgramThread* thread) {
    current_thread = thread;
    set_current_thread_identity(thread == nullptr ? nullptr : &thread->identity);
    set_current_log_lines(thread == nullptr ? nullptr : &thread->log);
}

// Of the calling thread, to debuggers and to the kernel, which keeps 15 characters of it.
void show_name(const std::string& name) {
    constexpr std::size_t max_length = 15;
    if (!name.empty()) (void)::pthread_setname_np(::pthread_self(), name.substr(0, max_length).c_str());
}

bool program_gave_stack(const pthread_attr_t& attributes) {
    void* base = nullptr;
    std::size_t size = 0;
    if (::pthread_attr_getstack(&attributes, &base, &size) != 0) return false;
    // Without one, the base is given as "size bytes below 0".
    return reinterpret_cast<std::uintptr_t>(base) + size != 0;
}

}  // namespace

ProgramThreads::ProgramThreads(Clock& clock, ProgramSignals& signals, FaultPlan& faults, Recorder& recorder)
    : clock_(clock), signals_(signals), faults_(faults), recorder_(recorder) {}

ProgramThreads::~ProgramThreads() {
    sweep();
    for (std::unique_ptr<ProgramThread>& thread : threads_) {
        if (thread->entry != nullptr) abandoned_threads().push_back(std::move(thread));
    }
}

void ProgramThreads::adopt_current() {
    auto thread = std::make_unique<ProgramThread>();
    thread->owner = this;
    thread->identity = {++last_number_, "main"};
    thread->id = ::pthread_self();
    thread->turn = clock_.scheduler().adopt_current(thread->identity.number, thread->identity.name);
    set_current(thread.get());
    if (clock_.is_virtual()) signals_.thread_begins(thread->turn);
    threads_.push_back(std::move(thread));
}

void ProgramThreads::forget_current() {
    set_current(nullptr);
    if (clock_.is_virtual()) signals_.thread_ends();
}

// --- Start -----------------------------------------------------------------------------------------------

int ProgramThreads::create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                           void* argument, const void* named_after) {
    clock_.scheduler().touch();
    auto started = std::make_unique<ProgramThread>();
    started->identity.name =
        name_of_function(named_after == nullptr ? reinterpret_cast<const void*>(entry) : named_after);
    started->entry = entry;
    started->argument = argument;
    return start_new(std::move(started), thread, attributes);
}

int ProgramThreads::start_new(std::unique_ptr<ProgramThread> thread, pthread_t* id,
                              const pthread_attr_t* attributes) {
    const WorldLock lock(clock_);
    CallCourse course;
    course.began_us = clock_.now();
    sweep();
    thread->owner = this;
    const std::string name = thread->identity.name;
    course.effect = faults_.effect_on("pthread_create", name);
    int failure = course.effect.error_number;
    if (failure == 0) {
        thread->identity.number = ++last_number_;
        failure = start(*thread, attributes);
    }
    if (failure == 0) {
        *id = thread->id;
        threads_.push_back(std::move(thread));
    }
    recorder_.record_thread_start(name, failure == 0 ? last_number_ : -failure, course);
    return failure;
}

namespace {

struct TimerCall {
    void (*function)(sigval);
    sigval value;
};

void* call_for_timer(void* argument) {
    const std::unique_ptr<TimerCall> call(static_cast<TimerCall*>(argument));
    call->function(call->value);
    return nullptr;
}

}  // namespace

void ProgramThreads::start_for_timer(const sigevent& event) {
    auto call = std::make_unique<TimerCall>(TimerCall{event.sigev_notify_function, event.sigev_value});
    auto started = std::make_unique<ProgramThread>();
    started->identity.name = name_of_function(reinterpret_cast<const void*>(event.sigev_notify_function));
    started->entry = call_for_timer;
    started->argument = call.get();
    pthread_attr_t attributes;
    if (event.sigev_notify_attributes != nullptr) {
        attributes = *event.sigev_notify_attributes;  // only read
    } else {
        (void)::pthread_attr_init(&attributes);
    }
    (void)::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t id{};
    if (start_new(std::move(started), &id, &attributes) == 0) (void)call.release();
}

int ProgramThreads::start(ProgramThread& thread, const pthread_attr_t* attributes) {
    pthread_attr_t own;
    if (attributes == nullptr) {
        (void)::pthread_attr_init(&own);
    } else {
        own = *attributes;  // only the stack of the copy is set again; the copy is never destroyed
    }
    int detach_state = PTHREAD_CREATE_JOINABLE;
    (void)::pthread_attr_getdetachstate(&own, &detach_state);
    thread.detached = detach_state == PTHREAD_CREATE_DETACHED;
    if (!program_gave_stack(own)) give_stack(thread, own);
    thread.turn = clock_.scheduler().prepare_thread(thread.identity.number, thread.identity.name);
    if (thread.turn != nullptr && is_of_library(thread.entry)) clock_.scheduler().note_servant(thread.turn);
    const int failure = real::pthread_create(&thread.id, &own, &ProgramThreads::run, &thread);
    if (failure != 0) clock_.scheduler().forget_thread(thread.turn);
    return failure;
}

void ProgramThreads::give_stack(ProgramThread& thread, pthread_attr_t& attributes) {
    std::size_t size = 0;
    (void)::pthread_attr_getstacksize(&attributes, &size);
    if (plain_stacks_) {
        (void)::pthread_attr_setstacksize(&attributes, size + headroom_bytes);
        return;
    }
    thread.stack = PaintedStack::map(size + headroom_bytes);
    if (!thread.stack) return;
    (void)::pthread_attr_setstack(&attributes, thread.stack->base(), thread.stack->size());
}

void* ProgramThreads::run(void* started) { return run_to_its_end(enter, leave, started); }

void* ProgramThreads::enter(void* started) {
    ProgramThread& thread = *static_cast<ProgramThread*>(started);
    begin(thread, __builtin_frame_address(0));
    void* const result = thread.entry(thread.argument);
    // No jump in place of the call: this frame, from which the stack is measured, stays above the entry's.
    asm volatile("" ::: "memory");
    return result;
}

void ProgramThreads::leave(void* started) {
#ifdef __SANITIZE_ADDRESS__
    // Of the frames that a cancelled thread has left it has not been told.
    __asan_handle_no_return();
#endif
    ProgramThread& thread = *static_cast<ProgramThread*>(started);
    thread.owner->end(thread);
}

void ProgramThreads::begin(ProgramThread& thread, const void* frame) {
    const ReentrancyGuard guard;
    set_current(&thread);
    show_name(thread.identity.name);
    thread.kernel_id = static_cast<int>(::syscall(SYS_gettid));
    if (thread.stack) thread.stack->entered_at(frame);
    // Until it has its turn a thread touches nothing but its own record: all else may be gone by then.
    TurnScheduler::begin_current(thread.turn);
    if (thread.owner->clock_.is_virtual()) thread.owner->signals_.thread_begins(thread.turn);
    thread.owner->call_ends();  // waiting for its first turn the thread may have moved the whole world
}

// --- End -------------------------------------------------------------------------------------------------

// With the turn gone nothing may be touched any more.
void ProgramThreads::end(ProgramThread& thread) {
    const ReentrancyGuard guard;
    clock_.scheduler().enter_call();  // its turn may have been taken away: then it ends when it has it again
    call_begins();
    if (at_end_) at_end_();
    {
        const WorldLock lock(clock_);
        if (thread.stack) {
            ended_.push_back({thread.identity.number, thread.identity.name, thread.stack->size(),
                              thread.stack->deepest_use()});
        }
        thread.finished = true;
        set_current(nullptr);
        if (clock_.is_virtual()) signals_.thread_ends();
    }
    clock_.scheduler().finish_current();
}

void ProgramThreads::exit_current() {
    ProgramThread* thread = current_thread;
    if (thread == nullptr || thread->entry != nullptr) return;
    end(*thread);
}

ProgramThread* ProgramThreads::find(pthread_t id) {
    const WorldLock lock(clock_);
    const auto found = std::find_if(threads_.rbegin(), threads_.rend(), [id](const auto& thread) {
        return ::pthread_equal(thread->id, id) != 0 && !(thread->detached && thread->finished);
    });
    return found == threads_.rend() ? nullptr : found->get();
}

bool ProgramThreads::can_be_joined(const ProgramThread& thread) const {
    return &thread != current_thread && !thread.detached;
}

// Handlers run in between; the wait goes on after them.
WaitEnd ProgramThreads::wait_for_end(ProgramThread& thread, Microseconds deadline) {
    clock_.scheduler().touch();
    for (;;) {
        const WaitEnd end = clock_.scheduler().wait_for_end(thread.turn, deadline);
        if (end != WaitEnd::interrupted) return end;
        (void)signals_.raise_own();
    }
}

int ProgramThreads::join(pthread_t id, void** result) {
    ProgramThread* thread = find(id);
    const bool can_be_waited_for = thread != nullptr && can_be_joined(*thread);
    if (can_be_waited_for) (void)wait_for_end(*thread, no_deadline);
    const int failure = real::pthread_join(id, result);
    if (failure == 0 && can_be_waited_for) let_go(*thread);
    return failure;
}

// In virtual time a thread that has ended for the program may still be on its way out of the kernel.
int ProgramThreads::try_join(pthread_t id, void** result) {
    clock_.scheduler().touch();
    const ProgramThread* thread = find(id);
    if (thread != nullptr && clock_.is_virtual() && can_be_joined(*thread))
        return thread->finished ? join(id, result) : EBUSY;
    const int failure = real::pthread_tryjoin_np(id, result);
    if (failure == 0) joined_elsewhere(id);
    return failure;
}

std::optional<long> ProgramThreads::join_until(pthread_t id, void** result, Microseconds deadline) {
    ProgramThread* thread = find(id);
    if (thread == nullptr || !clock_.is_virtual()) return std::nullopt;
    if (thread == current_thread) return EDEADLK;
    if (thread->detached) return EINVAL;
    if (wait_for_end(*thread, deadline) == WaitEnd::timed_out) return ETIMEDOUT;
    return join(id, result);
}

void ProgramThreads::joined_elsewhere(pthread_t id) {
    if (ProgramThread* thread = find(id)) let_go(*thread);
}

std::optional<long> ProgramThreads::yield() {
    if (!clock_.is_virtual()) return std::nullopt;
    clock_.scheduler().yield();
    return 0;
}

int ProgramThreads::detach(pthread_t id) {
    ProgramThread* thread = find(id);
    const int failure = real::pthread_detach(id);
    const WorldLock lock(clock_);
    if (failure == 0 && thread != nullptr) thread->detached = true;
    return failure;
}

// --- Stacks ----------------------------------------------------------------------------------------------

void ProgramThreads::let_go(ProgramThread& thread) {
    const WorldLock lock(clock_);
    const auto found = std::find_if(threads_.begin(), threads_.end(),
                                    [&thread](const auto& kept) { return kept.get() == &thread; });
    if (found != threads_.end()) threads_.erase(found);
}

// A detached thread's stack may go when the kernel knows the thread no more.
void ProgramThreads::sweep() {
    const auto done = [](const std::unique_ptr<ProgramThread>& thread) {
        return thread->entry != nullptr && thread->detached && thread->finished && is_gone(thread->kernel_id);
    };
    threads_.erase(std::remove_if(threads_.begin(), threads_.end(), done), threads_.end());
}

void ProgramThreads::call_begins() {
    if (exact_stacks_ && current_thread != nullptr && current_thread->stack) current_thread->stack->note_use();
}

void ProgramThreads::call_ends() {
    if (exact_stacks_ && current_thread != nullptr && current_thread->stack) {
        current_thread->stack->paint_unused();
    }
}

std::vector<StackUse> ProgramThreads::stack_uses() const {
    const WorldLock lock(clock_);
    std::vector<StackUse> uses = ended_;
    for (const std::unique_ptr<ProgramThread>& thread : threads_) {
        if (!thread->stack || thread->finished) continue;
        uses.push_back({thread->identity.number, thread->identity.name, thread->stack->size(),
                        thread->stack->deepest_use()});
    }
    std::sort(uses.begin(), uses.end(),
              [](const StackUse& a, const StackUse& b) { return a.thread < b.thread; });
    return uses;
}

}  // namespace vp
