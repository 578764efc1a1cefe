// Sessions that a library keeps beside the daemon's own logins: the storage library's node
// sessions, which other appliances hold here. The daemon and the library meet only through
// these functions: the daemon never reads the library's tables, the library never reads the
// daemon's accounts or sessions.
//
// A library that keeps such sessions exports the functions under these names; the daemon finds
// them with dlsym through the modules it loads (as KOVAPlatformStart) and asks them about any
// session id that its own session store does not know, and about "node_renew" logins.
#pragma once

#include <stddef.h>

extern "C" {

enum {
    KOVA_SESSION_OK = 0,      // the session is valid
    KOVA_SESSION_UNKNOWN = 1, // no such session (or not from this address)
    KOVA_SESSION_EXPIRED = 2, // the session is there but its lifetime is over
};

// "KOVASessionCheck": whether sid is a valid session for a caller at remoteIp. On
// KOVA_SESSION_OK, account receives the session's account (NUL-terminated, cut to accountSize).
typedef int (*KOVASessionCheckFn)(const char* sid, const char* remoteIp, char* account, size_t accountSize);

// "KOVASessionRenew": a new session for the holder of the session oldSid (valid or expired, not
// ended), proven with key, from remoteIp. On KOVA_SESSION_OK the old session is ended and newSid
// receives the new id (NUL-terminated; newSidSize at least 65).
typedef int (*KOVASessionRenewFn)(const char* oldSid, const char* key, const char* remoteIp, char* newSid,
                                  size_t newSidSize);

int KOVASessionCheck(const char* sid, const char* remoteIp, char* account, size_t accountSize);
int KOVASessionRenew(const char* oldSid, const char* key, const char* remoteIp, char* newSid,
                     size_t newSidSize);
}
