"""A host on asyncio's loop: has the picture squared and focused once, and ends; Ctrl-C ends it too.

What the library calls on its own threads is handed to the loop.
"""

import asyncio
import signal
import sys

import ovrafocus

POLL_S = 0.1
SENSOR_WAIT_S = 2
RUN_WAIT_S = 60


async def until(reached):
    while not reached():
        await asyncio.sleep(POLL_S)


async def square_and_focus(library):
    # Before the first block of the gravity sensor a steep tilt would be taken as level.
    try:
        await asyncio.wait_for(until(lambda: library.acc_get_init_status() == 1), SENSOR_WAIT_S)
    except asyncio.TimeoutError:
        print("there is no gravity sensor", file=sys.stderr)
    library.varnel_autofocus()
    # The state is 1 from the load of the library on, until the first run has ended.
    await asyncio.wait_for(until(lambda: library.varnel_get_state_autofocus() == 0), RUN_WAIT_S)


async def main():
    loop = asyncio.get_running_loop()
    toasts = []
    library = ovrafocus.Library()
    library.start(ovrafocus.callbacks(toast=lambda code: loop.call_soon_threadsafe(toasts.append, code)))
    work = asyncio.ensure_future(square_and_focus(library))
    loop.add_signal_handler(signal.SIGINT, work.cancel)
    try:
        await work
        await asyncio.sleep(0)  # the last toast may still wait in the loop
    except asyncio.CancelledError:
        return "interrupted"
    except asyncio.TimeoutError:
        return "the run does not end"
    finally:
        library.ovrafocus_deinit()
    if library.varnel_get_osd_settings_autofocus() == 0:
        return "auto-focus is off: there is no ToF sensor, or the lens is not calibrated"
    if toasts:
        return f"the run failed: toasts {toasts}"
    distance_mm, tilt_deg = library.lastDistance.value, library.get_current_keystone_angle()
    print(f"in focus at {distance_mm} mm, squared for a tilt of {tilt_deg} degrees", file=sys.stderr)
    return None


if __name__ == "__main__":
    sys.exit(asyncio.run(main()))
