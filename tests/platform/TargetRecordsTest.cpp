// Data code of the target record: its JSON form and round trip, its LUN mappings and sessions,
// and the binary layout and JSON form of a network portal.
#include <iscsi/ISCSINetworkPortal.h>
#include <iscsi/ISCSITargetInfo.h>
#include <kova/JsonText.h>

#include "RecordTestHelpers.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <set>
#include <string>

using ISCSI::ISCSI_ERR_TARGET_RECORD_INVALID;
using ISCSI::ISCSIMappingInfo;
using ISCSI::ISCSITargetInfo;
using ISCSI::ISCSITargetSessionInfo;
using RecordTest::ExpectEachFormRefused;
using RecordTest::Parse;

namespace {

std::set<std::string> Keys(const Json::Value& v)
{
    const auto names = v.getMemberNames();
    return std::set<std::string>(names.begin(), names.end());
}

_tag_struct_iscsi_network_portal_ Portal(unsigned int id, const char* ip, const char* interfaceName,
                                         unsigned int port, unsigned int tpgt)
{
    _tag_struct_iscsi_network_portal_ p;
    std::memset(&p, 0, sizeof(p));
    p.id = id;
    std::strcpy(p.ip, ip);
    std::strcpy(p.interface_name, interfaceName);
    p.port = port;
    p.tpgt = tpgt;
    return p;
}

void ExpectSamePortal(const _tag_struct_iscsi_network_portal_& a, const _tag_struct_iscsi_network_portal_& b)
{
    EXPECT_EQ(a.id, b.id);
    EXPECT_STREQ(a.ip, b.ip);
    EXPECT_STREQ(a.interface_name, b.interface_name);
    EXPECT_EQ(a.port, b.port);
    EXPECT_EQ(a.tpgt, b.tpgt);
    EXPECT_EQ(a.reserved, b.reserved);
}

// A record with every field away from its default, and every group loaded.
ISCSITargetInfo FullTarget()
{
    ISCSITargetInfo t("target-1", "iqn.2026-01.org.example:t1", true, true, true, 8192, 65536, 4,
                      ISCSI_AUTH_TYPE_MUTUAL_CHAP, "alice", "secret-1", "bob", "secret-2");
    t.tid = 17;
    t.network_portals.push_back(Portal(3, "192.0.2.1", "", 3261, 2));
    t.network_portals.push_back(Portal(0, "", "eth1", 3260, 0));
    t.load_flags = ISCSI::ISCSI_TARGET_LOAD_MAPPED_LUN | ISCSI::ISCSI_TARGET_LOAD_ACLS |
                   ISCSI::ISCSI_TARGET_LOAD_CONNECTED_SESSIONS | ISCSI::ISCSI_TARGET_LOAD_STATUS;
    t.mapped_luns.push_back(ISCSIMappingInfo(17, 1, "0b5e1a0e-0000-4000-8000-000000000001"));
    t.mapped_luns.push_back(ISCSIMappingInfo(17, 2, "0b5e1a0e-0000-4000-8000-000000000002"));
    t.acls["iqn.1993-08.org.debian:01:b"] = ISCSI_TARGET_AUTHORITY_READ;
    t.acls["iqn.1993-08.org.debian:01:a"] = ISCSI_TARGET_AUTHORITY_READ_WRITE;
    t.acls["iqn.1993-08.org.debian:01:c"] = ISCSI_TARGET_AUTHORITY_NONE;
    ISCSITargetSessionInfo s;
    s.session_id = 0x1000000002ULL;
    s.initiator_iqn = "iqn.1993-08.org.debian:01:a";
    s.initiator_ip = "198.51.100.7";
    t.connected_sessions.push_back(s);
    t.status = ISCSI_TARGET_STATUS_OFFLINE;
    return t;
}

void ExpectSameTarget(const ISCSITargetInfo& a, const ISCSITargetInfo& b)
{
    EXPECT_EQ(a.tid, b.tid);
    EXPECT_EQ(a.name, b.name);
    EXPECT_EQ(a.iqn, b.iqn);
    EXPECT_EQ(a.is_enabled, b.is_enabled);
    EXPECT_EQ(a.has_header_checksum, b.has_header_checksum);
    EXPECT_EQ(a.has_data_checksum, b.has_data_checksum);
    EXPECT_EQ(a.max_recv_seg_bytes, b.max_recv_seg_bytes);
    EXPECT_EQ(a.max_send_seg_bytes, b.max_send_seg_bytes);
    EXPECT_EQ(a.max_sessions, b.max_sessions);
    EXPECT_EQ(a.auth_type, b.auth_type);
    EXPECT_EQ(a.user, b.user);
    EXPECT_EQ(a.password, b.password);
    EXPECT_EQ(a.mutual_user, b.mutual_user);
    EXPECT_EQ(a.mutual_password, b.mutual_password);
    ASSERT_EQ(a.network_portals.size(), b.network_portals.size());
    for (size_t i = 0; i < a.network_portals.size(); ++i)
        ExpectSamePortal(a.network_portals[i], b.network_portals[i]);
    EXPECT_EQ(a.load_flags, b.load_flags);
    ASSERT_EQ(a.mapped_luns.size(), b.mapped_luns.size());
    for (size_t i = 0; i < a.mapped_luns.size(); ++i) {
        EXPECT_EQ(a.mapped_luns[i].tid, b.mapped_luns[i].tid);
        EXPECT_EQ(a.mapped_luns[i].lun_id, b.mapped_luns[i].lun_id);
        EXPECT_EQ(a.mapped_luns[i].lun_uuid, b.mapped_luns[i].lun_uuid);
    }
    EXPECT_EQ(a.acls, b.acls);
    ASSERT_EQ(a.connected_sessions.size(), b.connected_sessions.size());
    for (size_t i = 0; i < a.connected_sessions.size(); ++i) {
        EXPECT_EQ(a.connected_sessions[i].session_id, b.connected_sessions[i].session_id);
        EXPECT_EQ(a.connected_sessions[i].initiator_iqn, b.connected_sessions[i].initiator_iqn);
        EXPECT_EQ(a.connected_sessions[i].initiator_ip, b.connected_sessions[i].initiator_ip);
    }
    EXPECT_EQ(a.status, b.status);
}

const std::set<std::string> kBasicKeys = {"target_id",
                                          "name",
                                          "iqn",
                                          "is_enabled",
                                          "has_header_checksum",
                                          "has_data_checksum",
                                          "max_recv_seg_bytes",
                                          "max_send_seg_bytes",
                                          "max_sessions",
                                          "auth_type",
                                          "user",
                                          "password",
                                          "mutual_user",
                                          "mutual_password",
                                          "network_portals"};

} // namespace

