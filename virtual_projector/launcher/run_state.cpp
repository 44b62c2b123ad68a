#include "virtual_projector/launcher/run_state.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace vp {

// The same on both processors, when one of them is emulated on the other.
struct RunState::Page {
    std::atomic<std::int32_t> first;
    std::atomic<std::int32_t> owner;
    std::atomic<std::int32_t> begun;
    std::atomic<std::int32_t> incomplete;  // a bit for each RunFile
    std::array<char, 64> owner_name;       // ends with 0
};

namespace {

std::int32_t bit_of(RunFile file) { return 1 << static_cast<int>(file); }

// Also true when it was this process's before.
bool take(std::atomic<std::int32_t>& place, std::int32_t process) {
    std::int32_t nobody = 0;
    return place.compare_exchange_strong(nobody, process) || nobody == process;
}

}  // namespace

RunState::Page* RunState::map(int descriptor) {
    void* const page = mmap(nullptr, sizeof(Page), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    return page == MAP_FAILED ? nullptr : static_cast<Page*>(page);
}

std::unique_ptr<RunState> RunState::create() {
    const int descriptor = memfd_create("virtual-projector", MFD_CLOEXEC);
    if (descriptor < 0) return nullptr;
    Page* const page = ftruncate(descriptor, sizeof(Page)) == 0 ? map(descriptor) : nullptr;
    if (page == nullptr) {
        close(descriptor);
        return nullptr;
    }
    std::string path = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(descriptor);
    return std::unique_ptr<RunState>(new RunState(page, descriptor, std::move(path)));
}

std::unique_ptr<RunState> RunState::open(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    Page* const page = descriptor < 0 ? nullptr : map(descriptor);
    const int error = errno;
    if (descriptor >= 0) ::close(descriptor);
    if (page == nullptr) throw std::runtime_error("the run's state, " + path + ": " + std::strerror(error));
    return std::unique_ptr<RunState>(new RunState(page, -1, path));
}

RunState::RunState(Page* page, int descriptor, std::string path)
    : page_(page), descriptor_(descriptor), path_(std::move(path)) {}

RunState::~RunState() {
    munmap(page_, sizeof(Page));
    if (descriptor_ >= 0) close(descriptor_);
}

bool RunState::is_first(int process) { return take(page_->first, process); }

bool RunState::claim(int process, const std::string& name) {
    if (page_->owner == process) return true;
    if (!take(page_->owner, process)) return false;
    const std::size_t length = std::min(name.size(), page_->owner_name.size() - 1);
    std::copy_n(name.begin(), length, page_->owner_name.begin());
    return true;
}

int RunState::owner() const { return page_->owner; }

std::string RunState::owner_name() const { return page_->owner_name.data(); }

void RunState::set_begun() { page_->begun = 1; }

bool RunState::has_begun() const { return page_->begun != 0; }

void RunState::set_complete(RunFile file, bool complete) {
    if (complete)
        page_->incomplete &= ~bit_of(file);
    else
        page_->incomplete |= bit_of(file);
}

bool RunState::is_complete(RunFile file) const { return (page_->incomplete & bit_of(file)) == 0; }

bool RunState::all_complete() const { return page_->incomplete == 0; }

}  // namespace vp
