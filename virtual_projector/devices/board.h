// The simulated board: what all of its drivers share.
//
// The world at the clock's time, under the clock's lock, and the memories that keep their contents without
// power. A launcher makes it so:
//
//     vp::World world(seed);
//     world.set("pose.pitch_deg", 12);                  // all of --set and the scenario's beginning
//     vp::Board board(world, clock, {"flash.bin", "tof.bin"});
//     vp::DeviceTable nodes;
//     vp::build_board(board, nodes);                    // every node of the board
//     vp::boardlibs::install({&board, faults, calls});  // every function of the board's libraries
//     board.with_world([](vp::World& w) { return w.truth(); });
#ifndef VIRTUAL_PROJECTOR_DEVICES_BOARD_H
#define VIRTUAL_PROJECTOR_DEVICES_BOARD_H

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "virtual_projector/clock/clock.h"
#include "virtual_projector/devices/device.h"
#include "virtual_projector/devices/memory.h"
#include "virtual_projector/world/world.h"

namespace vp {

/// Files that keep the board's memories from run to run; empty: they live as long as the board.
struct MemoryFiles {
    std::string flash;       // 227 bytes: the permanent record
    std::string tof_memory;  // 4096 bytes: the ToF sensor's own calibration
};

class Board {
public:
    /// The memories begin with their files' contents or, without, as the factory left this unit.
    Board(World& world, Clock& clock, const MemoryFiles& files = {});
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    /// Brings the world to the present and lets `work` look at it or change it, alone. `work` must not wait.
    template <typename Work>
    auto with_world(Work&& work) {
        const AfterUnlock after(*this);  // the last to go
        const WorldLock lock(clock_);
        world_.advance_to(clock_.now());
        return work(world_);
    }

    /// Within with_world: what shall be done after it, out of the lock. It may wait and use files.
    void later(std::function<void()> work) { later_.push_back(std::move(work)); }

    /// Within with_world: the memory's present contents go to its file.
    void save_later(const Memory& memory);
    /// Called, out of the lock, for each file that has been saved or could not be.
    void on_saved(std::function<void(const std::string& file, bool complete)> handler) {
        saved_handler_ = std::move(handler);
    }

    Memory& flash() { return flash_; }            // within with_world only
    Memory& tof_memory() { return tof_memory_; }  // within with_world only

private:
    struct AfterUnlock {
        explicit AfterUnlock(Board& owner) : board(owner) {}
        ~AfterUnlock() { board.do_later(); }
        AfterUnlock(const AfterUnlock&) = delete;
        AfterUnlock& operator=(const AfterUnlock&) = delete;
        Board& board;
    };
    void do_later();

    World& world_;
    Clock& clock_;
    std::vector<std::function<void()>> later_;
    std::function<void(const std::string&, bool)> saved_handler_;
    Memory flash_;
    Memory tof_memory_;
};

}  // namespace vp

#endif
