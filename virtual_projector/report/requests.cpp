#include "virtual_projector/report/requests.h"

#include <algorithm>
#include <map>
#include <utility>

#include "virtual_projector/report/library_log_message.h"
#include "virtual_projector/report/requests_findings.h"

namespace vp {
namespace {

constexpr const char* worker = "keystonefocus_thread";
constexpr const char* follower = "UI_update_thread";
constexpr const char* lens_lock = "mutex_focus";

constexpr const char* probe_of_the_lens = "a probe of the lens";
constexpr const char* lens_table = "the lens's table";

// A lens that has got its last order comes to rest within this, and the truth is looked at as often.
constexpr std::int64_t settling_us = 150000;

std::string asker(const std::string& thread) {
    if (thread == "ovra_gsensor_thread" || thread == "gsensor_det_thread") return "a movement";
    if (thread == "sensor_main" || thread == "headset_mainloop") return "a key";
    return "the host";
}

std::string degrees(int number) {
    return std::to_string(number) + (number == 1 || number == -1 ? " degree" : " degrees");
}

struct Moment {
    std::int64_t t_us = 0;
    int thread = 0;  // 0: nobody knows
    std::string name;
};

template <typename Line>
Moment moment_of(const Line& line) {
    return {line.t_us, line.thread, line.thread_name};
}

struct Tracked {
    Request request;
    Findings found;
    std::int64_t heard_us = 0;   // the latest line of its thread
    bool ends_silently = false;  // with its latest line

    bool is_open() const { return !request.ended_us.has_value(); }
};

}  // namespace

const char* name_of(RequestKind kind) {
    switch (kind) {
        case RequestKind::run:
            return "run";
        case RequestKind::keystone:
            return "keystone";
        case RequestKind::following:
            return "following";
        case RequestKind::manual_focus:
            return "manual focus";
        case RequestKind::lens_limit:
            return "lens limit";
        case RequestKind::calibration:
            return "calibration";
        case RequestKind::rotation:
            break;
    }
    return "rotation";
}

// Requests are found by their index, which is their number less one: the list grows while some are open.
class RequestFinder::Work {
public:
    void take_truth(const TruthAt& truth);
    void take_event(const EventAt& event);
    void take_call(const CallAt& call);
    void take_callback(const CallbackLine& callback);
    void take_state(const StateLine& state);
    void take_log(const LogLine& log);
    int current_on(int thread) const;
    int current() const { return current_on(heard_thread_); }
    std::vector<Request> finish();

private:
    using Index = std::size_t;
    using Place = std::optional<Index>;

    void hear(const Moment& moment);
    Index ask(RequestKind kind, const std::string& what, const Moment& moment);
    void begin(Index index, const Moment& moment);
    void begin_step(RequestKind kind, const std::string& what, const Moment& moment);
    void end(Index index, std::int64_t t_us);
    void end_open(int thread, RequestKind kind, std::int64_t t_us);
    Tracked* latest_on(int thread);
    Tracked* open_on(int thread);

    void take_flag(const std::string& flag, bool on, const Moment& moment);
    void ask_run(const Moment& moment);
    void begin_run(const Moment& moment);
    void withdraw_run(std::int64_t t_us);
    void ask_keystone(const Moment& moment);
    void begin_keystone(const Moment& moment);
    void follow_movement(bool on, const Moment& moment);

    bool take_worker_message(const std::string& message, const LogLine& log);
    bool take_lens_message(const std::string& message, const LogLine& log);
    bool take_factory_message(const std::string& message, const LogLine& log);
    void begin_lens_move(int target, const LogLine& log);
    void take_step_message(const std::string& message, const LogLine& log);
    void name_probe(const std::string& message, Tracked& probe);
    void search_peak(const LogLine& log);
    void take_end(const std::string& message, const LogLine& log);
    void take_rotation(const std::string& message, const LogLine& log);

