// Targets as stored configuration, without tgtd (KOVA_TGTD=off): creation and its checks,
// identifiers, updates by mask, enable and disable, ACL masks, portals, LUN mappings with
// stable numbers, whitelists, and a restart of the library over the same directory.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSILIBTarget.h>

#include "StorageTestSupport.h"
#include "config/ConfigDB.h"
#include "context/LibraryContext.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using ISCSI::ISCSITargetInfo;
using ISCSI::LIB::LIBLUN::ISCSILIBLUN;
using ISCSI::LIB::LIBTarget::ISCSILIBTarget;
using ISCSI::Storage::LibraryContext;

constexpr int kInvalidName = 18990700;
constexpr int kInvalidIqn = 18990701;
constexpr int kMissingCredentials = 18990708;
constexpr int kNoSuchTarget = 18990710;
constexpr int kInvalidAcls = 18990711;
constexpr int kInvalidRecvSeg = 18990738;
constexpr int kNoSuchLUN = 18990505;
constexpr int kInvalidAddress = 18990203;
constexpr unsigned long long kMiB = 1024ULL * 1024ULL;
constexpr int kAllFlags = ISCSI::ISCSI_TARGET_LOAD_MAPPED_LUN | ISCSI::ISCSI_TARGET_LOAD_ACLS |
                          ISCSI::ISCSI_TARGET_LOAD_CONNECTED_SESSIONS | ISCSI::ISCSI_TARGET_LOAD_STATUS;

// The library on a temporary data directory and /volume1, without tgtd.
class TargetConfigTest : public KovaStorageTest::StorageLibraryWithoutTgtdTest {
protected:
    TargetConfigTest() : StorageLibraryWithoutTgtdTest("target") {}

    static int Create(const std::string& name, const std::string& iqn, unsigned int* tid = nullptr,
                      ISCSI_AUTH_TYPE auth = ISCSI_AUTH_TYPE_NONE, const std::string& user = "",
                      const std::string& password = "", const std::string& mutualUser = "",
                      const std::string& mutualPassword = "")
    {
        ISCSILIBTarget target(name, iqn, true, false, false, 262144, 262144, 1, auth, user, password,
                              mutualUser, mutualPassword, false);
        const int rc = target.createTarget();
        if (tid)
            *tid = target.tid;
        return rc;
    }

    static ISCSILIBTarget Load(unsigned int tid, int flags = kAllFlags)
    {
        ISCSILIBTarget target(tid);
        EXPECT_EQ(0, target.loadTargetInfo(flags));
        return target;
    }

    static std::string CreateLun(const std::string& name)
    {
        ISCSILIBLUN lun(name, ISCSI_LUN_TYPE_THIN, "/volume1", 8 * kMiB, 0, 0, 0, "", false);
        EXPECT_EQ(0, lun.createLUN("", ""));
        return lun.uuid;
    }

    static _tag_struct_iscsi_network_portal_ Portal(const std::string& ip, const std::string& ifname,
                                                    unsigned int port)
    {
        _tag_struct_iscsi_network_portal_ portal;
        std::memset(&portal, 0, sizeof(portal));
        std::snprintf(portal.ip, sizeof(portal.ip), "%s", ip.c_str());
        std::snprintf(portal.interface_name, sizeof(portal.interface_name), "%s", ifname.c_str());
        portal.port = port;
        return portal;
    }
};

