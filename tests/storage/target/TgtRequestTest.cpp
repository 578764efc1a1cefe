// Request encoding and value checks of the tgtd management client; no tgtd needed.
#include "target/TgtAdmClient.h"

#include <cstring>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace ISCSI::Storage::Target;

namespace {

template <typename T> T At(const std::vector<char>& bytes, std::size_t offset)
{
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof(value));
    return value;
}

} // namespace

TEST(TgtRequestEncoding, HeaderIs120BytesWithFieldsAtTheirOffsets)
{
    TgtRequest req;
    req.mode = TgtMode::Account;
    req.op = TgtOp::Bind;
    req.tid = 7;
    req.sid = 0x1122334455667788ull;
    req.lun = 3;
    req.cid = 9;
    req.direction = AccountDirection::Outgoing;
    req.force = true;
    req.payload = "user=alice";
    std::vector<char> bytes;
    ASSERT_TRUE(EncodeTgtRequest(req, bytes).ok());

    ASSERT_EQ(bytes.size(), 120u + 10u + 1u);
    EXPECT_EQ(At<int32_t>(bytes, 0), 7); // mode account
    EXPECT_EQ(At<int32_t>(bytes, 4), 3); // op bind
    EXPECT_STREQ(bytes.data() + 8, "iscsi");
    for (std::size_t i = 8 + 5; i < 72; ++i)
        EXPECT_EQ(bytes[i], '\0') << "lld byte " << i;
    EXPECT_EQ(At<uint32_t>(bytes, 72), 131u); // len: header + payload + NUL
    EXPECT_EQ(At<int32_t>(bytes, 76), 7);
    EXPECT_EQ(At<uint64_t>(bytes, 80), 0x1122334455667788ull);
    EXPECT_EQ(At<uint64_t>(bytes, 88), 3u);
    EXPECT_EQ(At<uint32_t>(bytes, 96), 9u);
    EXPECT_EQ(At<uint32_t>(bytes, 100), 0u); // host_no
    EXPECT_EQ(At<uint32_t>(bytes, 104), 0u); // device type disk
    EXPECT_EQ(At<uint32_t>(bytes, 108), 1u); // outgoing
    EXPECT_EQ(At<uint32_t>(bytes, 112), 0u); // pack
    EXPECT_EQ(At<uint32_t>(bytes, 116), 1u); // force
    EXPECT_EQ(std::string(bytes.data() + 120), "user=alice");
    EXPECT_EQ(bytes.back(), '\0');
}

TEST(TgtRequestEncoding, EmptyPayloadStillCarriesItsNul)
{
    TgtRequest req;
    req.mode = TgtMode::System;
    req.op = TgtOp::Delete;
    std::vector<char> bytes;
    ASSERT_TRUE(EncodeTgtRequest(req, bytes).ok());
    ASSERT_EQ(bytes.size(), 121u);
    EXPECT_EQ(At<uint32_t>(bytes, 72), 121u);
    EXPECT_EQ(At<int32_t>(bytes, 76), -1); // all targets
    EXPECT_EQ(bytes[120], '\0');
}

TEST(TgtRequestEncoding, PayloadLimitCountsTheNul)
{
    TgtRequest req;
    req.payload.assign(kTgtMaxPayload - 1, 'a');
    std::vector<char> bytes;
    ASSERT_TRUE(EncodeTgtRequest(req, bytes).ok());
    EXPECT_EQ(bytes.size(), 120u + kTgtMaxPayload);
    EXPECT_EQ(At<uint32_t>(bytes, 72), 120u + kTgtMaxPayload);

    req.payload.assign(kTgtMaxPayload, 'a');
    TgtStatus status = EncodeTgtRequest(req, bytes);
    EXPECT_EQ(status.kind, TgtStatus::Kind::Refused);
}

TEST(TgtRequestEncoding, RefusesNulAndControlCharacters)
{
    TgtRequest req;
    std::vector<char> bytes;
    req.payload = std::string("targetname=a\0b", 14);
    EXPECT_EQ(EncodeTgtRequest(req, bytes).kind, TgtStatus::Kind::Refused);
    req.payload = "targetname=a\nb";
    EXPECT_EQ(EncodeTgtRequest(req, bytes).kind, TgtStatus::Kind::Refused);
    req.payload = "targetname=a\x7f";
    EXPECT_EQ(EncodeTgtRequest(req, bytes).kind, TgtStatus::Kind::Refused);
}

