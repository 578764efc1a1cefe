// The local node's settings and keys in the table node_settings.
#include "node/NodeSettings.h"

#include "config/ConfigDB.h"

#include <iscsi/ISCSIErrors.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace ISCSI {
namespace Storage {
namespace {

bool RandomBytes(unsigned char* out, std::size_t count)
{
    std::size_t done = 0;
    // getrandom draws from the kernel's pool behind /dev/urandom; a few retries on EINTR.
    for (int attempt = 0; done < count && attempt < 16; ++attempt) {
        const ssize_t n = getrandom(out + done, count - done, 0);
        if (n > 0)
            done += static_cast<std::size_t>(n);
        else if (n < 0 && errno != EINTR)
            break;
    }
    if (done == count)
        return true;
    const int fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    for (int attempt = 0; done < count && attempt < 16; ++attempt) {
        const ssize_t n = read(fd, out + done, count - done);
        if (n > 0)
            done += static_cast<std::size_t>(n);
        else if (n < 0 && errno != EINTR)
            break;
    }
    close(fd);
    return done == count;
}

bool IsIPv4(const std::string& text)
{
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool IsIPv6(const std::string& text)
{
    in6_addr address{};
    return inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

} // namespace

bool RandomHex(int count, std::string& hex)
{
    if (count <= 0)
        return false;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(count));
    if (!RandomBytes(bytes.data(), bytes.size()))
        return false;
    static const char digits[] = "0123456789abcdef";
    hex.clear();
    for (unsigned char b : bytes) {
        hex += digits[b >> 4];
        hex += digits[b & 0x0F];
    }
    return true;
}

int LoadSetting(ConfigDB& db, const std::string& name, std::string& value, bool& found)
{
    Statement select(db, "SELECT value FROM node_settings WHERE name = ?1;");
    const int rc = select.bind(1, name).step();
    if (rc == SQLITE_ROW) {
        value = select.text(0);
        found = true;
        return 0;
    }
    found = false;
    return rc == SQLITE_DONE ? 0 : ISCSI_ERR_DATABASE;
}

int StoreSetting(ConfigDB& db, const std::string& name, const std::string& value)
{
    Statement upsert(db, "INSERT INTO node_settings (name, value) VALUES (?1, ?2) "
                         "ON CONFLICT (name) DO UPDATE SET value = excluded.value;");
    return upsert.bind(1, name).bind(2, value).run() ? 0 : ISCSI_ERR_DATABASE;
}

int LoadOrMakeKey(ConfigDB& db, const std::string& name, int bytes, std::string& key)
{
    Transaction tx(db);
    if (!tx.begun())
        return ISCSI_ERR_DATABASE;
    bool found = false;
    std::string value;
    int rc = LoadSetting(db, name, value, found);
    if (rc != 0)
        return rc;
    if (!found) {
        if (!RandomHex(bytes, value))
            return ISCSI_ERR_NOT_AVAILABLE;
        rc = StoreSetting(db, name, value);
        if (rc != 0)
            return rc;
    }
    if (!tx.commit())
        return ISCSI_ERR_DATABASE;
    key = value;
    return 0;
}

int LoadIsnsSetting(ConfigDB& db, bool& enabled, std::string& address)
{
    bool found = false;
    std::string value;
    int rc = LoadSetting(db, kSettingIsnsEnabled, value, found);
    if (rc != 0)
        return rc;
    const bool isEnabled = found && value == "1";
    rc = LoadSetting(db, kSettingIsnsAddress, value, found);
    if (rc != 0)
        return rc;
    enabled = isEnabled;
    address = found ? value : std::string();
    return 0;
}

bool IsValidIsnsAddress(const std::string& text)
{
    return IsIPv4(text) || IsIPv6(text);
}

} // namespace Storage
} // namespace ISCSI