TEST_F(TargetConfigTest, CreateStoresEverySettingAndAnswersTheNewId)
{
    unsigned int tid = 0;
    ASSERT_EQ(0, Create("t1", "iqn.2026-11.com.example:t1", &tid, ISCSI_AUTH_TYPE_MUTUAL_CHAP, "alice",
                        "secret-alice-1", "tgt", "secret-target-1"));
    EXPECT_EQ(1u, tid);
    unsigned int second = 0;
    ASSERT_EQ(0, Create("t2", "eui.0123456789ABCDEF", &second));
    EXPECT_EQ(2u, second);

    const ISCSILIBTarget t = Load(tid);
    EXPECT_EQ("t1", t.name);
    EXPECT_EQ("iqn.2026-11.com.example:t1", t.iqn);
    EXPECT_TRUE(t.is_enabled);
    EXPECT_EQ(262144u, t.max_recv_seg_bytes);
    EXPECT_EQ(1u, t.max_sessions);
    EXPECT_EQ(ISCSI_AUTH_TYPE_MUTUAL_CHAP, t.auth_type);
    EXPECT_EQ("alice", t.user);
    EXPECT_EQ("secret-alice-1", t.password);
    EXPECT_EQ("tgt", t.mutual_user);
    EXPECT_EQ("secret-target-1", t.mutual_password);
    // Without tgtd an enabled target is offline.
    EXPECT_EQ(ISCSI_TARGET_STATUS_OFFLINE, t.status);
    EXPECT_TRUE(t.connected_sessions.empty());

    Json::Value json;
    ASSERT_EQ(0, t.toJsonFormat(json));
    EXPECT_EQ(1u, json["target_id"].asUInt());
    EXPECT_EQ("offline", json["status"].asString());
    EXPECT_TRUE(json["acls"].isArray());
}

