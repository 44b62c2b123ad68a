// The host's side of the library: its callback table, its start-up, and its view of what is going on.
#ifndef OVRA_HOST_HOST_SESSION_H
#define OVRA_HOST_HOST_SESSION_H

namespace host {

/// Registers the callback table and starts the library in the order it wants. False when a step failed;
/// each step's outcome is said. A second call says so and does nothing.
bool start_library();
bool library_is_started();

/// Stops the worker and closes the sensor.
void stop_library();

/// Called when a request is made: failures told by toasts from now on belong to it.
void begin_request(bool auto_focus);

/// Waits until no request is pending, no movement is being handled and no run is in progress; gives up after
/// `timeout_ms`. Returns whether idleness was reached.
bool wait_until_idle(int timeout_ms);

/// Whether the last request ended without a failure toast.
bool last_request_succeeded();
void note_request_failed();

}  // namespace host

#endif