// Network portal record.

TEST(NetworkPortal, LayoutIsEightyBytesWithFixedOffsets)
{
    EXPECT_EQ(sizeof(_tag_struct_iscsi_network_portal_), 80u);
    EXPECT_EQ(offsetof(_tag_struct_iscsi_network_portal_, id), 0u);
    EXPECT_EQ(offsetof(_tag_struct_iscsi_network_portal_, ip), 4u);
    EXPECT_EQ(sizeof(_tag_struct_iscsi_network_portal_::ip), 46u);
    EXPECT_EQ(offsetof(_tag_struct_iscsi_network_portal_, interface_name), 50u);
    EXPECT_EQ(sizeof(_tag_struct_iscsi_network_portal_::interface_name), 16u);
    EXPECT_EQ(offsetof(_tag_struct_iscsi_network_portal_, port), 68u);
    EXPECT_EQ(sizeof(_tag_struct_iscsi_network_portal_::port), 4u);
    EXPECT_EQ(offsetof(_tag_struct_iscsi_network_portal_, tpgt), 72u);
    EXPECT_EQ(offsetof(_tag_struct_iscsi_network_portal_, reserved), 76u);
}

TEST(NetworkPortal, JsonFormHasEveryField)
{
    Json::Value j;
    EXPECT_EQ(ISCSI::NetworkPortalToJson(Portal(5, "2001:db8::1", "", 3262, 9), j), 0);
    EXPECT_EQ(KOVA::toString(j),
              R"({"id":5,"interface_name":"","ip":"2001:db8::1","port":3262,"reserved":0,"tpgt":9})");
}

