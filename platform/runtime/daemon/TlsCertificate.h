// The daemon's own certificate for HTTPS when none is configured: self-signed, made once and
// kept in the data directory.
#pragma once

#include <string>

namespace KOVA {
namespace Daemon {

// Makes, unless both files exist already, an EC P-256 key (keyPath, mode 0600) and a
// self-signed certificate (certPath) for host, valid ten years, with host, 127.0.0.1, ::1 and
// localhost as subject alternative names. False with the reason in error.
bool EnsureSelfSignedCertificate(const std::string& certPath, const std::string& keyPath,
                                 const std::string& host, std::string& error);

} // namespace Daemon
} // namespace KOVA