TEST_F(TargetConfigTest, CreateChecksNamesIqnsAndCredentials)
{
    EXPECT_EQ(kInvalidIqn, Create("a", "iqn.2026-13.com.example:a"));
    EXPECT_EQ(kInvalidIqn, Create("a", "iqn.26-01.com.example"));
    EXPECT_EQ(kInvalidIqn, Create("a", "com.example:a"));
    EXPECT_EQ(kInvalidIqn, Create("a", "iqn.2026-01.com.example:a b"));
    EXPECT_EQ(kInvalidIqn, Create("a", "iqn.2026-01.com.example:a,b"));
    EXPECT_EQ(kInvalidIqn, Create("a", "eui.0123"));
    EXPECT_EQ(kInvalidIqn, Create("a", "naa.0123456789abcdefX"));
    EXPECT_EQ(kInvalidIqn, Create("a", "iqn.2026-01.com.example:" + std::string(220, 'x')));
    EXPECT_EQ(kInvalidName, Create("", "iqn.2026-01.com.example:a"));
    EXPECT_EQ(kInvalidName, Create("bad\nname", "iqn.2026-01.com.example:a"));
    EXPECT_EQ(kMissingCredentials,
              Create("a", "iqn.2026-01.com.example:a", nullptr, ISCSI_AUTH_TYPE_CHAP, "u"));
    EXPECT_EQ(kMissingCredentials,
              Create("a", "iqn.2026-01.com.example:a", nullptr, ISCSI_AUTH_TYPE_MUTUAL_CHAP, "u", "p1234"));
    EXPECT_EQ(18990704, Create("a", "iqn.2026-01.com.example:a", nullptr, ISCSI_AUTH_TYPE_CHAP, "u,v", "p"));
    EXPECT_EQ(18990705, Create("a", "iqn.2026-01.com.example:a", nullptr, ISCSI_AUTH_TYPE_CHAP, "u", "p,q"));
    EXPECT_EQ(0, Create("a", "naa.0123456789abcdef0123456789ABCDEF"));

    // Unique names, and IQNs unique without regard to case.
    EXPECT_EQ(0, Create("b", "iqn.2026-01.com.example:b"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_TARGET_IQN_EXISTS, Create("c", "IQN.2026-01.COM.EXAMPLE:B"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_TARGET_NAME_EXISTS, Create("b", "iqn.2026-01.com.example:c"));

    // tgtd's CHAP accounts are global: one user name, one password.
    EXPECT_EQ(0,
              Create("d", "iqn.2026-01.com.example:d", nullptr, ISCSI_AUTH_TYPE_CHAP, "shared", "pw-one-1"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_CHAP_USER_IN_USE,
              Create("e", "iqn.2026-01.com.example:e", nullptr, ISCSI_AUTH_TYPE_CHAP, "shared", "pw-two-2"));
    EXPECT_EQ(0,
              Create("e", "iqn.2026-01.com.example:e", nullptr, ISCSI_AUTH_TYPE_CHAP, "shared", "pw-one-1"));

    std::vector<ISCSITargetInfo> all;
    ASSERT_EQ(0, ISCSILIBTarget::ListTarget(all, "", 0));
    ASSERT_EQ(4u, all.size());
    EXPECT_EQ("a", all[0].name);
    EXPECT_EQ("e", all[3].name);
}

TEST_F(TargetConfigTest, GetTidResolvesIdIqnAndName)
{
    unsigned int tid = 0;
    ASSERT_EQ(0, Create("alpha", "iqn.2026-01.com.example:alpha", &tid));
    int out = -1;
    ASSERT_EQ(0, ISCSITargetInfo::GetTid("1", out));
    EXPECT_EQ(1, out);
    out = -1;
    ASSERT_EQ(0, ISCSITargetInfo::GetTid("iqn.2026-01.com.example:alpha", out));
    EXPECT_EQ(1, out);
    out = -1;
    ASSERT_EQ(0, ISCSITargetInfo::GetTid("alpha", out));
    EXPECT_EQ(1, out);
    out = -7;
    EXPECT_EQ(kNoSuchTarget, ISCSITargetInfo::GetTid("2", out));
    EXPECT_EQ(kNoSuchTarget, ISCSITargetInfo::GetTid("beta", out));
    EXPECT_EQ(kNoSuchTarget, ISCSITargetInfo::GetTid("", out));
    EXPECT_EQ(kNoSuchTarget, ISCSITargetInfo::GetTid("99999999999999999999", out));
    EXPECT_EQ(-7, out);

    ISCSILIBTarget missing(5);
    EXPECT_EQ(kNoSuchTarget, missing.loadTargetInfo(0));
    EXPECT_EQ(kNoSuchTarget, missing.deleteTarget());
    EXPECT_EQ(kNoSuchTarget, missing.enableTarget());
}

TEST_F(TargetConfigTest, UpdateAppliesOnlyTheMaskedSettings)
{
    unsigned int tid = 0;
    ASSERT_EQ(0, Create("t", "iqn.2026-01.com.example:t", &tid));
    ASSERT_EQ(0, Create("other", "iqn.2026-01.com.example:other"));
    ISCSILIBTarget target(tid);
    // Mask 0 changes nothing, whatever the values.
    ASSERT_EQ(0, target.updateTarget(0, "", "", true, true, 0, 0, 0, ISCSI_AUTH_TYPE_NONE, "", "", "", ""));
    EXPECT_EQ("t", Load(tid).name);

    const int mask = ISCSI::ISCSI_TARGET_UPDATE_NAME | ISCSI::ISCSI_TARGET_UPDATE_HEADER_CHECKSUM |
                     ISCSI::ISCSI_TARGET_UPDATE_MAX_RECV_SEG_BYTES | ISCSI::ISCSI_TARGET_UPDATE_MAX_SESSIONS;
    ASSERT_EQ(0, target.updateTarget(mask, "renamed", "iqn.ignored", true, true, 65536, 4096, 4,
                                     ISCSI_AUTH_TYPE_CHAP, "x", "y", "", ""));
    const ISCSILIBTarget t = Load(tid);
    EXPECT_EQ("renamed", t.name);
    EXPECT_EQ("iqn.2026-01.com.example:t", t.iqn);
    EXPECT_TRUE(t.has_header_checksum);
    EXPECT_FALSE(t.has_data_checksum);
    EXPECT_EQ(65536u, t.max_recv_seg_bytes);
    EXPECT_EQ(262144u, t.max_send_seg_bytes);
    EXPECT_EQ(4u, t.max_sessions);
    EXPECT_EQ(ISCSI_AUTH_TYPE_NONE, t.auth_type);

    EXPECT_EQ(ISCSI::ISCSI_ERR_TARGET_NAME_EXISTS,
              target.updateTarget(ISCSI::ISCSI_TARGET_UPDATE_NAME, "other", "", false, false, 0, 0, 0,
                                  ISCSI_AUTH_TYPE_NONE, "", "", "", ""));
    EXPECT_EQ(ISCSI::ISCSI_ERR_TARGET_IQN_EXISTS,
              target.updateTarget(ISCSI::ISCSI_TARGET_UPDATE_IQN, "", "iqn.2026-01.com.example:OTHER", false,
                                  false, 0, 0, 0, ISCSI_AUTH_TYPE_NONE, "", "", "", ""));
    EXPECT_EQ(kInvalidRecvSeg,
              target.updateTarget(ISCSI::ISCSI_TARGET_UPDATE_MAX_RECV_SEG_BYTES, "", "", false, false, 256, 0,
                                  0, ISCSI_AUTH_TYPE_NONE, "", "", "", ""));
    // CHAP without credentials is refused; with them it is kept.
    EXPECT_EQ(kMissingCredentials, target.updateTarget(ISCSI::ISCSI_TARGET_UPDATE_AUTH_TYPE, "", "", false,
                                                       false, 0, 0, 0, ISCSI_AUTH_TYPE_CHAP, "", "", "", ""));
    const int chap = ISCSI::ISCSI_TARGET_UPDATE_AUTH_TYPE | ISCSI::ISCSI_TARGET_UPDATE_USER |
                     ISCSI::ISCSI_TARGET_UPDATE_PASSWORD;
    ASSERT_EQ(0, target.updateTarget(chap, "", "", false, false, 0, 0, 0, ISCSI_AUTH_TYPE_CHAP, "bob",
                                     "bob-secret-1", "", ""));
    EXPECT_EQ("bob", Load(tid).user);
    EXPECT_EQ("renamed", Load(tid).name);
}

TEST_F(TargetConfigTest, EnableDisableAndDelete)
{
    unsigned int tid = 0;
    ASSERT_EQ(0, Create("t", "iqn.2026-01.com.example:t", &tid));
    ISCSILIBTarget target(tid);
    ASSERT_EQ(0, target.disableTarget());
    ISCSILIBTarget t = Load(tid);
    EXPECT_FALSE(t.is_enabled);
    EXPECT_EQ(ISCSI_TARGET_STATUS_DISABLED, t.status);
    ASSERT_EQ(0, target.disableTarget());
    ASSERT_EQ(0, target.enableTarget());
    EXPECT_TRUE(Load(tid).is_enabled);

    ASSERT_EQ(0, target.deleteTarget());
    int out = 0;
    EXPECT_EQ(kNoSuchTarget, ISCSITargetInfo::GetTid("1", out));
    // The id is free again.
    unsigned int again = 0;
    ASSERT_EQ(0, Create("t", "iqn.2026-01.com.example:t", &again));
    EXPECT_EQ(tid, again);
}

TEST_F(TargetConfigTest, AclMasksSetAddRemove)
{
    unsigned int tid = 0;
    ASSERT_EQ(0, Create("t", "iqn.2026-01.com.example:t", &tid));
    ISCSILIBTarget target(tid);
    Json::Value acls(Json::arrayValue);
    Json::Value a;
    a["iqn"] = "iqn.2026-01.com.example:host-b";
    a["permission"] = "rw";
    acls.append(a);
    a["iqn"] = "iqn.2026-01.com.example:host-a";
    a["permission"] = "-";
    acls.append(a);
    ASSERT_EQ(0, target.aclMasksSet(acls));
    ISCSILIBTarget t = Load(tid, ISCSI::ISCSI_TARGET_LOAD_ACLS);
    ASSERT_EQ(2u, t.acls.size());
    EXPECT_EQ(ISCSI_TARGET_AUTHORITY_NONE, t.acls["iqn.2026-01.com.example:host-a"]);
    EXPECT_EQ(ISCSI_TARGET_AUTHORITY_READ_WRITE, t.acls["iqn.2026-01.com.example:host-b"]);
    Json::Value json;
    t.toJsonFormat(json);
    EXPECT_EQ("iqn.2026-01.com.example:host-a", json["acls"][0]["iqn"].asString());

    // A form the library does not know changes nothing.
    Json::Value bad(Json::arrayValue);
    Json::Value b;
    b["iqn"] = "iqn.2026-01.com.example:x";
    b["permission"] = "RW";
    bad.append(b);
    EXPECT_EQ(kInvalidAcls, target.aclMasksSet(bad));
    EXPECT_EQ(kInvalidAcls, target.aclMasksSet(Json::Value("text")));
    EXPECT_EQ(kInvalidAcls, target.aclMasksAdd({{"not an iqn", ISCSI_TARGET_AUTHORITY_READ}}));
    EXPECT_EQ(2u, Load(tid, ISCSI::ISCSI_TARGET_LOAD_ACLS).acls.size());

    // tgtd cannot mix read-only and read-write initiators on one target.
    EXPECT_EQ(ISCSI::ISCSI_ERR_ACL_MIXED_ACCESS,
              target.aclMasksAdd({{"iqn.2026-01.com.example:host-c", ISCSI_TARGET_AUTHORITY_READ}}));
    EXPECT_EQ(2u, Load(tid, ISCSI::ISCSI_TARGET_LOAD_ACLS).acls.size());

    ASSERT_EQ(0, target.aclMasksAdd({{"iqn.2026-01.com.example:host-c", ISCSI_TARGET_AUTHORITY_READ_WRITE}}));
    ASSERT_EQ(0,
              target.aclMasksRemove({"IQN.2026-01.COM.EXAMPLE:HOST-B", "iqn.2026-01.com.example:unknown"}));
    t = Load(tid, ISCSI::ISCSI_TARGET_LOAD_ACLS);
    EXPECT_EQ(2u, t.acls.size());
    EXPECT_EQ(0u, t.acls.count("iqn.2026-01.com.example:host-b"));
    ASSERT_EQ(0, target.aclMasksSet(Json::Value(Json::arrayValue)));
    EXPECT_TRUE(Load(tid, ISCSI::ISCSI_TARGET_LOAD_ACLS).acls.empty());
}

TEST_F(TargetConfigTest, NetworkPortalsAddAndRemove)
{
    unsigned int tid = 0;
    ASSERT_EQ(0, Create("t", "iqn.2026-01.com.example:t", &tid));
    ISCSILIBTarget target(tid);
    ASSERT_EQ(0, target.networkPortalsAdd({Portal("127.0.0.2", "", 3260), Portal("::1", "", 3261),
                                           Portal("", "lo", 3262), Portal("127.0.0.2", "", 3260)}));
    ISCSILIBTarget t = Load(tid, 0);
    ASSERT_EQ(3u, t.network_portals.size());
    EXPECT_STREQ("127.0.0.2", t.network_portals[0].ip);
    EXPECT_STREQ("::1", t.network_portals[1].ip);
    EXPECT_EQ(3261u, t.network_portals[1].port);
    EXPECT_STREQ("lo", t.network_portals[2].interface_name);
    EXPECT_NE(0u, t.network_portals[0].id);

    EXPECT_EQ(ISCSI::ISCSI_ERR_PORTAL_INVALID, target.networkPortalsAdd({Portal("300.1.1.1", "", 3260)}));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PORTAL_INVALID, target.networkPortalsAdd({Portal("", "nosuchif9", 3260)}));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PORTAL_INVALID, target.networkPortalsAdd({Portal("127.0.0.3", "", 70000)}));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PORTAL_INVALID, target.networkPortalsAdd({Portal("127.0.0.3", "", 0)}));
    EXPECT_EQ(3u, Load(tid, 0).network_portals.size());

    // Addresses compare in their canonical form.
    ASSERT_EQ(0, target.networkPortalsRemove({Portal("0:0::1", "", 3261), Portal("", "lo", 3262)}));
    t = Load(tid, 0);
    ASSERT_EQ(1u, t.network_portals.size());
    EXPECT_STREQ("127.0.0.2", t.network_portals[0].ip);
}

