// Watches the variables that the library offers to its host, and tells of those that have changed.
#ifndef VIRTUAL_PROJECTOR_INTERPOSE_STATE_WATCH_H
#define VIRTUAL_PROJECTOR_INTERPOSE_STATE_WATCH_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "virtual_projector/interpose/watched_library.h"

namespace vp {

class StateWatch {
public:
    enum class Kind { byte, number, fraction };

    struct Variable {
        const char* name;    // in records
        const char* symbol;  // the library's
        std::size_t offset;  // of the member within it
        Kind kind;
        double step;  // a change by less is not told: a sensor's noise
    };

    /// The first time, all of them.
    nlohmann::ordered_json changes(const WatchedLibrary& library);

    static const std::vector<Variable>& variables();

private:
    struct Watched {
        const Variable* variable;
        const void* address;
        std::uint32_t last;
        bool told;
    };
    void find_variables(const WatchedLibrary& library);
    static bool has_changed(const Watched& watched, std::uint32_t now);

    const WatchedLibrary* library_ = nullptr;
    std::vector<Watched> watched_;
};

}  // namespace vp

#endif