TEST(TgtValueChecks, IscsiNames)
{
    EXPECT_EQ(CheckIscsiName("iqn.2026-01.org.example:vol1"), "");
    EXPECT_EQ(CheckIscsiName("eui.0123456789ABCDEF"), "");
    EXPECT_NE(CheckIscsiName(""), "");
    EXPECT_NE(CheckIscsiName("iqn.2026-01.org.example:a,b"), "");
    EXPECT_NE(CheckIscsiName("iqn.2026-01.org.example:a b"), "");
    EXPECT_NE(CheckIscsiName("iqn.2026-01.org.example:a_b"), "");
    EXPECT_NE(CheckIscsiName("iqn.2026-01.org.example:a=b"), "");
    EXPECT_NE(CheckIscsiName("iqn.2026-01.org.example:\xc3\xa9"), "");
    EXPECT_EQ(CheckIscsiName(std::string(223, 'a')), "");
    EXPECT_NE(CheckIscsiName(std::string(224, 'a')), "");
}

TEST(TgtValueChecks, InitiatorAddresses)
{
    EXPECT_EQ(CheckInitiatorAddress("ALL"), "");
    EXPECT_EQ(CheckInitiatorAddress("127.0.0.1"), "");
    EXPECT_EQ(CheckInitiatorAddress("10.0.0.0/8"), "");
    // Found by fuzzing: the text after a NUL was not looked at.
    EXPECT_NE(CheckInitiatorAddress(std::string("10.0.0.0\0", 9)), "");
    EXPECT_NE(CheckInitiatorAddress(std::string("::1\0x", 5)), "");
    EXPECT_NE(CheckPortal(std::string("10.0.0.1\0:3260", 14)), "");
    EXPECT_NE(CheckPortal(std::string("[::1\0]:3260", 11)), "");
    EXPECT_EQ(CheckInitiatorAddress("::1"), "");
    EXPECT_EQ(CheckInitiatorAddress("fd00::/64"), "");
    EXPECT_NE(CheckInitiatorAddress(""), "");
    EXPECT_NE(CheckInitiatorAddress("all"), "");
    EXPECT_NE(CheckInitiatorAddress("10.0.0.0/33"), "");
    EXPECT_NE(CheckInitiatorAddress("10.0.0.0/"), "");
    EXPECT_NE(CheckInitiatorAddress("10.0.0.1,10.0.0.2"), "");
    EXPECT_NE(CheckInitiatorAddress("host.example"), "");
}

TEST(TgtValueChecks, Portals)
{
    EXPECT_EQ(CheckPortal("127.0.0.1:3260"), "");
    EXPECT_EQ(CheckPortal("[::1]:3263"), "");
    EXPECT_NE(CheckPortal("127.0.0.1"), "");
    EXPECT_NE(CheckPortal("127.0.0.1:0"), "");
    EXPECT_NE(CheckPortal("127.0.0.1:65536"), "");
    EXPECT_NE(CheckPortal("127.0.0.1:32a"), "");
    EXPECT_NE(CheckPortal("::1:3260"), "");
    EXPECT_NE(CheckPortal("[::1]"), "");
    EXPECT_NE(CheckPortal("localhost:3260"), "");
    EXPECT_NE(CheckPortal("127.0.0.1:3260,1"), "");
}

TEST(TgtValueChecks, BackingStorePaths)
{
    EXPECT_EQ(CheckBackingStorePath("/volume1/lun.img"), "");
    EXPECT_NE(CheckBackingStorePath(""), "");
    EXPECT_NE(CheckBackingStorePath("relative.img"), "");
    EXPECT_NE(CheckBackingStorePath("/a,bstype=null"), "");
    EXPECT_NE(CheckBackingStorePath("/a=b"), "");
    EXPECT_NE(CheckBackingStorePath("/a\nb"), "");
}