TEST_F(TargetConfigTest, MappingsKeepTheirLunNumbersAcrossARestart)
{
    unsigned int t1 = 0, t2 = 0;
    ASSERT_EQ(0, Create("t1", "iqn.2026-01.com.example:t1", &t1));
    ASSERT_EQ(0, Create("t2", "iqn.2026-01.com.example:t2", &t2));
    const std::string a = CreateLun("a"), b = CreateLun("b"), c = CreateLun("c");
    ISCSILIBTarget target(t1);
    // One at a time, so that a has number 1 and b number 2 (a set is walked in uuid order).
    ASSERT_EQ(0, target.mapLUN({a}));
    ASSERT_EQ(0, target.mapLUN({b}));
    ASSERT_EQ(0, target.mapLUN({a}));
    EXPECT_EQ(kNoSuchLUN, target.mapLUN({"00000000-0000-4000-8000-000000000000"}));

    ISCSILIBLUN lunC(c, false, false, false);
    ASSERT_EQ(0, lunC.mapTarget({static_cast<int>(t1), static_cast<int>(t2)}));
    EXPECT_EQ(kNoSuchTarget, lunC.mapTarget({77}));

    auto numbers = [](const ISCSITargetInfo& t) {
        std::map<std::string, unsigned int> out;
        for (const auto& m : t.mapped_luns)
            out[m.lun_uuid] = m.lun_id;
        return out;
    };
    auto n1 = numbers(Load(t1));
    ASSERT_EQ(3u, n1.size());
    EXPECT_EQ(1u, n1[a]);
    EXPECT_EQ(2u, n1[b]);
    EXPECT_EQ(3u, n1[c]);
    EXPECT_EQ(1u, numbers(Load(t2))[c]);

    // The lowest free number is given again; the others keep theirs.
    ASSERT_EQ(0, target.unmapLUN({a}));
    const std::string d = CreateLun("d");
    ASSERT_EQ(0, target.mapLUN({d}));
    n1 = numbers(Load(t1));
    EXPECT_EQ(1u, n1[d]);
    EXPECT_EQ(2u, n1[b]);
    EXPECT_EQ(3u, n1[c]);

    // Targets of one LUN; the LUN knows it is mapped.
    std::vector<ISCSITargetInfo> ofC;
    ASSERT_EQ(0, ISCSILIBTarget::ListTarget(ofC, c, ISCSI::ISCSI_TARGET_LOAD_MAPPED_LUN));
    ASSERT_EQ(2u, ofC.size());
    std::vector<ISCSITargetInfo> ofA;
    ASSERT_EQ(0, ISCSILIBTarget::ListTarget(ofA, a, 0));
    EXPECT_TRUE(ofA.empty());
    ISCSILIBLUN loaded(c, false, false, false);
    ASSERT_EQ(0, loaded.loadLUNInfo(ISCSI::ISCSI_LUN_LOAD_IS_MAPPED));
    EXPECT_TRUE(loaded.is_mapped);
    ISCSILIBLUN loadedA(a, false, false, false);
    ASSERT_EQ(0, loadedA.loadLUNInfo(ISCSI::ISCSI_LUN_LOAD_IS_MAPPED));
    EXPECT_FALSE(loadedA.is_mapped);

    LibraryContext::Reset();
    n1 = numbers(Load(t1));
    EXPECT_EQ(1u, n1[d]);
    EXPECT_EQ(2u, n1[b]);
    EXPECT_EQ(3u, n1[c]);

    // Deleting a LUN drops its mappings; deleting a target drops its own.
    ISCSILIBLUN doomed(b, false, false, false);
    ASSERT_EQ(0, doomed.deleteLUN());
    EXPECT_EQ(0u, numbers(Load(t1)).count(b));
    ASSERT_EQ(0, ISCSILIBTarget(t2).deleteTarget());
    ASSERT_EQ(0, ISCSILIBTarget::ListTarget(ofC, c, 0));
    ASSERT_EQ(1u, ofC.size());
    EXPECT_EQ(t1, ofC[0].tid);
}

