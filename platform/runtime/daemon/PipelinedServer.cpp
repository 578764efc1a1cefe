#include "PipelinedServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>

namespace KOVA {
namespace Daemon {

namespace {

// How often a connection waiting for its next request looks whether the server stops.
constexpr int IDLE_SLICE_MS = 10;
constexpr size_t READ_BUFFER_BYTES = 16 * 1024;

// Waits up to timeoutMs for events on sock: true when they came.
bool WaitFor(socket_t sock, short events, int timeoutMs)
{
    pollfd p{};
    p.fd = sock;
    p.events = events;
    for (;;) {
        const int n = ::poll(&p, 1, timeoutMs);
        if (n < 0 && errno == EINTR)
            continue;
        return n > 0;
    }
}

int Milliseconds(time_t sec, time_t usec)
{
    return static_cast<int>(sec * 1000 + usec / 1000);
}

void AddressOf(const sockaddr_storage& addr, std::string& ip, int& port)
{
    char text[INET6_ADDRSTRLEN] = "";
    if (addr.ss_family == AF_INET) {
        const auto& in = reinterpret_cast<const sockaddr_in&>(addr);
        ::inet_ntop(AF_INET, &in.sin_addr, text, sizeof text);
        port = ntohs(in.sin_port);
    } else if (addr.ss_family == AF_INET6) {
        const auto& in6 = reinterpret_cast<const sockaddr_in6&>(addr);
        ::inet_ntop(AF_INET6, &in6.sin6_addr, text, sizeof text);
        port = ntohs(in6.sin6_port);
    }
    ip = text;
}

// A connection's socket with one read buffer that outlives each request.
class ConnectionStream : public httplib::Stream {
public:
    ConnectionStream(socket_t sock, int readTimeoutMs, int writeTimeoutMs)
        : sock_(sock), readTimeoutMs_(readTimeoutMs), writeTimeoutMs_(writeTimeoutMs),
          buffer_(READ_BUFFER_BYTES, '\0')
    {}

    bool Buffered() const { return begin_ < end_; }

    bool is_readable() const override { return Buffered() || WaitFor(sock_, POLLIN, readTimeoutMs_); }
    bool is_writable() const override { return WaitFor(sock_, POLLOUT, writeTimeoutMs_); }

    ssize_t read(char* ptr, size_t size) override
    {
        if (!Buffered()) {
            if (!is_readable())
                return -1;
            ssize_t n;
            do
                n = ::recv(sock_, &buffer_[0], buffer_.size(), 0);
            while (n < 0 && errno == EINTR);
            if (n <= 0)
                return n;
            begin_ = 0;
            end_ = static_cast<size_t>(n);
        }
        const size_t taken = size < end_ - begin_ ? size : end_ - begin_;
        std::memcpy(ptr, buffer_.data() + begin_, taken);
        begin_ += taken;
        return static_cast<ssize_t>(taken);
    }

    ssize_t write(const char* ptr, size_t size) override
    {
        if (!is_writable())
            return -1;
        ssize_t n;
        do
            n = ::send(sock_, ptr, size, MSG_NOSIGNAL);
        while (n < 0 && errno == EINTR);
        return n;
    }

    void get_remote_ip_and_port(std::string& ip, int& port) const override
    {
        sockaddr_storage addr{};
        socklen_t length = sizeof addr;
        if (::getpeername(sock_, reinterpret_cast<sockaddr*>(&addr), &length) == 0)
            AddressOf(addr, ip, port);
    }

    void get_local_ip_and_port(std::string& ip, int& port) const override
    {
        sockaddr_storage addr{};
        socklen_t length = sizeof addr;
        if (::getsockname(sock_, reinterpret_cast<sockaddr*>(&addr), &length) == 0)
            AddressOf(addr, ip, port);
    }

    socket_t socket() const override { return sock_; }

private:
    socket_t sock_;
    int readTimeoutMs_;
    int writeTimeoutMs_;
    std::string buffer_;
    size_t begin_ = 0;
    size_t end_ = 0;
};

} // namespace

bool PipelinedServer::process_and_close_socket(socket_t sock)
{
    ConnectionStream stream(sock, Milliseconds(read_timeout_sec_, read_timeout_usec_),
                            Milliseconds(write_timeout_sec_, write_timeout_usec_));
    bool ok = false;
    for (size_t left = keep_alive_max_count_; left > 0 && svr_sock_ != INVALID_SOCKET; --left) {
        // The next request: at once when its bytes are buffered, else wait (idle) for them
        // up to the keep-alive timeout, giving up early when the server stops.
        if (!stream.Buffered()) {
            const auto deadline =
                std::chrono::steady_clock::now() + std::chrono::seconds(keep_alive_timeout_sec_);
            bool readable = false;
            while (!readable && svr_sock_ != INVALID_SOCKET && std::chrono::steady_clock::now() < deadline)
                readable = WaitFor(sock, POLLIN, IDLE_SLICE_MS);
            if (!readable)
                break;
        }
        bool closed = false;
        ok = process_request(stream, left == 1, closed, nullptr);
        if (!ok || closed)
            break;
    }
    ::shutdown(sock, SHUT_RDWR);
    ::close(sock);
    return ok;
}

} // namespace Daemon
} // namespace KOVA
