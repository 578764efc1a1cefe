// Appliance core functions that the iSCSI module calls.
#pragma once

extern "C" {

// File system type of the volume that holds path (a "/volumeN" location resolves to the
// volume's directory): 3 is btrfs, 1 ext4, 2 another file system; -1 when it cannot be read.
int KOVAFSTypeGetFromDisk(const char* path);

// Reads the value of key from a "key=value" settings file (a value may stand in double
// quotes) into buffer of size bytes, NUL-terminated. Answers the number of bytes of the
// value when the key is there, 0 when it is not, and -1 on error. flag is reserved (0).
int KLIBCFileGetKeyValue(const char* file, const char* key, char* buffer, int size, int flag);

// Address family of an address text: 2 (AF_INET) for IPv4, 10 (AF_INET6) for IPv6, and -1
// for a text that is neither.
int KOVANetGetAddrType(const char* address);

// Fills buffer (of size bytes) with the appliance's serial number text; 0 on success.
int KLIBGetSerialNumber(char* buffer, int size);
}

// Values of KOVAFSTypeGetFromDisk.
enum KOVA_FS_TYPE { KOVA_FS_UNKNOWN = 0, KOVA_FS_EXT4 = 1, KOVA_FS_OTHER = 2, KOVA_FS_BTRFS = 3 };