TEST_F(TargetConfigTest, WhitelistIsStoredAndCannotMeetAclMasks)
{
    unsigned int tid = 0;
    ASSERT_EQ(0, Create("t", "iqn.2026-01.com.example:t", &tid));
    const std::string a = CreateLun("a");
    ISCSILIBLUN lun(a, false, false, false);
    EXPECT_EQ(kInvalidAddress, lun.setWhitelist({"127.0.0.1", "host.example"}));
    ASSERT_EQ(0, lun.setWhitelist({"127.0.0.1", "0:0::1"}));
    ISCSILIBLUN loaded(a, false, false, false);
    ASSERT_EQ(0, loaded.loadLUNInfo(ISCSI::ISCSI_LUN_LOAD_WHITELIST));
    EXPECT_EQ((std::vector<std::string>{"127.0.0.1", "::1"}), loaded.whitelist);

    ISCSILIBTarget target(tid);
    ASSERT_EQ(0, target.mapLUN({a}));
    // tgtd lets in an initiator that matches an address rule or a name rule: both cannot hold.
    EXPECT_EQ(ISCSI::ISCSI_ERR_ACCESS_RULES_CONFLICT,
              target.aclMasksAdd({{"iqn.2026-01.com.example:h", ISCSI_TARGET_AUTHORITY_READ_WRITE}}));
    ASSERT_EQ(0, lun.setWhitelist({}));
    ASSERT_EQ(0, target.aclMasksAdd({{"iqn.2026-01.com.example:h", ISCSI_TARGET_AUTHORITY_READ_WRITE}}));
    EXPECT_EQ(ISCSI::ISCSI_ERR_ACCESS_RULES_CONFLICT, lun.setWhitelist({"127.0.0.1"}));
}

