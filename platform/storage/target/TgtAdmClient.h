// A client of tgtd's management socket: the calls the target engine makes to configure
// targets, logical units, access rules, CHAP accounts and portals, without running tgtadm.
//
// Each call opens one AF_UNIX stream connection to tgtd's control socket, writes a 120-byte
// request header followed by a NUL-terminated "key=value,..." payload, and reads the answer:
// an 8-byte {err, len} header and a text body. tgtd closes the connection after answering.
// tgtd does not defend itself against malformed requests, so every value is checked here
// before a byte is sent.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ISCSI {
namespace Storage {
namespace Target {

// What a request addresses (tgtadm --mode).
enum class TgtMode : int32_t {
    System = 0,
    Target = 1,
    Lu = 2,
    Portal = 3,
    Lld = 4,
    Session = 5,
    Conn = 6,
    Account = 7,
};

// What a request does (tgtadm --op).
enum class TgtOp : int32_t {
    New = 0,
    Delete = 1,
    Show = 2,
    Bind = 3,
    Unbind = 4,
    Update = 5,
    Stat = 6,
    Start = 7,
    Stop = 8,
};

// The direction of a CHAP account bound to a target: incoming accounts authenticate the
// initiator, the outgoing one authenticates the target to the initiator (mutual CHAP).
enum class AccountDirection : uint32_t {
    Incoming = 0,
    Outgoing = 1,
};

// The wire image of tgtd's request header, in native byte order.
struct TgtAdmWireRequest {
    int32_t mode;
    int32_t op;
    char lld[64];
    uint32_t len; // header plus payload, including the payload's trailing NUL
    int32_t tid;
    uint64_t sid;
    uint64_t lun;
    uint32_t cid;
    uint32_t host_no;
    uint32_t device_type;
    uint32_t ac_dir;
    uint32_t pack;
    uint32_t force;
};
static_assert(sizeof(TgtAdmWireRequest) == 120, "tgtd's request header is 120 bytes");

// The wire image of tgtd's answer header; len counts the header and the text body.
struct TgtAdmWireResponse {
    uint32_t err;
    uint32_t len;
};
static_assert(sizeof(TgtAdmWireResponse) == 8, "tgtd's answer header is 8 bytes");

// The largest payload tgtd accepts, counting the trailing NUL.
constexpr std::size_t kTgtMaxPayload = 8192;
// The tid tgtd uses for the global (discovery) CHAP accounts.
constexpr int32_t kTgtGlobalTid = -1;
// The tid meaning "every target" in show and stat requests.
constexpr int32_t kTgtAllTids = -1;

// tgtd's error codes, as answered in TgtAdmWireResponse::err.
enum TgtErrno : int {
    TgtSuccess = 0,
    TgtUnknownError = 1,
    TgtNoMemory = 2,
    TgtNoDriver = 3,
    TgtNoTarget = 4,
    TgtNoLun = 5,
    TgtNoSession = 6,
    TgtNoConnection = 7,
    TgtNoBinding = 8,
    TgtTargetExists = 9,
    TgtBindingExists = 10,
    TgtLunExists = 11,
    TgtAclExists = 12,
    TgtAclMissing = 13,
    TgtUserExists = 14,
    TgtNoUser = 15,
    TgtTooManyUsers = 16,
    TgtInvalidRequest = 17,
    TgtOutgoingAccountExists = 18,
    TgtTargetActive = 19,
    TgtLunActive = 20,
    TgtDriverActive = 21,
    TgtUnsupported = 22,
    TgtUnknownParam = 23,
    TgtPreventRemoval = 24,
};

// tgtd's own text for one of its error codes ("can't find the target").
const char* TgtErrnoText(int err);

// The outcome of a call. Refused: the request was invalid and never reached tgtd.
// Transport: the socket could not be reached or the answer was cut short. Tgtd: tgtd answered
// with a non-zero error code (code) and text (message).
struct TgtStatus {
    enum class Kind { Ok, Refused, Transport, Tgtd };
    Kind kind = Kind::Ok;
    int code = 0; // tgtd's err for Kind::Tgtd, errno for Kind::Transport, 0 otherwise
    std::string message;

    bool ok() const { return kind == Kind::Ok; }
    explicit operator bool() const { return ok(); }
    // "tgtd error 4: can't find the target", "refused: ...", "transport: ..."
    std::string describe() const;

