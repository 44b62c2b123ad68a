// The lines of a trace, from a file or standard input, plain or compressed.
#ifndef VIRTUAL_PROJECTOR_REPORT_TRACE_INPUT_H
#define VIRTUAL_PROJECTOR_REPORT_TRACE_INPUT_H

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

namespace vp {

/// A trace that cannot be read, or not to its end. what() is one line: "FILE: line N: …".
class TraceError : public std::runtime_error {
public:
    enum class Kind {
        unreadable,  // no such file, or another program's compression
        foreign,     // no trace, or one of another format
        garbled,     // something in its midst is no record
        cut,         // its end is missing: all that stands before is as it was written
    };
    TraceError(Kind kind, const std::string& what) : std::runtime_error(what), kind_(kind) {}
    Kind kind() const { return kind_; }

private:
    Kind kind_;
};

/// Gives bytes, a piece after the other.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    /// At most `size` bytes; 0 is the end. Throws TraceError.
    virtual std::size_t read(char* buffer, std::size_t size) = 0;
};

/// Lines of a source, however long they are.
class TraceInput {
public:
    /// The file of this path, "-" for standard input. What is compressed by gzip or zstd is told by its first
    /// bytes and not by its name. Throws TraceError.
    static TraceInput open(const std::string& path);

    TraceInput(std::string name, std::unique_ptr<ByteSource> source);

    /// The next line without its newline; false at the end. Throws TraceError.
    bool next(std::string& line);

    const std::string& name() const { return name_; }         // as in messages
    std::size_t line_number() const { return line_number_; }  // of the line that next() gave; 1 is the first
    bool line_is_whole() const { return ended_by_newline_; }  // false: the file ends without a newline

private:
    bool fill();

    std::string name_;
    std::unique_ptr<ByteSource> source_;
    std::string buffer_;
    std::size_t begin_ = 0;  // of what has not been given yet
    std::size_t line_number_ = 0;
    bool ended_by_newline_ = true;
};

}  // namespace vp

#endif
