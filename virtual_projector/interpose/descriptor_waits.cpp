#include "virtual_projector/interpose/descriptor_waits.h"

#include <semaphore.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

#include "virtual_projector/interpose/real_calls.h"

namespace vp {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds patience{2000};         // after the last sign of life from outside
constexpr milliseconds child_patience{10000};  // a child may have much to do
constexpr int for_ever = -1;                   // poll's own
constexpr int child_interval_ms = 2;           // between two looks at whether a child has ended
constexpr int settling_ms = 20;                // far more than the kernel's worker takes on a loaded PC

std::chrono::steady_clock::time_point real_now() { return std::chrono::steady_clock::now(); }

// The shorter of two of poll's times.
int shorter(int a, int b) {
    if (a == for_ever) return b;
    if (b == for_ever) return a;
    return std::min(a, b);
}

}  // namespace

// Stands in the list for as long as the thread waits.
class DescriptorWaits::Registration {
public:
    Registration(std::vector<Waiter*>& waiters, Waiter& waiter) : waiters_(waiters), waiter_(waiter) {
        waiters_.push_back(&waiter);
    }
    ~Registration() { waiters_.erase(std::find(waiters_.begin(), waiters_.end(), &waiter_)); }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

private:
    std::vector<Waiter*>& waiters_;
    Waiter& waiter_;
};

DescriptorWaits::DescriptorWaits(Clock& clock, ProgramWaits& waits, ProgramSignals& signals,
                                 DescriptorKinds& kinds, ProgramChildren& children, Recorder& recorder)
    : clock_(clock),
      waits_(waits),
      signals_(signals),
      kinds_(kinds),
      children_(children),
      recorder_(recorder) {}

// --- Waiting ---------------------------------------------------------------------------------------------

// Nothing is kept when the handlers run: they may jump away.
WaitEnd DescriptorWaits::wait(std::vector<pollfd> descriptors, Microseconds deadline) {
    Waiter waiter;
    waiter.has_other_end = deadline != no_deadline;
    waiter.what = describe(descriptors);
    if (recorder_.is_on()) waiter.recorded_as = kinds_.recorded_names_of(descriptors);
    waiter.descriptors = std::move(descriptors);
    find_outside(waiter);
    const WaitEnd end = wait_as(waiter, Wait::Kind::descriptor, deadline);
    waiter = {};
    return waits_.with_handlers_run(end);
}

WaitEnd DescriptorWaits::wait_for_child(const std::string& what, const std::function<bool()>& is_over) {
    Waiter waiter;
    waiter.is_over = is_over;
    waiter.what = what;
    waiter.recorded_as = what;
    return waits_.with_handlers_run(wait_as(waiter, Wait::Kind::child, no_deadline));
}

WaitEnd DescriptorWaits::wait_as(Waiter& waiter, Wait::Kind kind, Microseconds deadline) {
    signals_.refresh_mask();
    WaitEnd end = WaitEnd::woken;
    {
        const Registration registration(waiters_, waiter);
        end = clock_.scheduler().wait({kind, &waiter, waiter.what, waiter.recorded_as}, deadline);
    }
    return end;
}

bool DescriptorWaits::may_lead_outside(const std::vector<pollfd>& descriptors) {
    if (skips_outside_) return false;
    for (const pollfd& descriptor : descriptors) {
        for (const int member : kinds_.members_of(descriptor.fd)) {
            const DescriptorKind kind = kinds_.kind_of(member);
            const bool can_be_shared = kind == DescriptorKind::pipe || kind == DescriptorKind::socket;
            if (kinds_.leads_outside(member) || (can_be_shared && children_.have_been())) return true;
        }
    }
    return false;
}

void DescriptorWaits::find_outside(Waiter& waiter) {
    for (const pollfd& descriptor : waiter.descriptors) {
        for (const int member : kinds_.members_of(descriptor.fd)) {
            if (kinds_.leads_outside(member)) {
                waiter.outside.push_back(member);
            } else {
                waiter.has_other_end = true;
            }
        }
    }
}

void DescriptorWaits::settle_signals() {
    pollfd noted = {signals_.noted_descriptor(), POLLIN, 0};
    (void)real::poll(&noted, 1, settling_ms);
    signals_.hand_out_noted();
}

void DescriptorWaits::note_child_start() { child_alive_at_ = real_now(); }

void DescriptorWaits::note_use(int descriptor) {
    if (!skips_outside_ && kinds_.leads_outside(descriptor)) alive_at_[descriptor] = real_now();
}

std::string DescriptorWaits::describe(const std::vector<pollfd>& descriptors) {
    std::string text;
    for (const pollfd& descriptor : descriptors) {
        if (descriptor.fd >= 0) text += (text.empty() ? "" : ", ") + kinds_.describe(descriptor.fd);
    }
    return text;
}

// --- Looking ---------------------------------------------------------------------------------------------

void DescriptorWaits::refresh() {
    if (before_look_) before_look_();
}

