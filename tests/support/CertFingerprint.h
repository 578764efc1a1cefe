// The SHA-256 fingerprint of a PEM certificate file, as the credential library pins it (64
// lower-case hex digits); empty when the file holds no certificate. For the tests of pinning.
#pragma once

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdio>
#include <string>

namespace KOVATest {

inline std::string CertSha256(const std::string& certPath)
{
    FILE* file = std::fopen(certPath.c_str(), "r");
    if (!file)
        return std::string();
    X509* cert = PEM_read_X509(file, nullptr, nullptr, nullptr);
    std::fclose(file);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    std::string hex;
    if (cert && X509_digest(cert, EVP_sha256(), digest, &length) == 1) {
        static const char digits[] = "0123456789abcdef";
        for (unsigned int i = 0; i < length; ++i) {
            hex += digits[digest[i] >> 4];
            hex += digits[digest[i] & 0x0F];
        }
    }
    X509_free(cert);
    return hex;
}

} // namespace KOVATest
