#include "virtual_projector/interpose/program_timers.h"

#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "virtual_projector/interpose/real_calls.h"

namespace vp {
namespace {

// Far from what the C library gives for timers of processor time, which are its own.
constexpr int first_handle = 0x40000000;

timer_t handle_of(int number) {
    return reinterpret_cast<timer_t>(static_cast<std::intptr_t>(first_handle + number));
}

int number_of(timer_t timer) { return static_cast<int>(reinterpret_cast<std::intptr_t>(timer)) - first_handle; }

timespec to_timespec(Microseconds time) {
    timespec result{};
    result.tv_sec = static_cast<time_t>(time / microseconds_per_second);
    result.tv_nsec = static_cast<long>(time % microseconds_per_second) * 1000;
    return result;
}

timeval to_timeval(const timespec& time) {
    return {time.tv_sec, static_cast<suseconds_t>(time.tv_nsec / 1000)};
}

timespec to_timespec(const timeval& time) { return {time.tv_sec, static_cast<long>(time.tv_usec) * 1000}; }

bool is_valid(const timespec& time) {
    return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < 1'000'000'000;
}

bool is_zero(const timespec& time) { return time.tv_sec == 0 && time.tv_nsec == 0; }

void count_up(int descriptor) {
    const std::uint64_t one = 1;
    (void)real::write(descriptor, &one, sizeof one);
}

}  // namespace

ProgramTimers::ProgramTimers(Clock& clock, ProgramTime& time, ProgramSignals& signals, ProgramThreads& threads,
                             DescriptorKinds& kinds)
    : clock_(clock),
      time_(time),
      signals_(signals),
      threads_(threads),
      kinds_(kinds),
      alarm_(std::make_shared<Timer>()) {
    alarm_->expire = [this] {
        siginfo_t info{};
        info.si_signo = SIGALRM;
        info.si_code = SI_KERNEL;
        raise(*alarm_, info, 0);
    };
}

// --- Every timer -----------------------------------------------------------------------------------------

itimerspec ProgramTimers::shown(const Timer& timer) const {
    itimerspec value{};
    value.it_interval = to_timespec(timer.interval);
    if (timer.next != no_deadline)
        value.it_value = to_timespec(std::max<Microseconds>(1, timer.next - clock_.now()));
    return value;
}

long ProgramTimers::set_timer(const Handle& timer, bool absolute, const itimerspec& value, itimerspec* before) {
    if (!is_valid(value.it_value) || !is_valid(value.it_interval)) return -EINVAL;
    clock_.scheduler().touch();
    if (before != nullptr) *before = shown(*timer);
    ++timer->setting;
    timer->overruns = 0;
    timer->interval = ProgramTime::microseconds_of(value.it_interval);
    timer->next = no_deadline;
    if (is_zero(value.it_value)) return 0;
    timer->next = absolute ? std::max(clock_.now(), time_.to_virtual(timer->clock, value.it_value))
                           : clock_.now() + ProgramTime::microseconds_of(value.it_value);
    arm(timer);
    return 0;
}

void ProgramTimers::arm(const Handle& timer) {
    clock_.at(timer->next, [this, timer, setting = timer->setting] {
        if (timer->setting != setting) return;
        timer->next = timer->interval > 0 ? timer->next + timer->interval : no_deadline;
        if (timer->next != no_deadline) arm(timer);
        timer->expire();
    });
}

// A timer whose last signal has not been handled yet sends no other.
void ProgramTimers::raise(Timer& timer, const siginfo_t& info, int kernel_id) {
    if (signals_.is_pending(info)) {
        ++timer.overruns;
        return;
    }
    if (kernel_id != 0) {
        signals_.send_to(kernel_id, info);
    } else {
        signals_.send(info);
    }
}

// --- timerfd ---------------------------------------------------------------------------------------------

std::optional<long> ProgramTimers::make_descriptor(clockid_t clock, int flags) {
    if (!clock_.is_virtual()) return std::nullopt;
    if ((flags & ~(TFD_CLOEXEC | TFD_NONBLOCK)) != 0 || !ProgramTime::is_boards(clock)) return -EINVAL;
    const int descriptor = ::eventfd(0, flags);  // the flags of both are those of open
    if (descriptor < 0) return -errno;
    kinds_.forget(descriptor);
    auto timer = std::make_shared<Timer>();
    timer->clock = clock;
    descriptors_[descriptor] = std::move(timer);
    return descriptor;
}

std::optional<long> ProgramTimers::set_descriptor(int descriptor, int flags, const itimerspec* value,
                                                  itimerspec* before) {
    const auto found = descriptors_.find(descriptor);
    if (found == descriptors_.end()) return std::nullopt;
    if (value == nullptr) return -EFAULT;
    const Handle timer = found->second;
    timer->expire = [descriptor] { count_up(descriptor); };
    const long result = set_timer(timer, (flags & TFD_TIMER_ABSTIME) != 0, *value, before);
    // What has expired and was not read yet is forgotten with the setting.
    pollfd readable = {descriptor, POLLIN, 0};
    std::uint64_t expirations = 0;
    if (result == 0 && real::poll(&readable, 1, 0) == 1)
        (void)!real::read(descriptor, &expirations, sizeof expirations);
    return result;
}

std::optional<long> ProgramTimers::get_descriptor(int descriptor, itimerspec* value) {
    const auto found = descriptors_.find(descriptor);
    if (found == descriptors_.end()) return std::nullopt;
    if (value == nullptr) return -EFAULT;
    *value = shown(*found->second);
    return 0;
}

// The timer goes with its last descriptor; until then another of them counts.
void ProgramTimers::forget_descriptor(int descriptor) {
    const auto found = descriptors_.find(descriptor);
    if (found == descriptors_.end()) return;
    const Handle timer = found->second;
    descriptors_.erase(found);
    const auto other = std::find_if(descriptors_.begin(), descriptors_.end(),
                                    [&timer](const auto& entry) { return entry.second == timer; });
    if (other == descriptors_.end()) {
        ++timer->setting;
        return;
    }
    timer->expire = [counter = other->first] { count_up(counter); };
}

void ProgramTimers::copy_descriptor(int from, int to) {
    const auto found = descriptors_.find(from);
    if (found != descriptors_.end()) descriptors_[to] = found->second;
}

// --- alarm and setitimer ---------------------------------------------------------------------------------

std::optional<long> ProgramTimers::set_interval_timer(int which, const itimerval* value, itimerval* before) {
    if (!clock_.is_virtual() || which != ITIMER_REAL) return std::nullopt;
    itimerspec spec{};
    if (value != nullptr) spec = {to_timespec(value->it_interval), to_timespec(value->it_value)};
    itimerspec shown_before{};
    const long result = set_timer(alarm_, false, spec, &shown_before);
    if (result == 0 && before != nullptr)
        *before = {to_timeval(shown_before.it_interval), to_timeval(shown_before.it_value)};
    return result;
}

std::optional<long> ProgramTimers::get_interval_timer(int which, itimerval* value) {
    if (!clock_.is_virtual() || which != ITIMER_REAL) return std::nullopt;
    const itimerspec now = shown(*alarm_);
    *value = {to_timeval(now.it_interval), to_timeval(now.it_value)};
    return 0;
}

// --- timer_create ----------------------------------------------------------------------------------------

bool ProgramTimers::prepare_signal(const Handle& timer, const sigevent& event, int number) {
    siginfo_t info{};
    info.si_signo = event.sigev_signo;
    info.si_code = SI_TIMER;
    info.si_timerid = number;
    info.si_value = event.sigev_value;
    if (event.sigev_signo < 1 || event.sigev_signo >= _NSIG) return false;
    const int kernel_id = event.sigev_notify == SIGEV_THREAD_ID ? event._sigev_un._tid : 0;
    timer->expire = [this, own = timer.get(), info, kernel_id] { raise(*own, info, kernel_id); };
    return true;
}

std::optional<long> ProgramTimers::create(clockid_t clock, const sigevent* event, timer_t* timer) {
    if (!clock_.is_virtual() || !ProgramTime::is_boards(clock)) return std::nullopt;
    auto made = std::make_shared<Timer>();
    made->clock = clock;
    const int number = ++last_timer_;
    sigevent standard{};
    standard.sigev_notify = SIGEV_SIGNAL;
    standard.sigev_signo = SIGALRM;
    standard.sigev_value.sival_int = number;
    const sigevent& wanted = event == nullptr ? standard : *event;
    switch (wanted.sigev_notify) {
        case SIGEV_SIGNAL:
        case SIGEV_THREAD_ID:
            if (!prepare_signal(made, wanted, number)) return -EINVAL;
            break;
        case SIGEV_THREAD:
            made->expire = [this, wanted] { threads_.start_for_timer(wanted); };
            break;
        case SIGEV_NONE:
            made->expire = [] {};
            break;
        default:
            return -EINVAL;
    }
    timers_[number] = std::move(made);
    *timer = handle_of(number);
    return 0;
}

ProgramTimers::Handle ProgramTimers::find(timer_t timer) const {
    const auto found = timers_.find(number_of(timer));
    return found == timers_.end() ? nullptr : found->second;
}

std::optional<long> ProgramTimers::set(timer_t timer, int flags, const itimerspec* value, itimerspec* before) {
    const Handle own = find(timer);
    if (own == nullptr) return std::nullopt;
    if (value == nullptr) return -EINVAL;
    return set_timer(own, (flags & TIMER_ABSTIME) != 0, *value, before);
}

std::optional<long> ProgramTimers::get(timer_t timer, itimerspec* value) {
    const Handle own = find(timer);
    if (own == nullptr) return std::nullopt;
    *value = shown(*own);
    return 0;
}

std::optional<long> ProgramTimers::overrun(timer_t timer) {
    const Handle own = find(timer);
    if (own == nullptr) return std::nullopt;
    return own->overruns;
}

std::optional<long> ProgramTimers::remove(timer_t timer) {
    const Handle own = find(timer);
    if (own == nullptr) return std::nullopt;
    ++own->setting;
    timers_.erase(number_of(timer));
    return 0;
}

}  // namespace vp