TEST(NetworkPortal, RoundTrip)
{
    const auto a = Portal(7, "203.0.113.9", "", 4000, 3);
    Json::Value j;
    ISCSI::NetworkPortalToJson(a, j);
    _tag_struct_iscsi_network_portal_ b;
    std::memset(&b, 0xAB, sizeof(b));
    EXPECT_EQ(ISCSI::NetworkPortalFromJson(j, b), 0);
    ExpectSamePortal(a, b);
    // The rest of each buffer is cleared, not left as it was.
    EXPECT_EQ(b.ip[45], '\0');
    EXPECT_EQ(b.interface_name[15], '\0');
}

TEST(NetworkPortal, AbsentMembersAreZeroAndPortIsDefault)
{
    _tag_struct_iscsi_network_portal_ p;
    std::memset(&p, 0xAB, sizeof(p));
    EXPECT_EQ(ISCSI::NetworkPortalFromJson(Parse(R"({"interface_name":"eth0"})"), p), 0);
    EXPECT_EQ(p.id, 0u);
    EXPECT_STREQ(p.ip, "");
    EXPECT_STREQ(p.interface_name, "eth0");
    EXPECT_EQ(p.port, 3260u);
    EXPECT_EQ(p.tpgt, 0u);
    EXPECT_EQ(p.reserved, 0u);
}

TEST(NetworkPortal, TextsUpToTheirBufferLessOneFit)
{
    _tag_struct_iscsi_network_portal_ p;
    Json::Value j(Json::objectValue);
    j["ip"] = std::string(45, '1');
    EXPECT_EQ(ISCSI::NetworkPortalFromJson(j, p), 0);
    EXPECT_EQ(std::string(p.ip), std::string(45, '1'));
    j["ip"] = std::string(46, '1');
    EXPECT_EQ(ISCSI::NetworkPortalFromJson(j, p), ISCSI_ERR_TARGET_RECORD_INVALID);

    Json::Value k(Json::objectValue);
    k["interface_name"] = std::string(15, 'e');
    EXPECT_EQ(ISCSI::NetworkPortalFromJson(k, p), 0);
    EXPECT_EQ(std::string(p.interface_name), std::string(15, 'e'));
    k["interface_name"] = std::string(16, 'e');
    EXPECT_EQ(ISCSI::NetworkPortalFromJson(k, p), ISCSI_ERR_TARGET_RECORD_INVALID);
}

TEST(NetworkPortal, MalformedJsonIsRefused)
{
    _tag_struct_iscsi_network_portal_ p;
    EXPECT_EQ(ISCSI::NetworkPortalFromJson(Parse(R"(["eth0"])"), p), ISCSI_ERR_TARGET_RECORD_INVALID);
    EXPECT_EQ(ISCSI::NetworkPortalFromJson(Json::Value(), p), ISCSI_ERR_TARGET_RECORD_INVALID);
    EXPECT_EQ(ISCSI::NetworkPortalFromJson(Parse(R"({"ip":3})"), p), ISCSI_ERR_TARGET_RECORD_INVALID);
    EXPECT_EQ(ISCSI::NetworkPortalFromJson(Parse(R"({"port":"3260"})"), p), ISCSI_ERR_TARGET_RECORD_INVALID);
    EXPECT_EQ(ISCSI::NetworkPortalFromJson(Parse(R"({"port":-1})"), p), ISCSI_ERR_TARGET_RECORD_INVALID);
}

