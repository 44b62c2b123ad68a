#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <csignal>

#include "tests/event_loops/loop_work.h"

namespace {

using boost::asio::posix::stream_descriptor;
using boost::system::error_code;

// Lives as long as the process: the library's threads may post to it to the end.
boost::asio::io_context& loop = *new boost::asio::io_context;

void refreshed() { boost::asio::post(loop, work_refresh); }

void await_tick(boost::asio::steady_timer& ticks) {
    ticks.expires_at(ticks.expiry() + std::chrono::milliseconds(work_tick_ms));
    ticks.async_wait([&ticks](error_code error) {
        if (error) return;
        work_tick();
        boost::asio::post(loop, work_deferred);
        await_tick(ticks);
    });
}

void await_bytes(stream_descriptor& pipe) {
    pipe.async_wait(stream_descriptor::wait_read, [&pipe](error_code error) {
        if (!error && work_readable() != 0) await_bytes(pipe);
    });
}

void await_signal(boost::asio::signal_set& signals) {
    signals.async_wait([&signals](error_code error, int) {
        if (error) return;
        work_signal();
        await_signal(signals);
    });
}

}  // namespace

int main() {
    const int pipe_end = work_begin(refreshed);
    if (pipe_end < 0) return 1;
    boost::asio::signal_set signals(loop, SIGUSR1);
    stream_descriptor pipe(loop, pipe_end);
    boost::asio::steady_timer ticks(loop, std::chrono::milliseconds(0));
    boost::asio::steady_timer length(loop, std::chrono::milliseconds(work_length_ms));
    await_signal(signals);
    await_bytes(pipe);
    await_tick(ticks);
    length.async_wait([](error_code) { loop.stop(); });
    loop.run();
    return work_end();
}