TEST_F(TargetConfigTest, LoadAndUnloadAreStored)
{
    const std::string a = CreateLun("a");
    ISCSILIBLUN lun(a, false, false, false);
    EXPECT_EQ(0, lun.unloadLUN(false, false));
    EXPECT_EQ(0, lun.loadLUN(false, false));
    ISCSILIBLUN missing("00000000-0000-4000-8000-000000000000", false, false, false);
    EXPECT_EQ(kNoSuchLUN, missing.loadLUN(false, false));
    EXPECT_EQ(18990520, lun.loadSnapshot("00000000-0000-4000-8000-000000000000", false, false));
}

TEST_F(TargetConfigTest, IoStatisticsWithoutTheEngineAreZero)
{
    const std::string a = CreateLun("a");
    CreateLun("b");
    Json::Value stats;
    ASSERT_EQ(0, ISCSI::ISCSILUNInfo::ListIOStat(stats, false, Json::Value(), Json::Value()));
    ASSERT_TRUE(stats.isArray());
    ASSERT_EQ(2u, stats.size());
    EXPECT_EQ(0u, stats[0]["read_bytes"].asUInt64());
    EXPECT_FALSE(stats[0]["is_served"].asBool());
    Json::Value filter;
    filter["attr"] = "name";
    filter["value"] = "a";
    ASSERT_EQ(0, ISCSI::ISCSILUNInfo::ListIOStat(stats, true, filter, Json::Value()));
    ASSERT_TRUE(stats.isObject());
    ASSERT_EQ(1u, stats.size());
    EXPECT_TRUE(stats.isMember(a));
}