TEST(TgtValueChecks, ChapCredentials)
{
    EXPECT_EQ(CheckChapUser("alice"), "");
    EXPECT_NE(CheckChapUser(""), "");
    EXPECT_NE(CheckChapUser("a,b"), "");
    EXPECT_NE(CheckChapUser("a=b"), "");
    EXPECT_NE(CheckChapUser("a b"), "");
    EXPECT_EQ(CheckChapSecret("secret-1234567"), "");
    EXPECT_EQ(CheckChapSecret("with=equals and space"), "");
    EXPECT_NE(CheckChapSecret(""), "");
    EXPECT_NE(CheckChapSecret("a,b"), "");
    EXPECT_NE(CheckChapSecret(std::string(256, 'x')), "");
}

TEST(TgtLuParams, BuildsPayloadInFixedOrder)
{
    LuParams params;
    params.scsiSerial = "SN0001";
    params.scsiId = "ID0001";
    params.vendorId = "KOVA";
    params.productId = "iSCSI Storage";
    params.thinProvisioning = true;
    params.readOnly = false;
    params.online = true;
    std::string payload;
    ASSERT_TRUE(BuildLuParamsPayload(params, payload).ok());
    EXPECT_EQ(payload, "scsi_sn=SN0001,scsi_id=ID0001,vendor_id=KOVA,product_id=iSCSI Storage,"
                       "thin_provisioning=1,readonly=0,online=1");
}

TEST(TgtLuParams, RefusesCommasEqualsOverlongAndNothing)
{
    std::string payload = "unchanged";
    LuParams params;
    EXPECT_EQ(BuildLuParamsPayload(params, payload).kind, TgtStatus::Kind::Refused);

    params.scsiSerial = "SN,online=0";
    EXPECT_EQ(BuildLuParamsPayload(params, payload).kind, TgtStatus::Kind::Refused);
    params.scsiSerial = "SN=1";
    EXPECT_EQ(BuildLuParamsPayload(params, payload).kind, TgtStatus::Kind::Refused);
    params.scsiSerial = std::string(37, 'S');
    EXPECT_EQ(BuildLuParamsPayload(params, payload).kind, TgtStatus::Kind::Refused);
    params.scsiSerial = std::string(36, 'S');
    params.vendorId = "123456789";
    EXPECT_EQ(BuildLuParamsPayload(params, payload).kind, TgtStatus::Kind::Refused);
    params.vendorId = "12345678";
    params.productId = std::string(17, 'p');
    EXPECT_EQ(BuildLuParamsPayload(params, payload).kind, TgtStatus::Kind::Refused);
    EXPECT_EQ(payload, "unchanged");
    params.productId.reset();
    EXPECT_TRUE(BuildLuParamsPayload(params, payload).ok());
    EXPECT_EQ(payload, "scsi_sn=" + std::string(36, 'S') + ",vendor_id=12345678");
}

TEST(TgtShowParsing, TargetIdsFromShowText)
{
    const std::string text = "Target 1: iqn.2026-01.org.example:a\n"
                             "    System information:\n"
                             "        Driver: iscsi\n"
                             "    LUN information:\n"
                             "        LUN: 0\n"
                             "Target 12: iqn.2026-01.org.example:b\n"
                             "    ACL information:\n"
                             "        Target 3: not at column zero\n";
    EXPECT_EQ(ParseTargetIds(text), (std::vector<int>{1, 12}));
    EXPECT_TRUE(ParseTargetIds("").empty());
}

TEST(TgtErrors, TextsAndDescriptions)
{
    EXPECT_STREQ(TgtErrnoText(TgtNoTarget), "can't find the target");
    EXPECT_STREQ(TgtErrnoText(TgtTargetExists), "this target already exists");
    EXPECT_STREQ(TgtErrnoText(TgtInvalidRequest), "invalid request");
    EXPECT_STREQ(TgtErrnoText(TgtUnsupported), "this operation isn't supported");
    EXPECT_STREQ(TgtErrnoText(999), "unknown tgtd error");
    EXPECT_EQ(TgtStatus::TgtdError(4, "can't find the target").describe(),
              "tgtd error 4: can't find the target");
    EXPECT_EQ(TgtSocketPath("/run/kova/tgt/socket", 23001), "/run/kova/tgt/socket.23001");
}

