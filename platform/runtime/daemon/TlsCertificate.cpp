#include "TlsCertificate.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

namespace KOVA {
namespace Daemon {

namespace {

struct PkeyFree {
    void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); }
};
struct X509Free {
    void operator()(X509* p) const { X509_free(p); }
};
struct ExtFree {
    void operator()(X509_EXTENSION* p) const { X509_EXTENSION_free(p); }
};

bool Exists(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

bool AddExtension(X509* cert, int nid, const std::string& value)
{
    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, cert, cert, nullptr, nullptr, 0);
    std::unique_ptr<X509_EXTENSION, ExtFree> ext(X509V3_EXT_conf_nid(nullptr, &ctx, nid, value.c_str()));
    return ext && X509_add_ext(cert, ext.get(), -1) == 1;
}

bool IsAddress(const std::string& host)
{
    unsigned char buffer[16];
    return inet_pton(AF_INET, host.c_str(), buffer) == 1 || inet_pton(AF_INET6, host.c_str(), buffer) == 1;
}

// Writes through a temporary file with the given mode and renames it into place.
template <typename Writer> bool WritePem(const std::string& path, mode_t mode, Writer write)
{
    const std::string temporary = path + ".tmp";
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
    if (fd < 0)
        return false;
    std::FILE* file = fdopen(fd, "w");
    if (!file) {
        ::close(fd);
        return false;
    }
    const bool ok = write(file) == 1;
    const bool closed = std::fclose(file) == 0;
    if (!ok || !closed) {
        std::remove(temporary.c_str());
        return false;
    }
    return std::rename(temporary.c_str(), path.c_str()) == 0;
}

} // namespace

bool EnsureSelfSignedCertificate(const std::string& certPath, const std::string& keyPath,
                                 const std::string& host, std::string& error)
{
    if (Exists(certPath) && Exists(keyPath))
        return true;
    std::unique_ptr<EVP_PKEY, PkeyFree> key(EVP_EC_gen("P-256"));
    std::unique_ptr<X509, X509Free> cert(X509_new());
    if (!key || !cert) {
        error = "cannot make a key";
        return false;
    }
    const std::string name = host.empty() || host == "0.0.0.0" || host == "::" ? "localhost" : host;
    unsigned char serial[16];
    std::FILE* random = std::fopen("/dev/urandom", "rb");
    const bool gotSerial = random && std::fread(serial, 1, sizeof serial, random) == sizeof serial;
    if (random)
        std::fclose(random);
    serial[0] &= 0x7f; // a positive serial number
    BIGNUM* bn = gotSerial ? BN_bin2bn(serial, sizeof serial, nullptr) : nullptr;
    const bool serialOk = bn && BN_to_ASN1_INTEGER(bn, X509_get_serialNumber(cert.get())) != nullptr;
    BN_free(bn);

    std::string san = "IP:127.0.0.1,IP:::1,DNS:localhost";
    if (name != "localhost" && name != "127.0.0.1" && name != "::1")
        san = (IsAddress(name) ? "IP:" : "DNS:") + name + "," + san;
    X509_NAME* subject = X509_get_subject_name(cert.get());
    const bool ok =
        serialOk && X509_set_version(cert.get(), 2) == 1 &&
        X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600) != nullptr &&
        X509_gmtime_adj(X509_getm_notAfter(cert.get()), 10L * 365 * 24 * 3600) != nullptr &&
        X509_set_pubkey(cert.get(), key.get()) == 1 &&
        X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0) == 1 &&
        X509_set_issuer_name(cert.get(), subject) == 1 &&
        AddExtension(cert.get(), NID_basic_constraints, "critical,CA:TRUE") &&
        AddExtension(cert.get(), NID_key_usage, "critical,digitalSignature,keyCertSign") &&
        AddExtension(cert.get(), NID_ext_key_usage, "serverAuth") &&
        AddExtension(cert.get(), NID_subject_key_identifier, "hash") &&
        AddExtension(cert.get(), NID_subject_alt_name, san) &&
        X509_sign(cert.get(), key.get(), EVP_sha256()) > 0;
    if (!ok) {
        error = "cannot make the certificate";
        return false;
    }
    if (!WritePem(keyPath, 0600, [&](std::FILE* f) {
            return PEM_write_PrivateKey(f, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
        })) {
        error = "cannot write " + keyPath;
        return false;
    }
    if (!WritePem(certPath, 0644, [&](std::FILE* f) { return PEM_write_X509(f, cert.get()); })) {
        error = "cannot write " + certPath;
        return false;
    }
    return true;
}

} // namespace Daemon
} // namespace KOVA
