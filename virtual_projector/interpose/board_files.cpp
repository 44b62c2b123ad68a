#include "virtual_projector/interpose/board_files.h"

#include <fcntl.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "virtual_projector/interpose/real_calls.h"

namespace vp {
namespace {

std::string_view moved(const void* buffer, long result) {
    return result > 0 ? std::string_view(static_cast<const char*>(buffer), static_cast<std::size_t>(result))
                      : std::string_view();
}

std::size_t limited(std::size_t count, long short_count) {
    return short_count < 0 ? count : std::min(count, static_cast<std::size_t>(short_count));
}

}  // namespace

BoardFiles::BoardFiles(Clock& clock, ProgramWaits& waits, DeviceTable& devices, FaultPlan& faults,
                       Recorder& recorder)
    : clock_(clock), waits_(waits), devices_(devices), faults_(faults), recorder_(recorder) {}

std::optional<BoardFiles::Entry> BoardFiles::find(int descriptor) {
    const WorldLock lock(clock_);
    const auto found = open_.find(descriptor);
    if (found == open_.end()) return std::nullopt;
    return found->second;
}

// What every call begins with: the turn may pass, and the plan is asked. A delay is over when this returns.
CallCourse BoardFiles::enter(const char* operation, const std::string& path) {
    CallCourse course;
    course.began_us = clock_.now();
    clock_.scheduler().touch();
    {
        const WorldLock lock(clock_);
        course.effect = faults_.effect_on(operation, path);
    }
    if (course.effect.delay_us > 0) (void)clock_.sleep_until(clock_.now() + course.effect.delay_us);
    return course;
}

// Asks the device until it has an answer; a wait that only somebody's hand could end is ended by a signal. The
// caller's copy of the entry keeps the open file alive, whatever other threads close meanwhile.
template <typename Question>
long BoardFiles::ask(const std::string& path, Question question) {
    const WorldLock lock(clock_);
    for (;;) {
        const Answer answer = question();
        if (!answer.wait) return answer.result;
        const bool is_for_event = answer.until < 0;
        const WaitEnd end = waits_.wait_for_device(path, answer.until);
        if (end == WaitEnd::interrupted && is_for_event && !waits_.is_to_restart()) return -EINTR;
    }
}

// --- open and close --------------------------------------------------------------------------------------

std::optional<long> BoardFiles::open(const char* path, int flags) {
    if (path == nullptr || !DeviceTable::is_board_path(path)) return std::nullopt;
    const std::string name = path;
    const CallCourse course = enter("open", name);
    const int failure = course.effect.error_number;
    const long result = failure != 0 ? -failure : open_device(name, flags);
    recorder_.record_open(name, flags, result, course);
    return result;
}

std::optional<long> BoardFiles::look_up(const char* path) const {
    if (!DeviceTable::is_board_path(path)) return std::nullopt;
    const WorldLock lock(clock_);
    return devices_.find(path) != nullptr ? 0 : -ENOENT;
}

bool BoardFiles::is_device(int descriptor) {
    const std::optional<Entry> entry = find(descriptor);
    return entry && !is_attribute(entry->path.c_str());
}

bool BoardFiles::is_attribute(const char* path) { return std::strncmp(path, "/sys/", 5) == 0; }

long BoardFiles::open_device(const std::string& path, int flags) {
    const WorldLock lock(clock_);
    Device* device = devices_.find(path);
    if (device == nullptr) return -ENOENT;
    int error_number = 0;
    std::shared_ptr<OpenFile> file = device->open(flags, error_number);
    if (file == nullptr) return -error_number;
    const int descriptor = ::eventfd(1, EFD_CLOEXEC | ((flags & O_NONBLOCK) != 0 ? EFD_NONBLOCK : 0));
    if (descriptor < 0) return -errno;
    open_[descriptor] = {path, std::move(file)};
    return descriptor;
}

std::optional<long> BoardFiles::close(int descriptor) {
    const std::optional<Entry> entry = find(descriptor);
    if (!entry) return std::nullopt;
    const CallCourse course = enter("close", entry->path);
    // The descriptor is gone even when the driver reports a failure. The driver learns of the last one's end.
    long result = has_copies(*entry) ? 0 : ask(entry->path, [&] { return entry->file->close(); });
    if (course.effect.error_number != 0) result = -course.effect.error_number;
    {
        const WorldLock lock(clock_);
        open_.erase(descriptor);
    }
    (void)real::close(descriptor);
    recorder_.record_close(entry->path, result, course);
    return result;
}

// --- read ------------------------------------------------------------------------------------------------

std::optional<long> BoardFiles::read(int descriptor, void* buffer, std::size_t count) {
    const std::optional<Entry> entry = find(descriptor);
    if (!entry) return std::nullopt;
    const CallCourse course = enter("read", entry->path);
    const long result = read_with(course.effect, *entry, static_cast<char*>(buffer), count);
    recorder_.record_read(entry->path, count, result, buffer, course);
    return result;
}

// Garbage and stale content take the place of what the device would have given now, so the device is asked
// in any case.
long BoardFiles::read_with(const FaultEffect& effect, const Entry& entry, char* buffer, std::size_t count) {
    if (effect.error_number != 0) return -effect.error_number;
    if (effect.short_count >= 0) return read_device(entry, buffer, limited(count, effect.short_count));
    std::optional<std::string> instead = effect.garbage;
    if (!instead && effect.stale) {
        const WorldLock lock(clock_);
        const auto last = last_read_.find(entry.path);
        if (last != last_read_.end()) instead = last->second;
    }
    if (!instead) return read_device(entry, buffer, count);
    const long result = read_file(entry, buffer, count);
    return result <= 0 ? result : deliver(*instead, buffer, count);
}

long BoardFiles::read_device(const Entry& entry, void* buffer, std::size_t count) {
    const long result = read_file(entry, buffer, count);
    const WorldLock lock(clock_);
    if (result > 0) last_read_[entry.path] = moved(buffer, result);
    return result;
}

long BoardFiles::read_file(const Entry& entry, void* buffer, std::size_t count) {
    const bool waits = !is_nonblocking(entry);
    return ask(entry.path, [&] {
        const Answer answer = entry.file->read(buffer, count);
        return answer.wait && answer.until < 0 && !waits ? Answer::error(EAGAIN) : answer;
    });
}

bool BoardFiles::is_nonblocking(const Entry& entry) const {
    const WorldLock lock(clock_);
    for (const auto& [descriptor, other] : open_) {
        if (other.file != entry.file) continue;
        return (real::fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0;
    }
    return false;
}

long BoardFiles::deliver(const std::string& bytes, char* buffer, std::size_t count) {
    const std::size_t length = std::min(count, bytes.size());
    std::copy_n(bytes.begin(), length, buffer);
    return static_cast<long>(length);
}

// --- write and ioctl -------------------------------------------------------------------------------------

std::optional<long> BoardFiles::write(int descriptor, const void* buffer, std::size_t count) {
    const std::optional<Entry> entry = find(descriptor);
    if (!entry) return std::nullopt;
    const CallCourse course = enter("write", entry->path);
    const std::size_t accepted = limited(count, course.effect.short_count);
    const int failure = course.effect.error_number;
    const long result =
        failure != 0 ? -failure : ask(entry->path, [&] { return entry->file->write(buffer, accepted); });
    WrittenCommand command;
    if (recorder_.is_on())
        command = entry->file->written_command({static_cast<const char*>(buffer), accepted}, result);
    recorder_.record_write(entry->path, count, result, buffer, command, course);
    return result;
}

std::optional<long> BoardFiles::request(int descriptor, std::uint32_t number, void* argument) {
    const std::optional<Entry> entry = find(descriptor);
    if (!entry) return std::nullopt;
    const CallCourse course = enter("ioctl", entry->path);
    if (!recorder_.is_on()) return request_with(course.effect, *entry, number, argument);
    RequestBytes bytes = bytes_before(course.effect, *entry, number, argument);
    const long result = request_with(course.effect, *entry, number, argument);
    if (bytes.kind.returns && argument != nullptr && result >= 0)
        bytes.returned.assign(static_cast<const char*>(argument), entry->file->request_size(number));
    recorder_.record_request(entry->path, number, result, bytes, course);
    return result;
}

// What no driver would look at is left alone: an argument of a call that fails may lead nowhere.
RequestBytes BoardFiles::bytes_before(const FaultEffect& effect, const Entry& entry, std::uint32_t number,
                                      const void* argument) const {
    RequestBytes bytes{entry.file->request_kind(number), {}, {}};
    if (bytes.kind.gives && argument != nullptr && effect.error_number == 0)
        bytes.given.assign(static_cast<const char*>(argument), entry.file->request_size(number));
    return bytes;
}

long BoardFiles::request_with(const FaultEffect& effect, const Entry& entry, std::uint32_t number,
                              void* argument) {
    if (effect.error_number != 0) return -effect.error_number;
    if (effect.short_count >= 0) return effect.short_count;
    if (effect.garbage) {
        deliver(*effect.garbage, static_cast<char*>(argument),
                argument == nullptr ? 0 : entry.file->request_size(number));
        return 0;
    }
    if (effect.stale) return 0;
    return ask(entry.path, [&] { return entry.file->request(number, argument); });
}

// --- Copies and readiness --------------------------------------------------------------------------------

bool BoardFiles::has_copies(const Entry& entry) const {
    const WorldLock lock(clock_);
    return std::count_if(open_.begin(), open_.end(),
                         [&entry](const auto& other) { return other.second.file == entry.file; }) > 1;
}

void BoardFiles::copy(int from, int to) {
    const WorldLock lock(clock_);
    const auto found = open_.find(from);
    if (found != open_.end()) open_[to] = found->second;
}

void BoardFiles::forget(int descriptor) {
    const WorldLock lock(clock_);
    open_.erase(descriptor);
}

std::vector<int> BoardFiles::descriptors_in(int first, int last) const {
    const WorldLock lock(clock_);
    std::vector<int> found;
    for (auto entry = open_.lower_bound(first); entry != open_.end() && entry->first <= last; ++entry) {
        found.push_back(entry->first);
    }
    return found;
}

void BoardFiles::let_go() {
    const WorldLock lock(clock_);
    const int nowhere = real::open("/dev/null", O_RDWR | O_CLOEXEC);
    if (nowhere < 0) return;
    for (const auto& [descriptor, entry] : open_) (void)real::dup3(nowhere, descriptor, O_CLOEXEC);
    (void)real::close(nowhere);
}

void BoardFiles::show_readiness() {
    const WorldLock lock(clock_);
    for (auto& [descriptor, entry] : open_) {
        const bool is_readable = entry.file->is_readable();
        if (is_readable == entry.shown_readable) continue;
        entry.shown_readable = is_readable;
        std::uint64_t count = 1;
        if (is_readable) {
            (void)!real::write(descriptor, &count, sizeof count);
        } else {
            (void)!real::read(descriptor, &count, sizeof count);
        }
    }
}

std::string BoardFiles::path_of(int descriptor) const {
    const WorldLock lock(clock_);
    const auto found = open_.find(descriptor);
    return found == open_.end() ? "" : found->second.path;
}

std::vector<std::string> BoardFiles::open_paths() const {
    const WorldLock lock(clock_);
    std::vector<std::string> paths;
    for (const auto& [descriptor, entry] : open_) paths.push_back(entry.path);
    return paths;
}

}  // namespace vp
