// A file descriptor owned by one scope: closed when the scope ends.
#pragma once

#include <unistd.h>

namespace ISCSI {
namespace Storage {

class Fd {
public:
    explicit Fd(int fd = -1) : fd_(fd) {}
    ~Fd()
    {
        if (fd_ >= 0)
            ::close(fd_);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;

    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    // Takes fd, closing what it held.
    void reset(int fd)
    {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = fd;
    }
    // Closes now and answers whether close succeeded (errors of delayed writes show here).
    bool closeNow()
    {
        const int fd = fd_;
        fd_ = -1;
        return fd < 0 || ::close(fd) == 0;
    }

private:
    int fd_;
};

} // namespace Storage
} // namespace ISCSI
