// Where the host's own words go: the terminal, apart from the library's log.
#ifndef OVRA_HOST_CONSOLE_H
#define OVRA_HOST_CONSOLE_H

#include <string>

namespace host {

/// Sends everything the library prints from now on to a file; the host's own words keep going to standard
/// output. Returns false, with errno set, when the file cannot be written.
bool send_library_log_to(const std::string& path);

/// Prints one line of the host's own. May be called from any thread; lines never mix.
void say(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Writes out what is still held back. False when that, or anything printed before, could not be written: the
/// host's words or the library's log are not complete then.
bool all_is_written();

}  // namespace host

#endif