    static TgtStatus Ok() { return {}; }
    static TgtStatus Refuse(std::string why) { return {Kind::Refused, 0, std::move(why)}; }
    static TgtStatus TransportError(int err, std::string why)
    {
        return {Kind::Transport, err, std::move(why)};
    }
    static TgtStatus TgtdError(int err, std::string text) { return {Kind::Tgtd, err, std::move(text)}; }
};

// One request before encoding. payload is the text without its NUL.
struct TgtRequest {
    TgtMode mode = TgtMode::System;
    TgtOp op = TgtOp::Show;
    int32_t tid = kTgtAllTids;
    uint64_t sid = 0;
    uint64_t lun = 0;
    uint32_t cid = 0;
    AccountDirection direction = AccountDirection::Incoming;
    bool force = false;
    std::string payload;
};

// Encodes a request as the bytes tgtd reads: the header (lld "iscsi", len = 120 + payload + 1)
// followed by the payload and its NUL. Refuses a payload holding a NUL or a control character,
// or one longer than kTgtMaxPayload with its NUL.
TgtStatus EncodeTgtRequest(const TgtRequest& request, std::vector<char>& out);

// Value checks, applied by the typed calls before anything reaches tgtd. Each returns an
// empty string when the value is acceptable and the reason otherwise.
//
// Target and initiator names: non-empty, at most 223 characters of [A-Za-z0-9:.-].
std::string CheckIscsiName(const std::string& name);
// An initiator address rule: "ALL", or an IPv4 or IPv6 address with an optional /prefix.
std::string CheckInitiatorAddress(const std::string& address);
// A portal: "a.b.c.d:port" or "[v6]:port" with a port in 1..65535.
std::string CheckPortal(const std::string& portal);
// A backing-store path: absolute, at most 4095 characters, no comma, '=' or control character.
std::string CheckBackingStorePath(const std::string& path);
// A CHAP user name: non-empty, at most 255 characters, no comma, '=', space or control character.
std::string CheckChapUser(const std::string& user);
// A CHAP secret: 1..255 printable characters, no comma.
std::string CheckChapSecret(const std::string& secret);
// An LU parameter value: printable, no comma or '=', at most maxLen characters.
std::string CheckParamValue(const std::string& key, const std::string& value, std::size_t maxLen);

// Parameters of a logical unit that tgtd lets us change after it is created. Unset fields are
// left as they are. Limits follow what tgtd keeps (it would truncate silently): vendor 8,
// product 16, serial and device id 36 characters.
struct LuParams {
    std::optional<std::string> scsiSerial; // scsi_sn
    std::optional<std::string> scsiId;     // scsi_id
    std::optional<std::string> vendorId;   // vendor_id
    std::optional<std::string> productId;  // product_id
    std::optional<bool> thinProvisioning;  // thin_provisioning
    std::optional<bool> readOnly;          // readonly
    std::optional<bool> online;            // online
};

// Builds the "key=value,..." payload of an LU update, or refuses it.
TgtStatus BuildLuParamsPayload(const LuParams& params, std::string& payload);

// The target ids listed in the text of a "target show" answer ("Target 3: iqn...").
std::vector<int> ParseTargetIds(const std::string& showText);

// The control socket's path for a base path ($TGT_IPC_SOCKET) and a control port.
std::string TgtSocketPath(const std::string& basePath, int controlPort);

class TgtAdmClient {
public:
    // socketPath is the full path of the control socket (TgtSocketPath(base, port)).
    explicit TgtAdmClient(std::string socketPath,
                          std::chrono::milliseconds ioTimeout = std::chrono::milliseconds(10000));

    const std::string& socketPath() const { return socketPath_; }

    // Sends one request and reads tgtd's answer; body receives the answer's text (empty when
    // there is none). The low-level entry every typed call goes through.
    TgtStatus Execute(const TgtRequest& request, std::string* body = nullptr) const;

    // Targets.
    TgtStatus CreateTarget(int tid, const std::string& targetName) const;
    TgtStatus DeleteTarget(int tid, bool force = false) const;
    // state is "ready" or "offline": offline refuses new logins.
    TgtStatus SetTargetState(int tid, const std::string& state) const;
    // An iSCSI login parameter of the target (HeaderDigest "None"/"CRC32C", DataDigest,
    // MaxRecvDataSegmentLength, MaxXmitDataSegmentLength, MaxBurstLength, FirstBurstLength).
    TgtStatus SetTargetParam(int tid, const std::string& name, const std::string& value) const;

    // Logical units (bstype rdwr). LUN 0 is tgtd's controller and is refused.
    TgtStatus CreateLu(int tid, uint64_t lun, const std::string& backingStore) const;
    TgtStatus DeleteLu(int tid, uint64_t lun) const;
    TgtStatus UpdateLu(int tid, uint64_t lun, const LuParams& params) const;

    // Access rules: an initiator is let in when any address or name rule matches.
    TgtStatus BindInitiatorAddress(int tid, const std::string& address) const;
    TgtStatus UnbindInitiatorAddress(int tid, const std::string& address) const;
    TgtStatus BindInitiatorName(int tid, const std::string& name) const;
    TgtStatus UnbindInitiatorName(int tid, const std::string& name) const;

    // CHAP accounts. tid kTgtGlobalTid binds a discovery account.
    TgtStatus CreateAccount(const std::string& user, const std::string& secret) const;
    TgtStatus DeleteAccount(const std::string& user) const;
    TgtStatus BindAccount(int tid, const std::string& user, AccountDirection direction) const;
    TgtStatus UnbindAccount(int tid, const std::string& user, AccountDirection direction) const;

    // Portals ("127.0.0.1:3260", "[::1]:3260").
    TgtStatus CreatePortal(const std::string& portal) const;
    TgtStatus DeletePortal(const std::string& portal) const;
    TgtStatus ShowPortals(std::string& text) const;

    // Text listings: every target with its LUs, ACLs and accounts; the system; statistics.
    TgtStatus ShowTargets(std::string& text) const;
    TgtStatus ShowSystem(std::string& text) const;
    TgtStatus SystemStat(std::string& text) const;
    TgtStatus TargetStat(int tid, std::string& text) const;
    TgtStatus LuStat(int tid, uint64_t lun, std::string& text) const;

    // Asks tgtd to exit once it has no target left.
    TgtStatus DeleteSystem() const;

private:
    TgtStatus TargetBind(TgtOp op, int tid, const std::string& key, const std::string& value) const;
    TgtStatus AccountBind(TgtOp op, int tid, const std::string& user, AccountDirection direction) const;

    std::string socketPath_;
    std::chrono::milliseconds ioTimeout_;
};

} // namespace Target
} // namespace Storage
} // namespace ISCSI
