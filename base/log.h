// The library's log: lines on standard output, each written with the stream locked, so that the lines of
// two threads never mix.
#ifndef OVRA_BASE_LOG_H
#define OVRA_BASE_LOG_H

namespace ovra {

/// Prints "[ovra_focus]  ", the message and a newline. A message that ends in a newline of its own
/// therefore leaves an empty line after it; many of the library's messages do.
void log_focus(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// The same when ovra_log_level is at least `level`, else nothing.
void log_focus_at(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// As log_focus(), with the tag of the ToF layer, "[ovra_tof]  ".
void log_tof(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Prints the message alone: no tag, no newline added.
void log_bare(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Where a located line comes from. The line number is part of the message: it is fixed, so that a
/// message keeps its text when code moves.
struct Location {
    const char* function;
    const char* room;  // the source's name as printed, for example "focusctrl/autofocus"
    int line;
};

/// Prints "[ovra_focus]  ", "function | room [line=n] ", the message and a newline, as one line.
void log_located(const Location& where, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace ovra

#endif