// Enumerations shared with the web API.

TEST(TargetEnums, ValuesOfTheWebApi)
{
    EXPECT_EQ(ISCSI_AUTH_TYPE_NONE, 0);
    EXPECT_EQ(ISCSI_AUTH_TYPE_CHAP, 1);
    EXPECT_EQ(ISCSI_AUTH_TYPE_MUTUAL_CHAP, 2);
    EXPECT_EQ(static_cast<int>(static_cast<ISCSI_AUTH_TYPE>(-1)), -1);
    EXPECT_EQ(ISCSI_TARGET_AUTHORITY_READ_WRITE, 3);
    EXPECT_EQ(ISCSI_TARGET_AUTHORITY_READ, 1);
    EXPECT_EQ(ISCSI_TARGET_AUTHORITY_NONE, 0);
    EXPECT_EQ(ISCSI::ISCSI_TARGET_LOAD_MAPPED_LUN, 2);
    EXPECT_EQ(ISCSI::ISCSI_TARGET_LOAD_ACLS, 4);
    EXPECT_EQ(ISCSI::ISCSI_TARGET_LOAD_CONNECTED_SESSIONS, 8);
    EXPECT_EQ(ISCSI::ISCSI_TARGET_LOAD_STATUS, 16);
    const int updateBits[] = {ISCSI::ISCSI_TARGET_UPDATE_NAME,
                              ISCSI::ISCSI_TARGET_UPDATE_IQN,
                              ISCSI::ISCSI_TARGET_UPDATE_MAX_SESSIONS,
                              ISCSI::ISCSI_TARGET_UPDATE_HEADER_CHECKSUM,
                              ISCSI::ISCSI_TARGET_UPDATE_DATA_CHECKSUM,
                              ISCSI::ISCSI_TARGET_UPDATE_AUTH_TYPE,
                              ISCSI::ISCSI_TARGET_UPDATE_USER,
                              ISCSI::ISCSI_TARGET_UPDATE_PASSWORD,
                              ISCSI::ISCSI_TARGET_UPDATE_MUTUAL_USER,
                              ISCSI::ISCSI_TARGET_UPDATE_MUTUAL_PASSWORD,
                              ISCSI::ISCSI_TARGET_UPDATE_MAX_RECV_SEG_BYTES,
                              ISCSI::ISCSI_TARGET_UPDATE_MAX_SEND_SEG_BYTES};
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(updateBits[i], 1 << i) << i;
}

// Target record.

TEST(TargetInfo, DefaultRecordIsEmpty)
{
    const ISCSITargetInfo t;
    EXPECT_EQ(t.tid, 0u);
    EXPECT_EQ(t.name, "");
    EXPECT_FALSE(t.is_enabled);
    EXPECT_EQ(t.max_sessions, 0u);
    EXPECT_EQ(t.auth_type, ISCSI_AUTH_TYPE_NONE);
    EXPECT_EQ(t.load_flags, 0);
    EXPECT_EQ(t.status, ISCSI_TARGET_STATUS_UNKNOWN);
    EXPECT_TRUE(t.network_portals.empty());
    EXPECT_TRUE(t.mapped_luns.empty());
    EXPECT_TRUE(t.acls.empty());
    EXPECT_TRUE(t.connected_sessions.empty());
}

