// The simulated board: what all of its drivers share.
//
// The world, the time, one lock around both, and the memories that keep their contents without power. A
// launcher makes it so:
//
//     vp::World world(seed);
//     world.set("pose.pitch_deg", 12);                  // all of --set and the scenario's beginning
//     vp::Board board(world, [&] { return clock.now(); }, {"flash.bin", "tof.bin"});
//     vp::DeviceTable nodes;
//     vp::build_board(board, nodes);                    // every node of the board
//     vp::boardlibs::install({&board, faults, calls});  // every function of the board's libraries
//     board.with_world([](vp::World& w) { return w.truth(); });
//
// Scheduled actions of the world (World::at) happen when the board is next touched at or after their time;
// who waits for them should touch it then (World::next_action_time).
#ifndef VIRTUAL_PROJECTOR_DEVICES_BOARD_H
#define VIRTUAL_PROJECTOR_DEVICES_BOARD_H

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "virtual_projector/devices/device.h"
#include "virtual_projector/devices/memory.h"
#include "virtual_projector/devices/spin_lock.h"
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
    Board(World& world, std::function<Microseconds()> now, const MemoryFiles& files = {});
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    /// Brings the world to the present and lets `work` look at it or change it, alone. `work` must not wait
    /// and must not call with_world again.
    template <typename Work>
    auto with_world(Work&& work) {
        const Microseconds now = now_();
        const AfterUnlock after(*this);  // the last to go
        const std::lock_guard<SpinLock> guard(lock_);
        world_.advance_to(now);
        return work(world_);
    }

    /// Within with_world: what shall be done after it, out of the lock. It may wait and use files.
    void later(std::function<void()> work) { later_.push_back(std::move(work)); }

    /// Told of each scheduled action of the world after it happened, out of the lock.
    void on_action(std::function<void(Microseconds, const std::string&)> observer);

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
    std::function<Microseconds()> now_;
    SpinLock lock_;
    std::vector<std::function<void()>> later_;
    std::function<void(Microseconds, const std::string&)> observer_;
    Memory flash_;
    Memory tof_memory_;
};

/// Puts every node of the board into the table. Nodes whose hardware is switched off in the parameters
/// (board.has_tof and so on) do not exist for as long as it is off.
void build_board(Board& board, DeviceTable& nodes);

}  // namespace vp

#endif