TEST(TgtClientRefusals, InvalidValuesNeverReachTheSocket)
{
    // A socket path nobody listens on: a refusal must come back before any connect.
    TgtAdmClient client("/nonexistent-dir/socket.1");
    LuParams params;
    params.scsiSerial = "a,b";
    EXPECT_EQ(client.CreateTarget(1, "iqn.bad,name").kind, TgtStatus::Kind::Refused);
    EXPECT_EQ(client.CreateTarget(0, "iqn.2026-01.org.example:a").kind, TgtStatus::Kind::Refused);
    EXPECT_EQ(client.CreateLu(1, 0, "/a.img").kind, TgtStatus::Kind::Refused);
    EXPECT_EQ(client.CreateLu(1, 1, "/a,b.img").kind, TgtStatus::Kind::Refused);
    EXPECT_EQ(client.UpdateLu(1, 1, params).kind, TgtStatus::Kind::Refused);
    EXPECT_EQ(client.BindInitiatorAddress(1, "nowhere").kind, TgtStatus::Kind::Refused);
    EXPECT_EQ(client.BindInitiatorName(1, "iqn.x y").kind, TgtStatus::Kind::Refused);
    EXPECT_EQ(client.CreateAccount("u,v", "secret").kind, TgtStatus::Kind::Refused);
    EXPECT_EQ(client.CreatePortal("127.0.0.1").kind, TgtStatus::Kind::Refused);
    EXPECT_EQ(client.SetTargetState(1, "gone").kind, TgtStatus::Kind::Refused);
    // A valid request to a missing socket is a transport error, not a crash.
    TgtStatus status = client.CreateTarget(1, "iqn.2026-01.org.example:a");
    EXPECT_EQ(status.kind, TgtStatus::Kind::Transport);
    EXPECT_EQ(status.code, ENOENT);
}

TEST(TgtClientWire, SendsExactBytesAndReadsTheAnswer)
{
    // A stand-in for tgtd in a child process: checks the bytes the client writes and answers
    // an error with a body.
    char dir[] = "/tmp/kova-tgtwire-XXXXXX";
    ASSERT_NE(::mkdtemp(dir), nullptr);
    std::string path = std::string(dir) + "/socket.1";
    int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(listener, 0);
    struct sockaddr_un addr;
    std::memset(&addr, 0, sizeof(addr));
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof(addr.sun_path) - 1);
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)), 0);
    ASSERT_EQ(::listen(listener, 1), 0);

    std::vector<char> want;
    TgtRequest expected;
    expected.mode = TgtMode::Target;
    expected.op = TgtOp::New;
    expected.tid = 5;
    expected.payload = "targetname=iqn.2026-01.org.example:w";
    ASSERT_TRUE(EncodeTgtRequest(expected, want).ok());

    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::alarm(10); // bounds the stand-in should the client never connect
        int conn = ::accept(listener, nullptr, nullptr);
        std::vector<char> got(want.size());
        std::size_t have = 0;
        while (have < got.size()) {
            ssize_t n = ::read(conn, got.data() + have, got.size() - have);
            if (n <= 0)
                break;
            have += static_cast<std::size_t>(n);
        }
        bool same = have == want.size() && std::memcmp(got.data(), want.data(), have) == 0;
        const char body[] = "already there";
        TgtAdmWireResponse rsp{same ? 9u : 1u, static_cast<uint32_t>(sizeof(rsp) + sizeof(body))};
        ssize_t w1 = ::write(conn, &rsp, sizeof(rsp));
        ssize_t w2 = ::write(conn, body, sizeof(body));
        ::close(conn);
        ::_exit(w1 == sizeof(rsp) && w2 == sizeof(body) ? 0 : 1);
    }
    TgtAdmClient client(path, std::chrono::milliseconds(5000));
    TgtStatus status = client.CreateTarget(5, "iqn.2026-01.org.example:w");
    int wstatus = 0;
    ::waitpid(child, &wstatus, 0);
    ::close(listener);
    ::unlink(path.c_str());
    ::rmdir(dir);
    EXPECT_EQ(status.kind, TgtStatus::Kind::Tgtd);
    EXPECT_EQ(status.code, TgtTargetExists) << status.describe();
    EXPECT_EQ(status.message, "this target already exists (already there)");
}