TEST(TargetInfo, SettingsConstructorTakesTheLibraryOrder)
{
    const ISCSITargetInfo t("n", "iqn.x", true, false, true, 4096, 8192, 3, ISCSI_AUTH_TYPE_CHAP, "u", "p",
                            "mu", "mp");
    EXPECT_EQ(t.tid, 0u);
    EXPECT_EQ(t.name, "n");
    EXPECT_EQ(t.iqn, "iqn.x");
    EXPECT_TRUE(t.is_enabled);
    EXPECT_FALSE(t.has_header_checksum);
    EXPECT_TRUE(t.has_data_checksum);
    EXPECT_EQ(t.max_recv_seg_bytes, 4096u);
    EXPECT_EQ(t.max_send_seg_bytes, 8192u);
    EXPECT_EQ(t.max_sessions, 3u);
    EXPECT_EQ(t.auth_type, ISCSI_AUTH_TYPE_CHAP);
    EXPECT_EQ(t.user, "u");
    EXPECT_EQ(t.password, "p");
    EXPECT_EQ(t.mutual_user, "mu");
    EXPECT_EQ(t.mutual_password, "mp");
    EXPECT_EQ(ISCSITargetInfo(9).tid, 9u);
}

TEST(TargetInfo, JsonOfARecordWithoutGroups)
{
    ISCSITargetInfo t("t", "iqn.2026-01.org.example:t", true, false, false, 262144, 262144, 1,
                      ISCSI_AUTH_TYPE_CHAP, "u", "p", "", "");
    t.tid = 4;
    t.network_portals.push_back(Portal(0, "192.0.2.1", "", 3260, 0));
    Json::Value j;
    EXPECT_EQ(t.toJsonFormat(j), 0);
    EXPECT_EQ(Keys(j), kBasicKeys);
    EXPECT_EQ(KOVA::toString(j),
              R"({"auth_type":1,"has_data_checksum":false,"has_header_checksum":false,)"
              R"("iqn":"iqn.2026-01.org.example:t","is_enabled":true,"max_recv_seg_bytes":262144,)"
              R"("max_send_seg_bytes":262144,"max_sessions":1,"mutual_password":"","mutual_user":"",)"
              R"("name":"t","network_portals":[{"id":0,"interface_name":"","ip":"192.0.2.1","port":3260,)"
              R"("reserved":0,"tpgt":0}],"password":"p","target_id":4,"user":"u"})");
    EXPECT_TRUE(j["target_id"].isUInt());
}

TEST(TargetInfo, ToJsonReplacesWhatTheValueHeld)
{
    Json::Value j(Json::objectValue);
    j["stale"] = 1;
    EXPECT_EQ(ISCSITargetInfo().toJsonFormat(j), 0);
    EXPECT_EQ(Keys(j), kBasicKeys);
}

TEST(TargetInfo, GroupsAppearOnlyWithTheirLoadFlag)
{
    ISCSITargetInfo t = FullTarget();
    const struct {
        int flag;
        const char* key;
    } groups[] = {{ISCSI::ISCSI_TARGET_LOAD_MAPPED_LUN, "mapped_luns"},
                  {ISCSI::ISCSI_TARGET_LOAD_ACLS, "acls"},
                  {ISCSI::ISCSI_TARGET_LOAD_CONNECTED_SESSIONS, "connected_sessions"},
                  {ISCSI::ISCSI_TARGET_LOAD_STATUS, "status"}};
    for (const auto& g : groups) {
        t.load_flags = g.flag;
        Json::Value j;
        t.toJsonFormat(j);
        std::set<std::string> expected = kBasicKeys;
        expected.insert(g.key);
        EXPECT_EQ(Keys(j), expected) << g.key;
    }
    // Bit 1 names no group.
    t.load_flags = 1;
    Json::Value j;
    t.toJsonFormat(j);
    EXPECT_EQ(Keys(j), kBasicKeys);
}