    std::vector<Tracked> tracked_;
    std::map<int, Index> latest_on_;  // by thread
    std::vector<Index> settling_;     // have ended, and nothing has happened since
    Place asked_run_;
    Place asked_keystone_;
    Place following_;   // the latest one
    int tilt_deg_ = 0;  // of the latest manual keystone
    TruthAt truth_;
    int heard_thread_ = 0;
    std::int64_t end_us_ = 0;
    std::map<int, std::string> limit_;        // that a thread is about to take the lens to
    std::map<int, std::int64_t> lens_waits_;  // by thread: for how long it has just waited for the lens
};

// --- The list ---------------------------------------------------------------------------------------------

void RequestFinder::Work::hear(const Moment& moment) {
    heard_thread_ = moment.thread;
    end_us_ = std::max(end_us_, moment.t_us);
}

RequestFinder::Work::Index RequestFinder::Work::ask(RequestKind kind, const std::string& what,
                                                    const Moment& moment) {
    settling_.clear();
    Tracked tracked;
    tracked.request.number = static_cast<int>(tracked_.size()) + 1;
    tracked.request.kind = kind;
    tracked.request.what = what;
    tracked.request.by = asker(moment.name);
    tracked.request.asked_us = moment.t_us;
    tracked.request.before = truth_;
    tracked_.push_back(std::move(tracked));
    return tracked_.size() - 1;
}

void RequestFinder::Work::begin(Index index, const Moment& moment) {
    settling_.clear();
    Tracked& tracked = tracked_[index];
    tracked.request.thread = moment.thread;
    tracked.request.begun_us = moment.t_us;
    tracked.heard_us = moment.t_us;
    latest_on_[moment.thread] = index;
}

// A call of the host's own, which begins at once. One before it that has not said how it ended has ended with
// its last line.
void RequestFinder::Work::begin_step(RequestKind kind, const std::string& what, const Moment& moment) {
    const auto latest = latest_on_.find(moment.thread);
    if (latest != latest_on_.end() && tracked_[latest->second].is_open())
        end(latest->second, tracked_[latest->second].heard_us);
    begin(ask(kind, what, moment), moment);
}

void RequestFinder::Work::end(Index index, std::int64_t t_us) {
    Tracked& tracked = tracked_[index];
    if (!tracked.is_open()) return;
    tracked.request.ended_us = t_us;
    tracked.request.after = truth_;
    settling_.push_back(index);
}

void RequestFinder::Work::end_open(int thread, RequestKind kind, std::int64_t t_us) {
    const Tracked* const open = open_on(thread);
    if (open != nullptr && open->request.kind == kind) end(latest_on_.at(thread), t_us);
}

Tracked* RequestFinder::Work::latest_on(int thread) {
    const auto found = latest_on_.find(thread);
    return found == latest_on_.end() ? nullptr : &tracked_[found->second];
}

Tracked* RequestFinder::Work::open_on(int thread) {
    Tracked* const latest = latest_on(thread);
    return latest != nullptr && latest->is_open() ? latest : nullptr;
}

int RequestFinder::Work::current_on(int thread) const {
    const auto found = latest_on_.find(thread);
    if (found == latest_on_.end()) return 0;
    const Request& latest = tracked_[found->second].request;
    return !latest.ended_us || *latest.ended_us == end_us_ ? latest.number : 0;
}

std::vector<Request> RequestFinder::Work::finish() {
    std::vector<Request> requests;
    for (Tracked& tracked : tracked_) {
        Request& request = tracked.request;
        if (!request.ended_us && tracked.ends_silently) {
            request.ended_us = tracked.heard_us;
            request.after = truth_;
        }
        const Outcome outcome = tracked.found.outcome(request.kind, request.toasts);
        request.failed = outcome.failed || !request.ended_us;
        if (request.outcome.empty()) request.outcome = outcome.words;
        if (!request.ended_us) {
            request.after = truth_;
            request.outcome = request.begun_us ? "was not over at the end" : "was never served";
        }
        requests.push_back(request);
    }
    return requests;
}

// --- Flags ------------------------------------------------------------------------------------------------

// Two requests before the worker looks are one.
void RequestFinder::Work::ask_run(const Moment& moment) {
    if (!asked_run_) asked_run_ = ask(RequestKind::run, "keystone and focus", moment);
}

void RequestFinder::Work::begin_run(const Moment& moment) {
    const Tracked* const open = open_on(moment.thread);
    if (!asked_run_ && open != nullptr && open->request.kind == RequestKind::run) return;
    if (!asked_run_) asked_run_ = ask(RequestKind::run, "keystone and focus", {moment.t_us, 0, ""});
    begin(*asked_run_, moment);
    asked_run_.reset();
}

// The host has stopped the library before the worker looked.
void RequestFinder::Work::withdraw_run(std::int64_t t_us) {
    if (!asked_run_) return;
    tracked_[*asked_run_].request.outcome = "withdrawn before it was served";
    end(*asked_run_, t_us);
    asked_run_.reset();
}

void RequestFinder::Work::ask_keystone(const Moment& moment) {
    if (!asked_keystone_) asked_keystone_ = ask(RequestKind::keystone, "", moment);
    tracked_[*asked_keystone_].request.what = "keystone for a tilt of " + degrees(tilt_deg_);
}

void RequestFinder::Work::begin_keystone(const Moment& moment) {
    if (!asked_keystone_) ask_keystone({moment.t_us, 0, ""});
    begin(*asked_keystone_, moment);
    asked_keystone_.reset();
}

// From the movement that has changed the distance until that is steady.
void RequestFinder::Work::follow_movement(bool on, const Moment& moment) {
    const bool is_followed = following_ && tracked_[*following_].is_open();
    if (on && !is_followed) {
        following_ = ask(RequestKind::following, "keystone while it is being moved", moment);
        tracked_[*following_].request.begun_us = moment.t_us;
    } else if (!on && is_followed) {
        end(*following_, moment.t_us);
    }
}

void RequestFinder::Work::take_flag(const std::string& flag, bool on, const Moment& moment) {
    if (flag == "g_run_once_AKAF" && on) ask_run(moment);
    if (flag == "g_run_once_AKAF" && !on && moment.name == worker) begin_run(moment);
    if (flag == "g_run_once_AKAF" && !on && moment.name != worker) withdraw_run(moment.t_us);
    if (flag == "g_osd_state_autofocus" && !on) end_open(moment.thread, RequestKind::run, moment.t_us);
    if (flag == "g_run_once_keystone" && on) ask_keystone(moment);
    if (flag == "g_run_once_keystone" && !on) end_open(moment.thread, RequestKind::keystone, moment.t_us);
    if (flag == "project_tof_dist_changed") follow_movement(on, moment);
}

void RequestFinder::Work::take_state(const StateLine& state) {
    const Moment moment = moment_of(state);
    hear(moment);
    for (const auto& [name, value] : state.values) {
        if (name == "m_manuKeystone_value_for_thread" && value != 0) tilt_deg_ = static_cast<int>(value);
    }
    for (const auto& [name, value] : state.values) take_flag(name, value != 0, moment);
}

// --- Log --------------------------------------------------------------------------------------------------

bool RequestFinder::Work::take_worker_message(const std::string& message, const LogLine& log) {
    if (starts_with(message, "received akaf command")) {
        ask_run(moment_of(log));
    } else if (starts_with(message, "run once AKAF")) {
        begin_run(moment_of(log));
    } else if (starts_with(message, "received manu keystone command")) {
        ask_keystone(moment_of(log));
    } else if (starts_with(message, "run once keystone")) {
        begin_keystone(moment_of(log));
    } else if (starts_with(message, "auto focus STATE flag : 0")) {
        end_open(log.thread, RequestKind::run, log.t_us);
    } else {
        return false;
    }
    return true;
}

// A move that had to wait for the lens was asked for before it waited. Two moves step by step without any time
// between them are the sweeps of one table.
void RequestFinder::Work::begin_lens_move(int target, const LogLine& log) {
    Tracked* const latest = latest_on(log.thread);
    const bool is_sweep = latest != nullptr && latest->request.kind == RequestKind::calibration &&
                          (latest->is_open() || latest->request.ended_us == log.t_us);
    const std::string limit = std::exchange(limit_[log.thread], "");
    const std::int64_t waited_us = std::exchange(lens_waits_[log.thread], 0);
    if (is_sweep) {
        latest->request.what = lens_table;
        latest->request.ended_us.reset();
        return;
    }
    if (!limit.empty())
        return begin_step(RequestKind::lens_limit, "lens to its " + limit + " limit", moment_of(log));
    begin_step(RequestKind::manual_focus, "lens by hand to TMR " + std::to_string(target), moment_of(log));
    tracked_.back().request.asked_us -= waited_us;
}

bool RequestFinder::Work::take_lens_message(const std::string& message, const LogLine& log) {
    LogNumbers n{};
    if (read_numbers(message, "g_limitRight = %d", 1, n)) {
        limit_[log.thread] = "right";
    } else if (read_numbers(message, "g_limitLeft = %d", 1, n)) {
        limit_[log.thread] = "left";
    } else if (read_numbers(message, "manu focus targetTMR = %d", 1, n)) {
        begin_lens_move(n[0], log);
    } else if (starts_with(message, "manu focus error: have not benn")) {
        begin_step(RequestKind::manual_focus, "lens by hand", moment_of(log));
    } else {
        return false;
    }
    return true;
}

void RequestFinder::Work::name_probe(const std::string& message, Tracked& probe) {
    const bool to_the_left = starts_with(message, "move 1 left step--5um");
    if (starts_with(message, "move 1 right step--10um")) probe.request.what = "the sense of the lens's sensor";
    if (!to_the_left && !starts_with(message, "move 1 right step--5um")) return;
    probe.request.what = std::string("the lens's backlash to the ") + (to_the_left ? "left" : "right");
    probe.ends_silently = true;
}

// What a step turns out to be while it goes on. The factory's lens moves go step by step, and say so with the
// first; between the moves of a table's sweeps stands what they have counted.
void RequestFinder::Work::take_step_message(const std::string& message, const LogLine& log) {
    LogNumbers n{};
    Tracked* const latest = latest_on(log.thread);
    if (latest == nullptr) return;
    Request& request = latest->request;
    if (latest->is_open() && request.kind == RequestKind::manual_focus &&
        read_numbers(message, "currentTMR = %d, targetTMR = %d, direct = %d", 3, n))
        request.kind = RequestKind::calibration;
    if (request.kind != RequestKind::calibration) return;
    if (request.what == probe_of_the_lens) name_probe(message, *latest);
    if (request.what != lens_table && read_numbers(message, "count = %d, microCount = %d", 2, n))
        end_open(log.thread, RequestKind::calibration, log.t_us);
    if (!read_numbers(message, "steps = %d, microSteps = %d", 2, n)) return;
    request.what = lens_table;
    request.ended_us.reset();
}

// It begins with a probe of the sensor's sense, and is known by what it says after that.
void RequestFinder::Work::search_peak(const LogLine& log) {
    Tracked* const latest = latest_on(log.thread);
    if (latest == nullptr || latest->request.kind != RequestKind::calibration)
        return begin_step(RequestKind::calibration, "the sharpness peak", moment_of(log));
    latest->request.what = "the sharpness peak";
    latest->request.ended_us.reset();
    latest->found = {};
}

bool RequestFinder::Work::take_factory_message(const std::string& message, const LogLine& log) {
    if (starts_with(message, "beforeTMR = ")) {
        begin_step(RequestKind::calibration, probe_of_the_lens, moment_of(log));
    } else if (starts_with(message, "get_direction val = ")) {
        search_peak(log);
    } else if (starts_with(message, "Calibration data write")) {
        begin_step(RequestKind::calibration, "the ToF sensor's offsets", moment_of(log));
    } else if (starts_with(message, "auto focus: write_cali_flag")) {
        begin_step(RequestKind::calibration, "what has been calibrated, into the record", moment_of(log));
        tracked_.back().ends_silently = true;
    } else {
        return false;
    }
    return true;
}

// "from startup phase -> HSYNC_0" is the library's first look and turns nothing that was upright.
void RequestFinder::Work::take_rotation(const std::string& message, const LogLine& log) {
    const bool is_turn = starts_with(message, "from ") && contains(message, "device rotation success");
    if (!is_turn || starts_with(message, "from startup phase")) return;
    const Index index = ask(RequestKind::rotation, "the picture turned", moment_of(log));
    Request& request = tracked_[index].request;
    if (request.by == "a movement") request.by = "gravity";
    request.thread = log.thread;
    request.begun_us = log.t_us;
    end(index, log.t_us);
}

void RequestFinder::Work::take_end(const std::string& message, const LogLine& log) {
    for (const char* const last :
         {"direction = ", "direction: ", "tmr_cali_interpolation success",
          "peek step = ", "auto focus cali: peak not found", "Calibration successfully", "Calibration failed",
          "auto fucos error: manufocusTargetTMR failed", "auto focus time out"}) {
        if (starts_with(message, last)) end_open(log.thread, RequestKind::calibration, log.t_us);
    }
    for (const char* const last : {"manul focus completed", "auto focus time out", "manu focus error"}) {
        if (!starts_with(message, last)) continue;
        end_open(log.thread, RequestKind::manual_focus, log.t_us);
        end_open(log.thread, RequestKind::lens_limit, log.t_us);
    }
}

void RequestFinder::Work::take_log(const LogLine& log) {
    hear(moment_of(log));
    const std::string message = log_message(log.text);
    if (following_ && log.thread_name == follower) latest_on_[log.thread] = *following_;
    static_cast<void>(take_worker_message(message, log) || take_lens_message(message, log) ||
                      take_factory_message(message, log));
    take_step_message(message, log);
    take_rotation(message, log);
    Tracked* const latest = latest_on(log.thread);
    if (latest != nullptr && latest->request.number == current_on(log.thread)) {
        latest->found.take(message);
        if (latest->is_open()) latest->heard_us = log.t_us;
    }
    take_end(message, log);
}

// --- The rest ---------------------------------------------------------------------------------------------

void RequestFinder::Work::take_truth(const TruthAt& truth) {
    end_us_ = std::max(end_us_, truth.t_us);
    truth_ = truth;
    for (const Index index : settling_) {
        Request& request = tracked_[index].request;
        if (truth.t_us <= *request.ended_us + settling_us) request.after = truth;
    }
}

// What the requests before it have left behind is the truth no longer.
void RequestFinder::Work::take_event(const EventAt& event) {
    end_us_ = std::max(end_us_, event.t_us);
    settling_.clear();
}

void RequestFinder::Work::take_call(const CallAt& call) {
    hear(moment_of(call));
    lens_waits_[call.thread] = call.call == "lock" && call.path == lens_lock ? call.took_us : 0;
}

void RequestFinder::Work::take_callback(const CallbackLine& callback) {
    hear(moment_of(callback));
    Tracked* const latest = latest_on(callback.thread);
    if (callback.callback == "toast" && latest != nullptr &&
        latest->request.number == current_on(callback.thread))
        latest->request.toasts.push_back(callback);
}

RequestFinder::RequestFinder() : work_(std::make_unique<Work>()) {}
RequestFinder::~RequestFinder() = default;
void RequestFinder::take_truth(const TruthAt& truth) { work_->take_truth(truth); }
void RequestFinder::take_event(const EventAt& event) { work_->take_event(event); }
void RequestFinder::take_call(const CallAt& call) { work_->take_call(call); }
void RequestFinder::take_callback(const CallbackLine& callback) { work_->take_callback(callback); }
void RequestFinder::take_state(const StateLine& state) { work_->take_state(state); }
void RequestFinder::take_log(const LogLine& log) { work_->take_log(log); }
int RequestFinder::current_on(int thread) const { return work_->current_on(thread); }
int RequestFinder::current() const { return work_->current(); }
std::vector<Request> RequestFinder::finish() { return work_->finish(); }

std::vector<Request> find_requests(const std::string& trace_path) {
    RequestFinder finder;
    read_trace(trace_path, finder);
    return finder.finish();
}

}  // namespace vp
