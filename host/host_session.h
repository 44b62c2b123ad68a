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

/// Whether a run has ended that measured the distance, whoever asked for it.
bool a_focus_step_has_ended();

/// False when the library could not open the display at the start: no picture can be squared then.
bool there_is_a_display();

/// How the last request went.
enum class RequestState { none, succeeded, failed };

/// Waits until no request is pending, no movement is being handled and no run is in progress; gives up after
/// `timeout_ms`. Returns whether idleness was reached.
bool wait_until_idle(int timeout_ms);

/// A request that is still being carried out counts as one that succeeded, until a toast says otherwise.
RequestState last_request();
void note_request_failed();

/// Whether a request has been made and nobody has waited for its end yet.
bool request_is_open();

/// The same as a sentence's end: "nothing has been requested", "the last request is being carried out", "the
/// last request succeeded", "the last request failed".
const char* last_request_words();

}  // namespace host

#endif