TEST(TargetInfo, JsonOfTheGroups)
{
    Json::Value j;
    EXPECT_EQ(FullTarget().toJsonFormat(j), 0);
    EXPECT_EQ(KOVA::toString(j["mapped_luns"]),
              R"([{"lun_id":1,"lun_uuid":"0b5e1a0e-0000-4000-8000-000000000001","target_id":17},)"
              R"({"lun_id":2,"lun_uuid":"0b5e1a0e-0000-4000-8000-000000000002","target_id":17}])");
    // In IQN order, with the permission texts of the web API.
    EXPECT_EQ(KOVA::toString(j["acls"]), R"([{"iqn":"iqn.1993-08.org.debian:01:a","permission":"rw"},)"
                                         R"({"iqn":"iqn.1993-08.org.debian:01:b","permission":"r"},)"
                                         R"({"iqn":"iqn.1993-08.org.debian:01:c","permission":"-"}])");
    EXPECT_EQ(KOVA::toString(j["connected_sessions"]),
              R"([{"initiator_ip":"198.51.100.7","initiator_iqn":"iqn.1993-08.org.debian:01:a",)"
              R"("session_id":68719476738}])");
    EXPECT_EQ(j["status"].asString(), "offline");
}

TEST(TargetInfo, EmptyGroupsAreEmptyArrays)
{
    ISCSITargetInfo t;
    t.load_flags = ISCSI::ISCSI_TARGET_LOAD_MAPPED_LUN | ISCSI::ISCSI_TARGET_LOAD_ACLS |
                   ISCSI::ISCSI_TARGET_LOAD_CONNECTED_SESSIONS | ISCSI::ISCSI_TARGET_LOAD_STATUS;
    Json::Value j;
    t.toJsonFormat(j);
    EXPECT_TRUE(j["mapped_luns"].isArray() && j["mapped_luns"].empty());
    EXPECT_TRUE(j["acls"].isArray() && j["acls"].empty());
    EXPECT_TRUE(j["connected_sessions"].isArray() && j["connected_sessions"].empty());
    EXPECT_TRUE(j["network_portals"].isArray() && j["network_portals"].empty());
    EXPECT_EQ(j["status"].asString(), "unknown");
}

TEST(TargetInfo, RoundTripOfEveryField)
{
    const ISCSITargetInfo a = FullTarget();
    Json::Value j;
    ASSERT_EQ(a.toJsonFormat(j), 0);
    ISCSITargetInfo b;
    ASSERT_EQ(b.loadFromJson(j), 0);
    ExpectSameTarget(a, b);
    Json::Value k;
    ASSERT_EQ(b.toJsonFormat(k), 0);
    EXPECT_EQ(KOVA::toString(k), KOVA::toString(j));
}

TEST(TargetInfo, RoundTripThroughText)
{
    const ISCSITargetInfo a = FullTarget();
    Json::Value j;
    a.toJsonFormat(j);
    ISCSITargetInfo b;
    ASSERT_EQ(b.loadFromJson(Parse(KOVA::toString(j))), 0);
    ExpectSameTarget(a, b);
}

TEST(TargetInfo, RoundTripOfEachStatusAndAuthType)
{
    for (ISCSI_TARGET_STATUS s : {ISCSI_TARGET_STATUS_UNKNOWN, ISCSI_TARGET_STATUS_ONLINE,
                                  ISCSI_TARGET_STATUS_OFFLINE, ISCSI_TARGET_STATUS_DISABLED}) {
        ISCSITargetInfo a;
        a.load_flags = ISCSI::ISCSI_TARGET_LOAD_STATUS;
        a.status = s;
        Json::Value j;
        a.toJsonFormat(j);
        ISCSITargetInfo b;
        ASSERT_EQ(b.loadFromJson(j), 0);
        EXPECT_EQ(b.status, s);
    }
    for (ISCSI_AUTH_TYPE t : {ISCSI_AUTH_TYPE_NONE, ISCSI_AUTH_TYPE_CHAP, ISCSI_AUTH_TYPE_MUTUAL_CHAP}) {
        ISCSITargetInfo a;
        a.auth_type = t;
        Json::Value j;
        a.toJsonFormat(j);
        EXPECT_EQ(j["auth_type"].asInt(), static_cast<int>(t));
        ISCSITargetInfo b;
        b.auth_type = static_cast<ISCSI_AUTH_TYPE>(-1);
        ASSERT_EQ(b.loadFromJson(j), 0);
        EXPECT_EQ(b.auth_type, t);
    }
}

