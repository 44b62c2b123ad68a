#include "virtual_projector/interpose/program_signals.h"

#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <iterator>
#include <utility>

#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/clock/scheduled_thread.h"
#include "virtual_projector/interpose/real_calls.h"

namespace vp {
namespace {

std::atomic<ProgramSignals*> installed{nullptr};
thread_local ThreadSignals* current_signals = nullptr;

// What struck a thread that could not handle it there. Written by handlers, read by the thread with the turn.
struct Note {
    std::atomic<bool> is_complete{false};
    siginfo_t info{};
};
constexpr std::uint32_t note_count = 256;
std::array<Note, note_count> notes;
std::atomic<std::uint32_t> notes_written{0};
std::uint32_t notes_read = 0;

constexpr int ending_signals[] = {SIGINT, SIGTERM, SIGHUP};

// A fault is handled where it strikes; profilers count where they strike.
bool is_kernels_alone(int signal) {
    switch (signal) {
        case SIGSEGV:
        case SIGBUS:
        case SIGFPE:
        case SIGILL:
        case SIGTRAP:
        case SIGSYS:
        case SIGABRT:
        case SIGPROF:
        case SIGKILL:
        case SIGSTOP:
            return true;
        default:
            return false;
    }
}

bool is_ignored_by_default(int signal) {
    return signal == SIGCHLD || signal == SIGURG || signal == SIGWINCH || signal == SIGCONT;
}

bool stops_by_default(int signal) { return signal == SIGTSTP || signal == SIGTTIN || signal == SIGTTOU; }

// The kernel takes only records with a negative code from threads other than the first.
bool takes_record(const siginfo_t& info) { return info.si_code < 0 && info.si_code != SI_TKILL; }

void keep_for_thread(int kernel_id, const siginfo_t& info) {
    siginfo_t copy = info;
    if (takes_record(info)) {
        (void)::syscall(SYS_rt_tgsigqueueinfo, ::getpid(), kernel_id, info.si_signo, &copy);
    } else {
        (void)real::tgkill(::getpid(), kernel_id, info.si_signo);
    }
}

bool has_turn() {
    return current_signals != nullptr && current_signals->turn != nullptr &&
           current_signals->turn->state == ScheduledThread::State::running;
}

// Stands before every handler of the program's.
void trampoline(int signal, siginfo_t* info, void* context) {
    ProgramSignals* const signals = installed.load(std::memory_order_acquire);
    if (signals == nullptr) return;
    const int errno_before = errno;
    if (has_turn() && !ReentrancyGuard::is_active()) {
        siginfo_t given = *info;
        // Given once: one that strikes later, after the handler has jumped out, brings a record of its own.
        const siginfo_t raised = std::exchange(current_signals->raising, {});
        if (raised.si_signo == signal) given = raised;
        signals->run_handler(signal, &given, context);
    } else {
        signals->note(signal, *info);
    }
    errno = errno_before;
}

}  // namespace

ProgramSignals::ProgramSignals(ThreadScheduler& scheduler) : scheduler_(scheduler) {}

ProgramSignals::~ProgramSignals() {
    uninstall();
    if (noted_descriptor_ >= 0) (void)real::close(noted_descriptor_);
    if (current_signals != nullptr) thread_ends();
}

void ProgramSignals::install(EndHandler at_end) {
    at_end_ = std::move(at_end);
    notes_read = notes_written.load();
    noted_descriptor_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    for (int signal = 1; signal < _NSIG; ++signal) (void)real::sigaction(signal, nullptr, &actions_[signal]);
    // Looked up now: a handler could not.
    (void)real::tgkill(::getpid(), static_cast<pid_t>(::syscall(SYS_gettid)), 0);
    installed.store(this, std::memory_order_release);
    watch_default_ends();
}

void ProgramSignals::uninstall() {
    ProgramSignals* self = this;
    if (!installed.compare_exchange_strong(self, nullptr)) return;
    for (int signal = 1; signal < _NSIG; ++signal) {
        if (behind_trampoline_[signal]) (void)real::sigaction(signal, &actions_[signal], nullptr);
        behind_trampoline_[signal] = false;
    }
}

void ProgramSignals::watch_default_ends() {
    for (const int signal : ending_signals) {
        if (actions_[signal].sa_handler == SIG_DFL) (void)set_action(signal, &actions_[signal], nullptr);
    }
}

// --- Threads ---------------------------------------------------------------------------------------------

void ProgramSignals::thread_begins(ScheduledThread* turn) {
    auto thread = std::make_unique<ThreadSignals>();
    thread->turn = turn;
    thread->id = ::pthread_self();
    thread->kernel_id = static_cast<int>(::syscall(SYS_gettid));
    (void)real::pthread_sigmask(SIG_BLOCK, nullptr, &thread->mask);
    current_signals = thread.get();
    threads_.push_back(std::move(thread));
}

void ProgramSignals::thread_ends() {
    const ThreadSignals* const ending = std::exchange(current_signals, nullptr);
    const auto found = std::find_if(threads_.begin(), threads_.end(),
                                    [ending](const auto& thread) { return thread.get() == ending; });
    if (found != threads_.end()) threads_.erase(found);
}

ThreadSignals& ProgramSignals::current() { return *current_signals; }

ThreadSignals* ProgramSignals::find(int kernel_id) const {
    for (const auto& thread : threads_) {
        if (thread->kernel_id == kernel_id) return thread.get();
    }
    return nullptr;
}

// --- Handlers and masks ----------------------------------------------------------------------------------

int ProgramSignals::set_action(int signal, const struct sigaction* action, struct sigaction* before) {
    if (signal < 1 || signal >= _NSIG || is_kernels_alone(signal)) {
        return real::sigaction(signal, action, before) == 0 ? 0 : -errno;
    }
    const struct sigaction was = actions_[signal];
    if (action != nullptr) {
        struct sigaction actual = *action;
        const bool is_handler = action->sa_handler != SIG_DFL && action->sa_handler != SIG_IGN;
        const bool is_watched_end =
            action->sa_handler == SIG_DFL &&
            std::find(std::begin(ending_signals), std::end(ending_signals), signal) != std::end(ending_signals);
        const bool behind = is_handler || is_watched_end;
        if (behind) {
            actual.sa_sigaction = trampoline;
            actual.sa_flags = (actual.sa_flags | SA_SIGINFO) & ~static_cast<int>(SA_RESETHAND);
        }
        if (real::sigaction(signal, &actual, nullptr) != 0) return -errno;
        actions_[signal] = *action;
        behind_trampoline_[signal] = behind;
    }
    if (before != nullptr) *before = was;
    return 0;
}

int ProgramSignals::set_mask(int how, const sigset_t* set, sigset_t* before) {
    const int failure = real::pthread_sigmask(how, set, before);
    if (failure == 0) (void)real::pthread_sigmask(SIG_BLOCK, nullptr, &current().mask);
    return failure;
}

void ProgramSignals::run_handler(int signal, siginfo_t* info, void* context) {
    const struct sigaction action = actions_[signal];
    if ((action.sa_flags & SA_RESTART) == 0) restart_ = false;
    if (action.sa_handler == SIG_IGN) return;
    if (action.sa_handler == SIG_DFL) {
        end_by(signal);
        return;
    }
    if ((action.sa_flags & static_cast<int>(SA_RESETHAND)) != 0) {
        struct sigaction standard {};
        standard.sa_handler = SIG_DFL;
        (void)set_action(signal, &standard, nullptr);
    }
    if ((action.sa_flags & SA_SIGINFO) != 0) {
        action.sa_sigaction(signal, info, context);
    } else {
        action.sa_handler(signal);
    }
}

ProgramSignals::Mask::Mask(ProgramSignals& signals, const sigset_t* mask)
    : signals_(signals), set_(mask != nullptr) {
    if (set_) (void)signals_.set_mask(SIG_SETMASK, mask, &before_);
}

ProgramSignals::Mask::~Mask() {
    if (set_) (void)signals_.set_mask(SIG_SETMASK, &before_, nullptr);
}

// --- Sending ---------------------------------------------------------------------------------------------

bool ProgramSignals::is_blocked_by_all(int signal) const {
    return std::all_of(threads_.begin(), threads_.end(),
                       [signal](const auto& thread) { return ::sigismember(&thread->mask, signal) == 1; });
}

bool ProgramSignals::acts_by_default(int signal) const {
    return actions_[signal].sa_handler == SIG_DFL && !is_ignored_by_default(signal);
}

bool ProgramSignals::is_ignored(int signal) const {
    return actions_[signal].sa_handler == SIG_IGN ||
           (actions_[signal].sa_handler == SIG_DFL && is_ignored_by_default(signal));
}

void ProgramSignals::send(const siginfo_t& info) {
    const int signal = info.si_signo;
    if (is_blocked_by_all(signal)) {
        keep_for_process(info);
        return;
    }
    if (is_ignored(signal)) return;
    for (const auto& thread : threads_) {
        if (::sigismember(&thread->mask, signal) == 1) continue;
        hand_to(*thread, info);
        return;
    }
}

void ProgramSignals::send_to(int kernel_id, const siginfo_t& info) {
    if (ThreadSignals* const thread = find(kernel_id)) hand_to(*thread, info);
}

void ProgramSignals::keep_for_process(const siginfo_t& info) {
    siginfo_t copy = info;
    if (takes_record(info)) {
        (void)::syscall(SYS_rt_sigqueueinfo, ::getpid(), info.si_signo, &copy);
    } else {
        (void)::syscall(SYS_kill, ::getpid(), info.si_signo);
    }
    (void)wake_awaiting();
}

void ProgramSignals::hand_to(ThreadSignals& thread, const siginfo_t& info) {
    if (::sigismember(&thread.mask, info.si_signo) == 1) {
        keep_for_thread(thread.kernel_id, info);
        if (thread.awaited != nullptr && ::sigismember(thread.awaited, info.si_signo) == 1)
            scheduler_.wake_all(&thread);
        // Its descriptors for signals show only to itself that one has come.
        if (thread.turn != nullptr && thread.turn->state == ScheduledThread::State::waiting &&
            thread.turn->reason.kind == Wait::Kind::descriptor)
            scheduler_.interrupt(thread.turn);
        return;
    }
    if (is_ignored(info.si_signo)) return;
    if (acts_by_default(info.si_signo) && !stops_by_default(info.si_signo)) end_by(info.si_signo);
    thread.to_raise.push_back(info);
    if (thread.turn != nullptr) scheduler_.interrupt(thread.turn);  // the waiting one may move time itself
}

// The default action is the kernel's, once everything that has to be is written.
void ProgramSignals::end_by(int signal) {
    if (at_end_) at_end_(signal);
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    (void)real::sigaction(signal, &standard, nullptr);
    sigset_t only;
    ::sigemptyset(&only);
    ::sigaddset(&only, signal);
    (void)real::tgkill(::getpid(), static_cast<pid_t>(::syscall(SYS_gettid)), signal);
    (void)real::pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
}

long ProgramSignals::kill(int signal, int code, const sigval& value) {
    if (signal < 0 || signal >= _NSIG) return -EINVAL;
    if (signal == 0) return 0;
    siginfo_t info{};
    info.si_signo = signal;
    info.si_code = code;
    info.si_pid = ::getpid();
    info.si_uid = ::getuid();
    info.si_value = value;
    send(info);
    return 0;
}

int ProgramSignals::kill_known(ThreadSignals& thread, int signal, const sigval* value) {
    if (signal < 0 || signal >= _NSIG) return EINVAL;
    if (signal == 0) return 0;
    siginfo_t info{};
    info.si_signo = signal;
    info.si_code = value == nullptr ? SI_TKILL : SI_QUEUE;
    info.si_pid = ::getpid();
    info.si_uid = ::getuid();
    if (value != nullptr) info.si_value = *value;
    hand_to(thread, info);
    return 0;
}

std::optional<long> ProgramSignals::kill_kernel_thread(int kernel_id, int signal) {
    ThreadSignals* const thread = find(kernel_id);
    return thread == nullptr ? std::nullopt : std::optional<long>(-kill_known(*thread, signal, nullptr));
}

int ProgramSignals::kill_thread(pthread_t thread, int signal, const sigval* value) {
    for (const auto& known : threads_) {
        if (::pthread_equal(known->id, thread) != 0) return kill_known(*known, signal, value);
    }
    return value == nullptr ? real::pthread_kill(thread, signal)
                            : real::pthread_sigqueue(thread, signal, *value);
}

int ProgramSignals::cancel(pthread_t thread) {
    const int failure = real::pthread_cancel(thread);
    for (const auto& known : threads_) {
        if (failure != 0 || ::pthread_equal(known->id, thread) == 0) continue;
        known->is_cancelled = true;
        if (known->turn != nullptr) scheduler_.interrupt(known->turn);
    }
    return failure;
}

bool ProgramSignals::is_cancelled() const {
    return current_signals != nullptr && current_signals->is_cancelled;
}

void ProgramSignals::refresh_mask() {
    if (current_signals != nullptr) (void)real::pthread_sigmask(SIG_BLOCK, nullptr, &current_signals->mask);
}

bool ProgramSignals::is_pending(const siginfo_t& info) const {
    for (const auto& thread : threads_) {
        for (const siginfo_t& waiting : thread->to_raise) {
            if (waiting.si_signo == info.si_signo && waiting.si_value.sival_ptr == info.si_value.sival_ptr)
                return true;
        }
    }
    sigset_t kept;
    return ::sigpending(&kept) == 0 && ::sigismember(&kept, info.si_signo) == 1;
}

// --- Receiving -------------------------------------------------------------------------------------------

// A handler of the program may strike anywhere, also here.
void ProgramSignals::note(int signal, const siginfo_t& info) {
    Note& place = notes[notes_written.fetch_add(1, std::memory_order_relaxed) % note_count];
    place.info = info;
    place.info.si_signo = signal;
    place.is_complete.store(true, std::memory_order_release);
    const std::uint64_t one = 1;
    (void)real::syscall(SYS_write, noted_descriptor_, &one, sizeof one);
}

bool ProgramSignals::has_work() const {
    return notes_read != notes_written.load(std::memory_order_relaxed) ||
           (current_signals != nullptr && !current_signals->to_raise.empty());
}

void ProgramSignals::hand_out_noted() {
    if (notes_read == notes_written.load(std::memory_order_acquire)) return;
    while (notes_read != notes_written.load(std::memory_order_acquire)) {
        Note& place = notes[notes_read % note_count];
        if (!place.is_complete.exchange(false, std::memory_order_acquire)) return;  // is being written
        ++notes_read;
        send(place.info);
    }
    std::uint64_t count = 0;
    (void)real::syscall(SYS_read, noted_descriptor_, &count, sizeof count);
}

bool ProgramSignals::raise_own() {
    ThreadSignals& thread = current();
    if (thread.to_raise.empty()) return false;
    restart_ = true;
    // One by one: a handler may jump out, and the others are still to be raised then.
    while (!thread.to_raise.empty()) {
        thread.raising = thread.to_raise.front();
        thread.to_raise.erase(thread.to_raise.begin());
        const int depth = scheduler_.suspend_call();
        {
            const ProgramCallback callback;
            (void)real::tgkill(::getpid(), thread.kernel_id, thread.raising.si_signo);
        }
        scheduler_.resume_call(depth);
        thread.raising = {};
    }
    return true;
}

bool ProgramSignals::wake_awaiting() {
    sigset_t kept;
    bool woken = false;
    bool known = false;
    for (const auto& thread : threads_) {
        if (thread->awaited == nullptr) continue;
        if (!known && ::sigpending(&kept) != 0) return woken;
        known = true;
        for (int signal = 1; signal < _NSIG; ++signal) {
            if (::sigismember(thread->awaited, signal) != 1 || ::sigismember(&kept, signal) != 1) continue;
            woken = scheduler_.wake_one(thread.get()) || woken;
            break;
        }
    }
    return woken;
}

void ProgramSignals::note_signal_descriptor(const sigset_t& set) {
    if (::sigismember(&set, SIGCHLD) == 1) reads_child_signals_ = true;
}

bool ProgramSignals::watches_children() const {
    if (reads_child_signals_) return true;
    const auto handler = actions_[SIGCHLD].sa_handler;
    if (handler != SIG_DFL && handler != SIG_IGN) return true;
    return std::any_of(threads_.begin(), threads_.end(), [](const auto& thread) {
        return thread->awaited != nullptr && ::sigismember(thread->awaited, SIGCHLD) == 1;
    });
}

}  // namespace vp
