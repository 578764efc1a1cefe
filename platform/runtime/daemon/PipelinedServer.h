// The plain-HTTP server of the daemon: cpp-httplib's server, with each connection read
// through one buffered stream for its whole life.
//
// cpp-httplib reads every request of a keep-alive connection through a new buffered stream:
// bytes of the next requests that a client sent back to back (HTTP/1.1 pipelining) and that
// the stream had already read with the first are dropped with it, and the client waits for
// answers that never come. Here one stream serves all the requests of a connection, so
// pipelined requests are answered, in order; a connection that has buffered input goes on at
// once rather than waiting for more bytes from the socket.
#pragma once

#include <httplib.h>

namespace KOVA {
namespace Daemon {

class PipelinedServer : public httplib::Server {
private:
    bool process_and_close_socket(socket_t sock) override;
};

} // namespace Daemon
} // namespace KOVA