TEST(TargetInfo, LoadSetsTheFlagsOfTheGroupsPresent)
{
    ISCSITargetInfo t;
    ASSERT_EQ(t.loadFromJson(Parse(R"({"target_id":2,"acls":[],"status":"online"})")), 0);
    EXPECT_EQ(t.load_flags, ISCSI::ISCSI_TARGET_LOAD_ACLS | ISCSI::ISCSI_TARGET_LOAD_STATUS);
    EXPECT_EQ(t.status, ISCSI_TARGET_STATUS_ONLINE);
    Json::Value j;
    t.toJsonFormat(j);
    EXPECT_TRUE(j.isMember("acls"));
    EXPECT_TRUE(j.isMember("status"));
    EXPECT_FALSE(j.isMember("mapped_luns"));
    EXPECT_FALSE(j.isMember("connected_sessions"));
}

TEST(TargetInfo, AbsentMembersKeepTheirFields)
{
    ISCSITargetInfo t = FullTarget();
    ASSERT_EQ(t.loadFromJson(Parse(R"({"name":"renamed"})")), 0);
    ISCSITargetInfo expected = FullTarget();
    expected.name = "renamed";
    ExpectSameTarget(expected, t);
}

TEST(TargetInfo, PresentListsReplaceTheFields)
{
    ISCSITargetInfo t = FullTarget();
    ASSERT_EQ(t.loadFromJson(Parse(R"({"network_portals":[],"mapped_luns":[],"connected_sessions":[],)"
                                   R"("acls":[{"iqn":"iqn.z","permission":"r"}]})")),
              0);
    EXPECT_TRUE(t.network_portals.empty());
    EXPECT_TRUE(t.mapped_luns.empty());
    EXPECT_TRUE(t.connected_sessions.empty());
    ASSERT_EQ(t.acls.size(), 1u);
    EXPECT_EQ(t.acls.at("iqn.z"), ISCSI_TARGET_AUTHORITY_READ);
}

TEST(TargetInfo, LaterAclOfOneInitiatorWins)
{
    ISCSITargetInfo t;
    ASSERT_EQ(t.loadFromJson(
                  Parse(R"({"acls":[{"iqn":"iqn.a","permission":"r"},{"iqn":"iqn.a","permission":"rw"}]})")),
              0);
    ASSERT_EQ(t.acls.size(), 1u);
    EXPECT_EQ(t.acls.at("iqn.a"), ISCSI_TARGET_AUTHORITY_READ_WRITE);
}

TEST(TargetInfo, UnknownStatusTextReadsAsUnknown)
{
    ISCSITargetInfo t;
    t.status = ISCSI_TARGET_STATUS_ONLINE;
    ASSERT_EQ(t.loadFromJson(Parse(R"({"status":"degraded"})")), 0);
    EXPECT_EQ(t.status, ISCSI_TARGET_STATUS_UNKNOWN);
    EXPECT_EQ(t.load_flags, ISCSI::ISCSI_TARGET_LOAD_STATUS);
}

TEST(TargetInfo, MalformedJsonIsRefused)
{
    const char* bad[] = {
        R"([])",
        R"("target")",
        R"({"target_id":"3"})",
        R"({"target_id":-3})",
        R"({"name":5})",
        R"({"is_enabled":"true"})",
        R"({"is_enabled":1})",
        R"({"max_sessions":true})",
        R"({"max_recv_seg_bytes":4294967296})",
        R"({"auth_type":3})",
        R"({"auth_type":-1})",
        R"({"auth_type":"1"})",
        R"({"user":null})",
        R"({"network_portals":{}})",
        R"({"network_portals":[{"ip":"0123456789012345678901234567890123456789012345"}]})",
        R"({"mapped_luns":[1]})",
        R"({"mapped_luns":[{"lun_id":"1"}]})",
        R"({"acls":{}})",
        R"({"acls":[{"iqn":"iqn.a","permission":"RW"}]})",
        R"({"acls":[{"iqn":"iqn.a"}]})",
        R"({"acls":[{"permission":"r"}]})",
        R"({"connected_sessions":[{"session_id":-1}]})",
        R"({"status":1})",
    };
    ExpectEachFormRefused<ISCSITargetInfo>(bad, ISCSI_ERR_TARGET_RECORD_INVALID);
    ISCSITargetInfo t;
    EXPECT_EQ(t.loadFromJson(Json::Value()), ISCSI_ERR_TARGET_RECORD_INVALID);
}

