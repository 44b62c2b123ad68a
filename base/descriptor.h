// One owner for one file descriptor.
#ifndef OVRA_BASE_DESCRIPTOR_H
#define OVRA_BASE_DESCRIPTOR_H

#include <fcntl.h>
#include <unistd.h>

namespace ovra {

/// Opens a node and closes it again when it goes out of scope. Nothing is printed: the message belongs to
/// the caller. errno after a failed open is open's own.
class Descriptor {
public:
    Descriptor(const char* path, int flags) : fd_(::open(path, flags)) {}
    ~Descriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool is_open() const { return fd_ >= 0; }
    int get() const { return fd_; }

    /// Hands the descriptor over: it stays open and this object forgets it.
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

private:
    int fd_;
};

}  // namespace ovra

#endif