bool DescriptorWaits::look(bool nothing_to_come, bool computes) {
    signals_.hand_out_noted();
    bool woken = signals_.wake_awaiting();
    const bool had_children = children_.has_any();
    if (waiters_.empty() && !signals_.watches_children() && !had_children) return woken;
    if (had_children) woken = wake_for_posted() || woken;
    refresh();
    const bool settle = std::exchange(terminal_written_, false);
    (void)look_for_real(settle && !woken ? settling_ms : 0);
    woken = wake_ready() || woken;
    if (woken) return true;
    if (computes) return false;
    const int held = time_to_hold(nothing_to_come);
    if (held != 0) return hold(held);
    // A child may have written, and ended, since that look; the signal of its end strikes a moment later.
    if (!had_children) return false;
    const bool signal_comes = signals_.watches_children() && !children_.has_any();
    (void)look_for_real(signal_comes ? settling_ms : 0);
    signals_.hand_out_noted();
    return wake_ready();
}

int DescriptorWaits::look_for_real(int milliseconds) {
    polled_.clear();
    polled_.push_back({signals_.noted_descriptor(), POLLIN, 0});
    for (const Waiter* waiter : waiters_) {
        for (pollfd descriptor : waiter->descriptors) {
            descriptor.revents = 0;
            polled_.push_back(descriptor);
        }
    }
    return real::poll(polled_.data(), polled_.size(), milliseconds);
}

bool DescriptorWaits::wake_ready() {
    bool woken = false;
    std::size_t next = 1;
    for (Waiter* waiter : waiters_) {
        bool is_ready = waiter->is_over && waiter->is_over();
        for (std::size_t i = 0; i < waiter->descriptors.size(); ++i, ++next) {
            is_ready = is_ready || polled_[next].revents != 0;
        }
        if (!is_ready) continue;
        if (waiter->is_over) child_alive_at_ = real_now();
        for (const int descriptor : waiter->outside) alive_at_[descriptor] = real_now();
        woken = clock_.scheduler().wake_one(waiter) || woken;
    }
    return woken;
}

// --- Outside ---------------------------------------------------------------------------------------------

// How long time has to stand at most until the next look; 0: not at all.
int DescriptorWaits::time_to_hold(bool nothing_to_come) {
    static const std::vector<pid_t> nobody;
    int longest = 0;
    bool anything_outside = false;
    const bool asks_children = !skips_outside_ && real_now() - child_alive_at_ < child_patience;
    const std::vector<pid_t>& children = asks_children ? children_.running() : nobody;
    if (!children.empty() && signals_.watches_children()) longest = child_interval_ms;
    for (const Waiter* waiter : waiters_) {
        anything_outside = anything_outside || waiter->is_over || !waiter->outside.empty();
        if (skips_outside_) continue;
        const int time = hold_for(*waiter, children);
        if (time == 0) continue;
        longest = longest == 0 ? time : shorter(longest, time);
    }
    // Of a child that just executes something, what it holds cannot be seen; and one that has been silent for
    // long may still write, post or end.
    const bool may_come = anything_outside || (nothing_to_come && !children_.running().empty());
    if (longest == 0 && nothing_to_come && may_come) return child_interval_ms;
    return longest;
}

bool DescriptorWaits::waits_for_child(const Waiter& waiter, const std::vector<pid_t>& children) {
    if (children.empty()) return false;
    for (const pollfd& descriptor : waiter.descriptors) {
        for (const int member : kinds_.members_of(descriptor.fd)) {
            if (kinds_.leads_to_child(member, children)) return true;
        }
    }
    return false;
}

int DescriptorWaits::hold_for(const Waiter& waiter, const std::vector<pid_t>& children) {
    if (waiter.is_over && children.empty() && !children_.running().empty()) return 0;
    if (waiter.is_over || waits_for_child(waiter, children)) return child_interval_ms;
    if (waiter.outside.empty()) return 0;
    if (!waiter.has_other_end) return for_ever;
    milliseconds longest{0};
    for (const int descriptor : waiter.outside) {
        const RealTime alive_at = alive_at_.emplace(descriptor, real_now()).first->second;
        const auto quiet = std::chrono::duration_cast<milliseconds>(real_now() - alive_at);
        longest = std::max(longest, patience - quiet);
    }
    return static_cast<int>(longest.count());
}

// Time stands; only the kernel, a child or a signal ends this.
bool DescriptorWaits::hold(int milliseconds) {
    waits_for_person_ = std::any_of(waiters_.begin(), waiters_.end(), [this](const Waiter* waiter) {
        return std::any_of(waiter->outside.begin(), waiter->outside.end(), [this](int descriptor) {
            return kinds_.kind_of(descriptor) == DescriptorKind::terminal;
        });
    });
    (void)look_for_real(milliseconds);
    waits_for_person_ = false;
    signals_.hand_out_noted();
    (void)wake_ready();
    return true;
}

// A child may share semaphores with the program, and post them unseen.
bool DescriptorWaits::wake_for_posted() {
    return clock_.scheduler().wake_those(Wait::Kind::semaphore, [](const void* object) {
        int value = 0;
        return ::sem_getvalue(static_cast<sem_t*>(const_cast<void*>(object)), &value) == 0 && value > 0;
    });
}

}  // namespace vp