TEST(TargetInfo, ToStringLeavesThePasswordsOut)
{
    const std::string text = FullTarget().toString();
    EXPECT_EQ(text,
              "target: [target_id: 17, name: target-1, iqn: iqn.2026-01.org.example:t1, is_enabled: 1, "
              "has_header_checksum: 1, has_data_checksum: 1, max_recv_seg_bytes: 8192, "
              "max_send_seg_bytes: 65536, max_sessions: 4, auth_type: 2, user: alice, mutual_user: bob, "
              "network_portals: 2, mapped_luns: 2, acls: 3, connected_sessions: 1, status: offline]");
    EXPECT_EQ(text.find("secret"), std::string::npos);
}

TEST(TargetInfo, CopiesAreIndependentValues)
{
    const ISCSITargetInfo a = FullTarget();
    ISCSITargetInfo b = a;
    ExpectSameTarget(a, b);
    b.acls.clear();
    b.network_portals[0].port = 1;
    EXPECT_EQ(a.acls.size(), 3u);
    EXPECT_EQ(a.network_portals[0].port, 3261u);
}

// LUN mappings and sessions.

TEST(MappingInfo, JsonRoundTripAndText)
{
    const ISCSIMappingInfo a(12, 3, "0b5e1a0e-0000-4000-8000-000000000003");
    Json::Value j;
    EXPECT_EQ(a.toJsonFormat(j), 0);
    EXPECT_EQ(KOVA::toString(j),
              R"({"lun_id":3,"lun_uuid":"0b5e1a0e-0000-4000-8000-000000000003","target_id":12})");
    ISCSIMappingInfo b;
    EXPECT_EQ(b.loadFromJson(j), 0);
    EXPECT_EQ(b.tid, 12u);
    EXPECT_EQ(b.lun_id, 3u);
    EXPECT_EQ(b.lun_uuid, a.lun_uuid);
    EXPECT_EQ(a.toString(),
              "mapping: [target_id: 12, lun_id: 3, lun_uuid: 0b5e1a0e-0000-4000-8000-000000000003]");
    EXPECT_EQ(b.loadFromJson(Parse("[]")), ISCSI_ERR_TARGET_RECORD_INVALID);
}

TEST(MappingInfo, DefaultIsEmpty)
{
    const ISCSIMappingInfo m;
    EXPECT_EQ(m.tid, 0u);
    EXPECT_EQ(m.lun_id, 0u);
    EXPECT_EQ(m.lun_uuid, "");
}

TEST(TargetSessionInfo, SessionIdAbove32BitsIsExact)
{
    ISCSITargetSessionInfo a;
    a.session_id = 0xFFFFFFFFFFFFFFFFULL;
    a.initiator_iqn = "iqn.i";
    a.initiator_ip = "::1";
    Json::Value j;
    EXPECT_EQ(a.toJsonFormat(j), 0);
    ISCSITargetSessionInfo b;
    EXPECT_EQ(b.loadFromJson(Parse(KOVA::toString(j))), 0);
    EXPECT_EQ(b.session_id, a.session_id);
    EXPECT_EQ(b.initiator_iqn, "iqn.i");
    EXPECT_EQ(b.initiator_ip, "::1");
}
