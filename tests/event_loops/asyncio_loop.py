"""The work of loop_work.h on Python's asyncio."""

import asyncio
import os
import signal
import sys
import threading
import time

import ovrafocus

TICK_S = 0.1
LENGTH_S = 30.05
BYTES_TO_SEND = 100
SEND_PAUSE_S = 0.25
TICKS_BETWEEN_SIGNALS = 10

counts = dict.fromkeys(("ticks", "deferred", "bytes", "end of the pipe", "signals", "refresh"), 0)


def send_bytes(writing_end):
    for _ in range(BYTES_TO_SEND):
        time.sleep(SEND_PAUSE_S)
        os.write(writing_end, b"x")
    os.close(writing_end)


def main():
    begin = time.monotonic()
    loop = asyncio.new_event_loop()
    library = ovrafocus.Library()

    def work(what, attribute, count=1):
        counts[what] += count
        library.read_file(attribute)

    def tick(due):
        work("ticks", b"/sys/class/motor/place")
        if counts["ticks"] % TICKS_BETWEEN_SIGNALS == 0:
            os.kill(os.getpid(), signal.SIGUSR1)
        loop.call_soon(work, "deferred", b"/sys/class/motor/pos")
        loop.call_at(due + TICK_S, tick, due + TICK_S)

    def readable():
        arrived = os.read(reading_end, BYTES_TO_SEND)
        if arrived:
            work("bytes", b"/sys/class/motor/air_travel", len(arrived))
        else:
            counts["end of the pipe"] += 1
            loop.remove_reader(reading_end)

    def refreshed():
        loop.call_soon_threadsafe(work, "refresh", b"/sys/class/motor/end")

    library.start(ovrafocus.callbacks(refresh_ui=refreshed))
    reading_end, writing_end = os.pipe()
    sender = threading.Thread(target=send_bytes, args=(writing_end,))
    sender.start()
    library.varnel_autofocus()
    loop.add_signal_handler(signal.SIGUSR1, work, "signals", b"/sys/class/motor/zero")
    loop.add_reader(reading_end, readable)
    first_tick = loop.time() + TICK_S
    loop.call_at(first_tick, tick, first_tick)
    loop.call_later(LENGTH_S, loop.stop)
    loop.run_forever()
    length_ms = int((time.monotonic() - begin) * 1000)
    sender.join()
    print(", ".join(f"{count} {what}" for what, count in counts.items()), f"in {length_ms} ms", file=sys.stderr)
    return library.ovrafocus_deinit()


if __name__ == "__main__":
    sys.exit(main())
