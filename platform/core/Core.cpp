// The appliance core functions: file system type of a volume, settings files, address
// families and the appliance serial number.
#include <kova/Core.h>
#include <kova/SystemRoot.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <netinet/in.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <mutex>
#include <random>
#include <string>

namespace {

const char kInfoFile[] = "/etc.defaults/kovainfo.conf";
const char kSerialKey[] = "serial";
const char kMachineIdFile[] = "/etc/machine-id";
const char kSerialFile[] = "/etc/kova/serial";
// The serial's form: this prefix and twelve upper-case hexadecimal digits.
const char kSerialPrefix[] = "KOVA";
const int kSerialDigits = 12;
// Longest line or value that the settings reader takes into account.
const std::size_t kMaxSettingLength = 4096;

std::string Trim(const std::string& text)
{
    const char* blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// The value of key in the settings file at hostPath: 1 found, 0 not there, -1 no file.
int ReadSetting(const std::string& hostPath, const std::string& key, std::string& value)
{
    std::ifstream in(hostPath);
    if (!in) {
        return -1;
    }
    std::string line;
    while (std::getline(in, line)) {
        line = Trim(line);
        if (line.empty() || line[0] == '#') {
            continue;
        }
        const std::size_t eq = line.find('=');
        if (eq == std::string::npos || Trim(line.substr(0, eq)) != key) {
            continue;
        }
        value = Trim(line.substr(eq + 1));
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
            value = value.substr(1, value.size() - 2);
        }
        if (value.size() > kMaxSettingLength) {
            value.resize(kMaxSettingLength);
        }
        return 1;
    }
    return 0;
}

// The first line of a file, trimmed; empty when there is none.
std::string FirstLine(const std::string& hostPath)
{
    std::ifstream in(hostPath);
    std::string line;
    if (in) {
        std::getline(in, line);
    }
    return Trim(line);
}

std::string HexDigits(std::uint64_t value, int digits)
{
    static const char hex[] = "0123456789ABCDEF";
    std::string out(static_cast<std::size_t>(digits), '0');
    for (int i = digits - 1; i >= 0; --i) {
        out[static_cast<std::size_t>(i)] = hex[value & 0xF];
        value >>= 4;
    }
    return out;
}

// A serial made from the machine id, hashed with a key of our own so that the machine id
// itself is not disclosed; a random one when there is no machine id. fromMachine tells
// which: a serial of the machine id comes out the same each time it is made.
std::string MakeSerial(bool& fromMachine)
{
    const std::string machineId = FirstLine(KOVA::SystemRoot::ResolveFile(kMachineIdFile));
    std::uint64_t value = 0;
    if (!machineId.empty()) {
        // FNV-1a over a fixed key and the machine id.
        std::uint64_t hash = 14695981039346656037ull;
        for (const char c : std::string("kova-appliance-serial:") + machineId) {
            hash ^= static_cast<unsigned char>(c);
            hash *= 1099511628211ull;
        }
        value = hash;
        fromMachine = true;
    } else {
        fromMachine = false;
        std::random_device device;
        value = (static_cast<std::uint64_t>(device()) << 32) ^ device();
    }
    return kSerialPrefix + HexDigits(value, kSerialDigits);
}

// Creates the directories above hostPath; false when one cannot be made.
bool MakeParentDirectories(const std::string& hostPath)
{
    for (std::size_t pos = hostPath.find('/', 1); pos != std::string::npos;
         pos = hostPath.find('/', pos + 1)) {
        const std::string dir = hostPath.substr(0, pos);
        if (mkdir(dir.c_str(), 0755) != 0 && errno != EEXIST) {
            return false;
        }
    }
    return true;
}

// Stores serial at hostPath unless a serial is there already, and answers the stored one. The
// file is written aside and linked into place, so that of two processes that start at once
// both answer the serial of the one that came first. Empty when nothing could be stored.
std::string StoreSerial(const std::string& hostPath, const std::string& serial)
{
    if (!MakeParentDirectories(hostPath)) {
        return "";
    }
    const std::string temp = hostPath + ".tmp." + std::to_string(getpid());
    const int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        return "";
    }
    const std::string text = serial + "\n";
    const bool written =
        write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && fsync(fd) == 0;
    close(fd);
    std::string stored;
    if (written && (link(temp.c_str(), hostPath.c_str()) == 0 || errno == EEXIST)) {
        stored = FirstLine(hostPath);
    }
    unlink(temp.c_str());
    return stored;
}

} // namespace

extern "C" int KOVAFSTypeGetFromDisk(const char* path)
{
    if (path == nullptr || path[0] == '\0') {
        return -1;
    }
    const std::string hostPath = KOVA::SystemRoot::ResolveVolumePath(path);
    struct statfs info;
    if (statfs(hostPath.c_str(), &info) != 0) {
        return -1;
    }
    // f_type is a signed word on some platforms; the magic numbers are 32-bit values.
    const auto magic = static_cast<std::uint32_t>(info.f_type);
    if (magic == static_cast<std::uint32_t>(BTRFS_SUPER_MAGIC)) {
        return KOVA_FS_BTRFS;
    }
    if (magic == static_cast<std::uint32_t>(EXT4_SUPER_MAGIC)) {
        return KOVA_FS_EXT4;
    }
    return KOVA_FS_OTHER;
}

extern "C" int KLIBCFileGetKeyValue(const char* file, const char* key, char* buffer, int size, int flag)
{
    (void)flag;
    if (file == nullptr || key == nullptr || key[0] == '\0' || buffer == nullptr || size <= 0) {
        return -1;
    }
    buffer[0] = '\0';
    std::string value;
    const int found = ReadSetting(KOVA::SystemRoot::ResolveFile(file), key, value);
    if (found <= 0) {
        return found;
    }
    const std::size_t length = std::min(value.size(), static_cast<std::size_t>(size - 1));
    std::memcpy(buffer, value.data(), length);
    buffer[length] = '\0';
    return static_cast<int>(length);
}

extern "C" int KOVANetGetAddrType(const char* address)
{
    if (address == nullptr) {
        return -1;
    }
    unsigned char bytes[sizeof(struct in6_addr)];
    if (inet_pton(AF_INET, address, bytes) == 1) {
        return AF_INET;
    }
    if (inet_pton(AF_INET6, address, bytes) == 1) {
        return AF_INET6;
    }
    return -1;
}

extern "C" int KLIBGetSerialNumber(char* buffer, int size)
{
    if (buffer == nullptr || size <= 0) {
        return -1;
    }
    buffer[0] = '\0';

    // The serial of the appliance's info file wins.
    std::string serial;
    if (ReadSetting(KOVA::SystemRoot::ResolveFile(kInfoFile), kSerialKey, serial) <= 0 || serial.empty()) {
        // Else the one made for this machine and stored under the root. The lock keeps two
        // threads of this process from making two serials; StoreSerial keeps two processes.
        static std::mutex mutex;
        std::lock_guard<std::mutex> lock(mutex);
        const std::string serialPath = KOVA::SystemRoot::ResolveFile(kSerialFile);
        serial = FirstLine(serialPath);
        if (serial.empty()) {
            bool fromMachine = false;
            const std::string made = MakeSerial(fromMachine);
            serial = StoreSerial(serialPath, made);
            // A serial of the machine id needs no store to stay the same; a random one does.
            if (serial.empty() && fromMachine) {
                serial = made;
            }
        }
        if (serial.empty()) {
            return -1;
        }
    }
    if (serial.size() + 1 > static_cast<std::size_t>(size)) {
        return -1;
    }
    std::memcpy(buffer, serial.c_str(), serial.size() + 1);
    return 0;
}
