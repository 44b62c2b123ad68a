"""A host in Python: has the picture squared and focused once, and says what came of it.

The library logs on standard output; this program speaks on standard error.
"""

import sys
import threading
import time

import ovrafocus

POLL_S = 0.1
SENSOR_WAIT_S = 2
RUN_WAIT_S = 60

toasts = []  # a thread of the library's appends, and goes on


def wait_until(reached, longest_s):
    """True when it was reached, False when the timer ended the wait."""
    over = threading.Event()
    timer = threading.Timer(longest_s, over.set)
    timer.start()
    while not reached() and not over.is_set():
        time.sleep(POLL_S)
    timer.cancel()
    return reached()


def square_and_focus(library):
    # Before the first block of the gravity sensor a steep tilt would be taken as level.
    if not wait_until(lambda: library.acc_get_init_status() == 1, SENSOR_WAIT_S):
        print("there is no gravity sensor", file=sys.stderr)
    library.varnel_autofocus()
    # The state is 1 from the load of the library on, until the first run has ended.
    if not wait_until(lambda: library.varnel_get_state_autofocus() == 0, RUN_WAIT_S):
        sys.exit("the run does not end")
    if library.varnel_get_osd_settings_autofocus() == 0:
        sys.exit("auto-focus is off: there is no ToF sensor, or the lens is not calibrated")
    if toasts:
        sys.exit(f"the run failed: toasts {toasts}")


def main():
    library = ovrafocus.Library()
    library.start(ovrafocus.callbacks(toast=toasts.append))
    try:
        square_and_focus(library)
        distance_mm = library.lastDistance.value
        tilt_deg = library.get_current_keystone_angle()
        print(f"in focus at {distance_mm} mm, squared for a tilt of {tilt_deg} degrees", file=sys.stderr)
    finally:
        library.ovrafocus_deinit()


if __name__ == "__main__":
    main()