TEST_F(TargetConfigTest, EventsReachTheServiceLog)
{
    unsigned int tid = 0;
    ASSERT_EQ(0, Create("logged", "iqn.2026-01.com.example:logged", &tid));
    ISCSILIBTarget target(tid);
    ASSERT_EQ(0, target.disableTarget());
    ASSERT_EQ(0, target.enableTarget());
    ASSERT_EQ(0, target.updateTarget(ISCSI::ISCSI_TARGET_UPDATE_MAX_SESSIONS, "", "", false, false, 0, 0, 3,
                                     ISCSI_AUTH_TYPE_NONE, "", "", "", ""));
    ASSERT_EQ(0, target.deleteTarget());
    // A refused change writes nothing.
    EXPECT_EQ(kInvalidIqn, Create("bad", "nope"));
    std::vector<std::string> lines;
    LibraryContext::With([&lines](LibraryContext& ctx) {
        ISCSI::Storage::Statement st(ctx.db(),
                                     "SELECT level, user, message FROM service_log ORDER BY rowid;");
        while (st.step() == SQLITE_ROW)
            lines.push_back(st.text(0) + "|" + st.text(1) + "|" + st.text(2));
        return 0;
    });
    const std::string who = "Target logged (iqn.2026-01.com.example:logged, id 1)";
    EXPECT_EQ((std::vector<std::string>{
                  "info|SYSTEM|" + who + " was created", "info|SYSTEM|" + who + " was disabled",
                  "info|SYSTEM|" + who + " was enabled", "info|SYSTEM|" + who + " was changed",
                  "info|SYSTEM|" + who + " was deleted"}),
              lines);
}

} // namespace
