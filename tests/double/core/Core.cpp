// Recording double of the appliance core functions. Unscripted, they answer as an appliance
// would with nothing configured: an ext4 volume, no settings keys, the address family that
// the text has, and a fixed serial number.
#include "../LibDouble.h"

#include <kova/Core.h>

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <string>

using namespace KOVATest;

extern "C" {

int KOVAFSTypeGetFromDisk(const char* path)
{
    const LibResult r = LibDouble::Get().Record("KOVAFSTypeGetFromDisk", Args(path));
    return r.scripted ? r.code : KOVA_FS_EXT4;
}

// Scripted with {"buffer": "value"}: the value is copied as the real function would.
int KLIBCFileGetKeyValue(const char* file, const char* key, char* buffer, int size, int flag)
{
    const LibResult r = LibDouble::Get().Record("KLIBCFileGetKeyValue", Args(file, key, size, flag));
    if (r.out.isMember("buffer") && buffer && size > 0)
        snprintf(buffer, static_cast<size_t>(size), "%s", r.out["buffer"].asCString());
    return r.code;
}

int KOVANetGetAddrType(const char* address)
{
    const LibResult r = LibDouble::Get().Record("KOVANetGetAddrType", Args(address));
    if (r.scripted)
        return r.code;
    unsigned char parsed[sizeof(struct in6_addr)];
    if (address && inet_pton(AF_INET, address, parsed) == 1)
        return AF_INET;
    if (address && inet_pton(AF_INET6, address, parsed) == 1)
        return AF_INET6;
    return -1;
}

// Scripted with {"buffer": "serial"}; unscripted the serial is "KOVATEST0001".
int KLIBGetSerialNumber(char* buffer, int size)
{
    const LibResult r = LibDouble::Get().Record("KLIBGetSerialNumber", Args(size));
    const std::string serial = r.out.isMember("buffer") ? r.out["buffer"].asString() : "KOVATEST0001";
    if (buffer && size > 0)
        snprintf(buffer, static_cast<size_t>(size), "%s", serial.c_str());
    return r.code;
}
}
