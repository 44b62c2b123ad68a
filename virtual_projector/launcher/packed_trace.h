// A trace whose name asks for compression: .gz or .zst.
//
// The run writes plain lines beside its place, as FILE.plain: compressing stays out of the program's process,
// whose threads have small stacks and whose memory is looked at. They are compressed when the run has ended. A
// launcher that is killed leaves the plain lines, which are read as well.
#ifndef VIRTUAL_PROJECTOR_LAUNCHER_PACKED_TRACE_H
#define VIRTUAL_PROJECTOR_LAUNCHER_PACKED_TRACE_H

#include <string>

namespace vp {

/// Empty, or one line that says why a trace of this name cannot be compressed.
std::string check_packed_trace(const std::string& path);

class PackedTrace {
public:
    /// `path` of a run's trace becomes that of the plain lines, if its name asks for compression.
    explicit PackedTrace(std::string& path);

    /// After the run: compresses the lines, removes the plain ones and gives the path its name again. False,
    /// and one line on standard error, when not all of it could be written: the plain lines stay then.
    bool finish();

private:
    bool pack() const;

    std::string& path_;
    std::string packed_;  // empty: nothing is compressed
};

}  // namespace vp

#endif
