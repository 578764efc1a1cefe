// Network portals of a target: an address or a network interface, with a TCP port, where the
// target listens for initiators.
//
// The portal record crosses the boundary of the storage library in this fixed binary form, so
// its layout is part of the contract and pinned by the assertions below: 80 bytes, the address
// text at offset 4, the interface text at offset 50, the port at offset 68. Callers clear the
// whole record (padding included) before filling it, and fill either the address or the
// interface, never both.
#pragma once

#include <json/json.h>

#include <cstddef>

struct _tag_struct_iscsi_network_portal_ {
    // The portal's id in the target configuration; 0 for a portal given by its address or
    // interface (all callers of the web API), which the library then matches by content.
    unsigned int id;
    // NUL-terminated address text, IPv4 or IPv6: at most 45 characters, the longest text form
    // of an IPv6 address.
    char ip[46];
    // NUL-terminated network interface name: at most 15 characters. Used when ip is empty.
    char interface_name[16];
    // (2 bytes of alignment at offset 66, left 0.)
    // TCP port; 3260 unless the caller gives another.
    unsigned int port;
    // Portal group tag of the target; 0 for the target's default group.
    unsigned int tpgt;
    // Reserved, 0.
    unsigned int reserved;
};

static_assert(sizeof(_tag_struct_iscsi_network_portal_) == 80, "network portal record is 80 bytes");
static_assert(offsetof(_tag_struct_iscsi_network_portal_, id) == 0, "portal id at offset 0");
static_assert(offsetof(_tag_struct_iscsi_network_portal_, ip) == 4, "portal ip at offset 4");
static_assert(sizeof(_tag_struct_iscsi_network_portal_::ip) == 46, "portal ip buffer is 46 bytes");
static_assert(offsetof(_tag_struct_iscsi_network_portal_, interface_name) == 50,
              "portal interface name at offset 50");
static_assert(sizeof(_tag_struct_iscsi_network_portal_::interface_name) == 16,
              "portal interface name buffer is 16 bytes");
static_assert(offsetof(_tag_struct_iscsi_network_portal_, port) == 68, "portal port at offset 68");
static_assert(offsetof(_tag_struct_iscsi_network_portal_, tpgt) == 72, "portal group tag at offset 72");
static_assert(offsetof(_tag_struct_iscsi_network_portal_, reserved) == 76,
              "portal reserved word at offset 76");

namespace ISCSI {

enum {
    // The port of a portal for which the caller gives none.
    ISCSI_NETWORK_PORTAL_DEFAULT_PORT = 3260,
};

// The JSON form of a portal: an object with every field, "id", "ip", "interface_name", "port",
// "tpgt" and "reserved". Used in the target record's "network_portals" and in logs. Returns 0.
int NetworkPortalToJson(const _tag_struct_iscsi_network_portal_& portal, Json::Value& out);

// Fills portal from such an object. The record is cleared first; absent members stay 0 (and
// the port 3260 when "port" is absent). Answers ISCSI_ERR_TARGET_RECORD_INVALID (see
// ISCSITargetInfo.h) for a value that is no object, a member of the wrong type, or a text too
// long for its buffer.
int NetworkPortalFromJson(const Json::Value& in, _tag_struct_iscsi_network_portal_& portal);

} // namespace ISCSI
