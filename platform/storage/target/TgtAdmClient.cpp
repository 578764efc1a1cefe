// tgtd's management socket protocol: request encoding, value checks and the typed calls.
#include "target/TgtAdmClient.h"

#include "util/Fd.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <utility>

namespace ISCSI {
namespace Storage {
namespace Target {

static_assert(offsetof(TgtAdmWireRequest, mode) == 0, "mode at 0");
static_assert(offsetof(TgtAdmWireRequest, op) == 4, "op at 4");
static_assert(offsetof(TgtAdmWireRequest, lld) == 8, "lld at 8");
static_assert(offsetof(TgtAdmWireRequest, len) == 72, "len at 72");
static_assert(offsetof(TgtAdmWireRequest, tid) == 76, "tid at 76");
static_assert(offsetof(TgtAdmWireRequest, sid) == 80, "sid at 80");
static_assert(offsetof(TgtAdmWireRequest, lun) == 88, "lun at 88");
static_assert(offsetof(TgtAdmWireRequest, cid) == 96, "cid at 96");
static_assert(offsetof(TgtAdmWireRequest, host_no) == 100, "host_no at 100");
static_assert(offsetof(TgtAdmWireRequest, device_type) == 104, "device_type at 104");
static_assert(offsetof(TgtAdmWireRequest, ac_dir) == 108, "ac_dir at 108");
static_assert(offsetof(TgtAdmWireRequest, pack) == 112, "pack at 112");
static_assert(offsetof(TgtAdmWireRequest, force) == 116, "force at 116");

namespace {

// The largest answer body read from tgtd; a full "target show" of many targets stays far below.
constexpr std::size_t kMaxAnswerBody = 64u * 1024u * 1024u;
constexpr std::size_t kMaxIscsiName = 223;

bool IsControl(unsigned char c)
{
    return c < 0x20 || c == 0x7f;
}

bool IsNameChar(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == ':' ||
           c == '.' || c == '-';
}

bool AllDigits(const std::string& s)
{
    if (s.empty())
        return false;
    for (char c : s)
        if (c < '0' || c > '9')
            return false;
    return true;
}

std::string CheckPort(const std::string& port)
{
    if (!AllDigits(port) || port.size() > 5)
        return "port '" + port + "' is not a number";
    unsigned long value = std::stoul(port);
    if (value < 1 || value > 65535)
        return "port " + port + " is out of range 1..65535";
    return {};
}

TgtStatus CheckTid(int tid)
{
    if (tid < 1)
        return TgtStatus::Refuse("target id " + std::to_string(tid) + " must be at least 1");
    return TgtStatus::Ok();
}

// Reads or writes exactly n bytes, going on after signals; false with errno set on failure,
// with errno 0 when the peer closed the connection first.
bool WriteAll(int fd, const char* data, std::size_t n)
{
    while (n > 0) {
        ssize_t done = ::send(fd, data, n, MSG_NOSIGNAL);
        if (done < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += done;
        n -= static_cast<std::size_t>(done);
    }
    return true;
}

bool ReadAll(int fd, char* data, std::size_t n)
{
    while (n > 0) {
        ssize_t done = ::recv(fd, data, n, 0);
        if (done < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        if (done == 0) {
            errno = 0;
            return false;
        }
        data += done;
        n -= static_cast<std::size_t>(done);
    }
    return true;
}

std::string ErrnoText(const std::string& what, int err)
{
    if (err == 0)
        return what + ": connection closed by tgtd";
    if (err == EAGAIN || err == EWOULDBLOCK)
        return what + ": timed out";
    return what + ": " + std::strerror(err);
}

// A request of mode and op; tid, lun and payload as given (every tid when none is).
TgtRequest Request(TgtMode mode, TgtOp op, std::int32_t tid = kTgtAllTids, std::uint64_t lun = 0,
                   std::string payload = {})
{
    TgtRequest req;
    req.mode = mode;
    req.op = op;
    req.tid = tid;
    req.lun = lun;
    req.payload = std::move(payload);
    return req;
}

} // namespace

const char* TgtErrnoText(int err)
{
    switch (err) {
    case TgtSuccess:
        return "success";
    case TgtUnknownError:
        return "unknown error";
    case TgtNoMemory:
        return "out of memory";
    case TgtNoDriver:
        return "can't find the driver";
    case TgtNoTarget:
        return "can't find the target";
    case TgtNoLun:
        return "can't find the logical unit";
    case TgtNoSession:
        return "can't find the session";
    case TgtNoConnection:
        return "can't find the connection";
    case TgtNoBinding:
        return "can't find the binding";
    case TgtTargetExists:
        return "this target already exists";
    case TgtBindingExists:
        return "this binding already exists";
    case TgtLunExists:
        return "this logical unit number already exists";
    case TgtAclExists:
        return "this access control rule already exists";
    case TgtAclMissing:
        return "this access control rule does not exist";
    case TgtUserExists:
        return "this account already exists";
    case TgtNoUser:
        return "can't find the account";
    case TgtTooManyUsers:
        return "too many accounts";
    case TgtInvalidRequest:
        return "invalid request";
    case TgtOutgoingAccountExists:
        return "this target already has an outgoing account";
    case TgtTargetActive:
        return "this target is still active";
    case TgtLunActive:
        return "this logical unit is still active";
    case TgtDriverActive:
        return "this driver is busy";
    case TgtUnsupported:
        return "this operation isn't supported";
    case TgtUnknownParam:
        return "unknown parameter";
    case TgtPreventRemoval:
        return "this device has Prevent Removal set";
    default:
        return "unknown tgtd error";
    }
}

std::string TgtStatus::describe() const
{
    switch (kind) {
    case Kind::Ok:
        return "ok";
    case Kind::Refused:
        return "refused: " + message;
    case Kind::Transport:
        return "transport: " + message;
    case Kind::Tgtd:
        return "tgtd error " + std::to_string(code) + ": " + message;
    }
    return message;
}

TgtStatus EncodeTgtRequest(const TgtRequest& request, std::vector<char>& out)
{
    const std::string& payload = request.payload;
    if (payload.size() + 1 > kTgtMaxPayload)
        return TgtStatus::Refuse("payload of " + std::to_string(payload.size()) + " bytes exceeds " +
                                 std::to_string(kTgtMaxPayload - 1));
    for (char c : payload)
        if (IsControl(static_cast<unsigned char>(c)))
            return TgtStatus::Refuse("payload holds a NUL or control character");

    TgtAdmWireRequest header;
    std::memset(&header, 0, sizeof(header));
    header.mode = static_cast<int32_t>(request.mode);
    header.op = static_cast<int32_t>(request.op);
    std::memcpy(header.lld, "iscsi", 5);
    header.len = static_cast<uint32_t>(sizeof(header) + payload.size() + 1);
    header.tid = request.tid;
    header.sid = request.sid;
    header.lun = request.lun;
    header.cid = request.cid;
    header.host_no = 0;
    header.device_type = 0; // disk
    header.ac_dir = static_cast<uint32_t>(request.direction);
    header.pack = 0;
    header.force = request.force ? 1 : 0;

    out.resize(header.len);
    std::memcpy(out.data(), &header, sizeof(header));
    std::memcpy(out.data() + sizeof(header), payload.data(), payload.size());
    out[sizeof(header) + payload.size()] = '\0';
    return TgtStatus::Ok();
}

std::string CheckIscsiName(const std::string& name)
{
    if (name.empty())
        return "name is empty";
    if (name.size() > kMaxIscsiName)
        return "name is longer than " + std::to_string(kMaxIscsiName) + " characters";
    for (char c : name)
        if (!IsNameChar(c))
            return "name '" + name + "' holds a character outside [A-Za-z0-9:.-]";
    return {};
}

namespace {

// inet_pton of the whole text: a text holding a NUL is no address (inet_pton would read only
// up to the NUL, and the rest would reach tgtd unchecked).
bool IsAddress(int family, const std::string& text, void* buf)
{
    return text.find('\0') == std::string::npos && ::inet_pton(family, text.c_str(), buf) == 1;
}

} // namespace

std::string CheckInitiatorAddress(const std::string& address)
{
    if (address == "ALL")
        return {};
    std::string host = address;
    std::string prefix;
    std::size_t slash = address.find('/');
    if (slash != std::string::npos) {
        host = address.substr(0, slash);
        prefix = address.substr(slash + 1);
    }
    unsigned char buf[sizeof(struct in6_addr)];
    int maxPrefix = 0;
    if (IsAddress(AF_INET, host, buf))
        maxPrefix = 32;
    else if (IsAddress(AF_INET6, host, buf))
        maxPrefix = 128;
    else
        return "initiator address '" + address + "' is not ALL, an IPv4 or an IPv6 address";
    if (slash != std::string::npos) {
        if (!AllDigits(prefix) || prefix.size() > 3 || std::stoi(prefix) > maxPrefix)
            return "initiator address '" + address + "' has an invalid prefix length";
    }
    return {};
}

std::string CheckPortal(const std::string& portal)
{
    std::string host;
    std::string port;
    unsigned char buf[sizeof(struct in6_addr)];
    if (!portal.empty() && portal[0] == '[') {
        std::size_t close = portal.find(']');
        if (close == std::string::npos || close + 1 >= portal.size() || portal[close + 1] != ':')
            return "portal '" + portal + "' is not [address]:port";
        host = portal.substr(1, close - 1);
        port = portal.substr(close + 2);
        if (!IsAddress(AF_INET6, host, buf))
            return "portal '" + portal + "' does not hold an IPv6 address";
    } else {
        std::size_t colon = portal.rfind(':');
        if (colon == std::string::npos)
            return "portal '" + portal + "' is not address:port";
        host = portal.substr(0, colon);
        port = portal.substr(colon + 1);
        if (!IsAddress(AF_INET, host, buf))
            return "portal '" + portal + "' does not hold an IPv4 address";
    }
    std::string why = CheckPort(port);
    if (!why.empty())
        return "portal '" + portal + "': " + why;
    return {};
}

// The reason a text is refused in a tgtd payload: empty, longer than maxLen, holding one of
// the characters of forbidden (named in forbiddenText), or a control character; empty when it
// is fine. A secret (showValue false) never appears in the reason.
std::string CheckPayloadText(const std::string& what, const std::string& value, std::size_t maxLen,
                             const char* forbidden, const char* forbiddenText, bool showValue = true)
{
    if (value.empty())
        return what + " is empty";
    if (value.size() > maxLen)
        return what + " is longer than " + std::to_string(maxLen) + " characters";
    for (char c : value) {
        if (c != '\0' && std::strchr(forbidden, c) != nullptr)
            return what + (showValue ? " '" + value + "'" : std::string()) + " holds " + forbiddenText;
        if (IsControl(static_cast<unsigned char>(c)))
            return what + " holds a control character";
    }
    return {};
}

std::string CheckBackingStorePath(const std::string& path)
{
    if (path.empty() || path[0] != '/')
        return "backing store '" + path + "' is not an absolute path";
    return CheckPayloadText("backing store path", path, 4095, ",=", "a comma or '='");
}

std::string CheckChapUser(const std::string& user)
{
    return CheckPayloadText("CHAP user", user, 255, ",= ", "a comma, '=' or space");
}

std::string CheckChapSecret(const std::string& secret)
{
    return CheckPayloadText("CHAP secret", secret, 255, ",", "a comma", false);
}

std::string CheckParamValue(const std::string& key, const std::string& value, std::size_t maxLen)
{
    return CheckPayloadText(key, value, maxLen, ",=", "a comma or '='");
}

TgtStatus BuildLuParamsPayload(const LuParams& params, std::string& payload)
{
    std::string text;
    auto add = [&text](const std::string& key, const std::string& value) {
        if (!text.empty())
            text += ',';
        text += key + '=' + value;
    };
    struct Field {
        const char* key;
        const std::optional<std::string>& value;
        std::size_t maxLen;
    };
    const Field fields[] = {{"scsi_sn", params.scsiSerial, 36},
                            {"scsi_id", params.scsiId, 36},
                            {"vendor_id", params.vendorId, 8},
                            {"product_id", params.productId, 16}};
    for (const Field& field : fields) {
        if (!field.value)
            continue;
        std::string why = CheckParamValue(field.key, *field.value, field.maxLen);
        if (!why.empty())
            return TgtStatus::Refuse(why);
        add(field.key, *field.value);
    }
    if (params.thinProvisioning)
        add("thin_provisioning", *params.thinProvisioning ? "1" : "0");
    if (params.readOnly)
        add("readonly", *params.readOnly ? "1" : "0");
    if (params.online)
        add("online", *params.online ? "1" : "0");
    if (text.empty())
        return TgtStatus::Refuse("no LU parameter to update");
    payload = text;
    return TgtStatus::Ok();
}

std::vector<int> ParseTargetIds(const std::string& showText)
{
    std::vector<int> ids;
    std::size_t pos = 0;
    while (pos < showText.size()) {
        std::size_t end = showText.find('\n', pos);
        if (end == std::string::npos)
            end = showText.size();
        std::string line = showText.substr(pos, end - pos);
        pos = end + 1;
        // Targets start at column 0 as "Target <tid>: <name>"; nested lines are indented.
        static const std::string prefix = "Target ";
        if (line.compare(0, prefix.size(), prefix) != 0)
            continue;
        std::size_t colon = line.find(':', prefix.size());
        if (colon == std::string::npos)
            continue;
        std::string number = line.substr(prefix.size(), colon - prefix.size());
        if (!AllDigits(number) || number.size() > 9)
            continue;
        ids.push_back(std::stoi(number));
    }
    return ids;
}

std::string TgtSocketPath(const std::string& basePath, int controlPort)
{
    return basePath + "." + std::to_string(controlPort);
}

TgtAdmClient::TgtAdmClient(std::string socketPath, std::chrono::milliseconds ioTimeout)
    : socketPath_(std::move(socketPath)), ioTimeout_(ioTimeout)
{}

TgtStatus TgtAdmClient::Execute(const TgtRequest& request, std::string* body) const
{
    if (body)
        body->clear();
    std::vector<char> bytes;
    TgtStatus status = EncodeTgtRequest(request, bytes);
    if (!status)
        return status;

    struct sockaddr_un addr;
    std::memset(&addr, 0, sizeof(addr));
    addr.sun_family = AF_UNIX;
    if (socketPath_.empty() || socketPath_.size() >= sizeof(addr.sun_path))
        return TgtStatus::Refuse("control socket path '" + socketPath_ + "' is empty or too long");
    std::memcpy(addr.sun_path, socketPath_.c_str(), socketPath_.size());

    Fd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd.valid())
        return TgtStatus::TransportError(errno, ErrnoText("socket", errno));
    struct timeval tv;
    long long ms = ioTimeout_.count() > 0 ? ioTimeout_.count() : 1;
    tv.tv_sec = static_cast<time_t>(ms / 1000);
    tv.tv_usec = static_cast<suseconds_t>((ms % 1000) * 1000);
    ::setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof(tv));
    ::setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof(tv));

    if (::connect(fd.get(), reinterpret_cast<struct sockaddr*>(&addr), sizeof(addr)) != 0) {
        int err = errno;
        return TgtStatus::TransportError(err, ErrnoText("connect to " + socketPath_, err));
    }
    if (!WriteAll(fd.get(), bytes.data(), bytes.size())) {
        int err = errno;
        return TgtStatus::TransportError(err, ErrnoText("send request", err));
    }

    TgtAdmWireResponse rsp;
    if (!ReadAll(fd.get(), reinterpret_cast<char*>(&rsp), sizeof(rsp))) {
        int err = errno;
        return TgtStatus::TransportError(err, ErrnoText("read answer header", err));
    }
    std::string text;
    if (rsp.len > sizeof(rsp)) {
        std::size_t n = rsp.len - sizeof(rsp);
        if (n > kMaxAnswerBody)
            return TgtStatus::TransportError(EMSGSIZE,
                                             "answer of " + std::to_string(n) + " bytes is too large");
        text.resize(n);
        if (!ReadAll(fd.get(), &text[0], n)) {
            int err = errno;
            return TgtStatus::TransportError(err, ErrnoText("read answer body", err));
        }
        // The body is NUL-terminated text.
        std::size_t nul = text.find('\0');
        if (nul != std::string::npos)
            text.resize(nul);
    }
    if (rsp.err != 0) {
        std::string message = TgtErrnoText(static_cast<int>(rsp.err));
        if (!text.empty())
            message += " (" + text + ")";
        return TgtStatus::TgtdError(static_cast<int>(rsp.err), message);
    }
    if (body)
        *body = std::move(text);
    return TgtStatus::Ok();
}

TgtStatus TgtAdmClient::CreateTarget(int tid, const std::string& targetName) const
{
    TgtStatus status = CheckTid(tid);
    if (!status)
        return status;
    std::string why = CheckIscsiName(targetName);
    if (!why.empty())
        return TgtStatus::Refuse("target " + why);
    return Execute(Request(TgtMode::Target, TgtOp::New, tid, 0, "targetname=" + targetName));
}

TgtStatus TgtAdmClient::DeleteTarget(int tid, bool force) const
{
    TgtStatus status = CheckTid(tid);
    if (!status)
        return status;
    TgtRequest req = Request(TgtMode::Target, TgtOp::Delete, tid);
    req.force = force;
    return Execute(req);
}

TgtStatus TgtAdmClient::SetTargetState(int tid, const std::string& state) const
{
    TgtStatus status = CheckTid(tid);
    if (!status)
        return status;
    if (state != "ready" && state != "offline")
        return TgtStatus::Refuse("target state '" + state + "' is not ready or offline");
    return Execute(Request(TgtMode::Target, TgtOp::Update, tid, 0, "state=" + state));
}

TgtStatus TgtAdmClient::SetTargetParam(int tid, const std::string& name, const std::string& value) const
{
    TgtStatus status = CheckTid(tid);
    if (!status)
        return status;
    static const char* const kKnown[] = {
        "HeaderDigest",   "DataDigest",      "MaxRecvDataSegmentLength", "MaxXmitDataSegmentLength",
        "MaxBurstLength", "FirstBurstLength"};
    bool known = false;
    for (const char* k : kKnown)
        known = known || name == k;
    if (!known)
        return TgtStatus::Refuse("target parameter '" + name + "' is not one the engine sets");
    const std::string why = CheckParamValue(name, value, 64);
    if (!why.empty())
        return TgtStatus::Refuse(why);
    return Execute(Request(TgtMode::Target, TgtOp::Update, tid, 0, name + "=" + value));
}

TgtStatus TgtAdmClient::CreateLu(int tid, uint64_t lun, const std::string& backingStore) const
{
    TgtStatus status = CheckTid(tid);
    if (!status)
        return status;
    if (lun == 0)
        return TgtStatus::Refuse("LUN 0 is tgtd's controller");
    if (lun > 16383)
        return TgtStatus::Refuse("LUN " + std::to_string(lun) + " is above 16383");
    std::string why = CheckBackingStorePath(backingStore);
    if (!why.empty())
        return TgtStatus::Refuse(why);
    return Execute(Request(TgtMode::Lu, TgtOp::New, tid, lun, "path=" + backingStore + ",bstype=rdwr"));
}

TgtStatus TgtAdmClient::DeleteLu(int tid, uint64_t lun) const
{
    TgtStatus status = CheckTid(tid);
    if (!status)
        return status;
    if (lun == 0)
        return TgtStatus::Refuse("LUN 0 is tgtd's controller and cannot be deleted");
    return Execute(Request(TgtMode::Lu, TgtOp::Delete, tid, lun));
}

TgtStatus TgtAdmClient::UpdateLu(int tid, uint64_t lun, const LuParams& params) const
{
    TgtStatus status = CheckTid(tid);
    if (!status)
        return status;
    TgtRequest req = Request(TgtMode::Lu, TgtOp::Update, tid, lun);
    status = BuildLuParamsPayload(params, req.payload);
    if (!status)
        return status;
    return Execute(req);
}

TgtStatus TgtAdmClient::TargetBind(TgtOp op, int tid, const std::string& key, const std::string& value) const
{
    TgtStatus status = CheckTid(tid);
    if (!status)
        return status;
    return Execute(Request(TgtMode::Target, op, tid, 0, key + "=" + value));
}

TgtStatus TgtAdmClient::BindInitiatorAddress(int tid, const std::string& address) const
{
    std::string why = CheckInitiatorAddress(address);
    if (!why.empty())
        return TgtStatus::Refuse(why);
    return TargetBind(TgtOp::Bind, tid, "initiator-address", address);
}

TgtStatus TgtAdmClient::UnbindInitiatorAddress(int tid, const std::string& address) const
{
    std::string why = CheckInitiatorAddress(address);
    if (!why.empty())
        return TgtStatus::Refuse(why);
    return TargetBind(TgtOp::Unbind, tid, "initiator-address", address);
}

TgtStatus TgtAdmClient::BindInitiatorName(int tid, const std::string& name) const
{
    std::string why = CheckIscsiName(name);
    if (!why.empty())
        return TgtStatus::Refuse("initiator " + why);
    return TargetBind(TgtOp::Bind, tid, "initiator-name", name);
}

TgtStatus TgtAdmClient::UnbindInitiatorName(int tid, const std::string& name) const
{
    std::string why = CheckIscsiName(name);
    if (!why.empty())
        return TgtStatus::Refuse("initiator " + why);
    return TargetBind(TgtOp::Unbind, tid, "initiator-name", name);
}

TgtStatus TgtAdmClient::CreateAccount(const std::string& user, const std::string& secret) const
{
    std::string why = CheckChapUser(user);
    if (why.empty())
        why = CheckChapSecret(secret);
    if (!why.empty())
        return TgtStatus::Refuse(why);
    // tgtd takes everything after "password=" as the secret, so it comes last.
    return Execute(
        Request(TgtMode::Account, TgtOp::New, kTgtAllTids, 0, "user=" + user + ",password=" + secret));
}

TgtStatus TgtAdmClient::DeleteAccount(const std::string& user) const
{
    std::string why = CheckChapUser(user);
    if (!why.empty())
        return TgtStatus::Refuse(why);
    return Execute(Request(TgtMode::Account, TgtOp::Delete, kTgtAllTids, 0, "user=" + user));
}

TgtStatus TgtAdmClient::AccountBind(TgtOp op, int tid, const std::string& user,
                                    AccountDirection direction) const
{
    if (tid != kTgtGlobalTid) {
        TgtStatus status = CheckTid(tid);
        if (!status)
            return status;
    }
    std::string why = CheckChapUser(user);
    if (!why.empty())
        return TgtStatus::Refuse(why);
    TgtRequest req = Request(TgtMode::Account, op, tid, 0, "user=" + user);
    req.direction = direction;
    return Execute(req);
}

TgtStatus TgtAdmClient::BindAccount(int tid, const std::string& user, AccountDirection direction) const
{
    return AccountBind(TgtOp::Bind, tid, user, direction);
}

TgtStatus TgtAdmClient::UnbindAccount(int tid, const std::string& user, AccountDirection direction) const
{
    return AccountBind(TgtOp::Unbind, tid, user, direction);
}

TgtStatus TgtAdmClient::CreatePortal(const std::string& portal) const
{
    std::string why = CheckPortal(portal);
    if (!why.empty())
        return TgtStatus::Refuse(why);
    return Execute(Request(TgtMode::Portal, TgtOp::New, kTgtAllTids, 0, "portal=" + portal));
}

TgtStatus TgtAdmClient::DeletePortal(const std::string& portal) const
{
    std::string why = CheckPortal(portal);
    if (!why.empty())
        return TgtStatus::Refuse(why);
    return Execute(Request(TgtMode::Portal, TgtOp::Delete, kTgtAllTids, 0, "portal=" + portal));
}

TgtStatus TgtAdmClient::ShowPortals(std::string& text) const
{
    return Execute(Request(TgtMode::Portal, TgtOp::Show), &text);
}

TgtStatus TgtAdmClient::ShowTargets(std::string& text) const
{
    return Execute(Request(TgtMode::Target, TgtOp::Show, kTgtAllTids), &text);
}

TgtStatus TgtAdmClient::ShowSystem(std::string& text) const
{
    return Execute(Request(TgtMode::System, TgtOp::Show), &text);
}

TgtStatus TgtAdmClient::SystemStat(std::string& text) const
{
    return Execute(Request(TgtMode::System, TgtOp::Stat), &text);
}

TgtStatus TgtAdmClient::TargetStat(int tid, std::string& text) const
{
    TgtStatus status = CheckTid(tid);
    if (!status)
        return status;
    return Execute(Request(TgtMode::Target, TgtOp::Stat, tid), &text);
}

TgtStatus TgtAdmClient::LuStat(int tid, uint64_t lun, std::string& text) const
{
    TgtStatus status = CheckTid(tid);
    if (!status)
        return status;
    return Execute(Request(TgtMode::Lu, TgtOp::Stat, tid, lun), &text);
}

TgtStatus TgtAdmClient::DeleteSystem() const
{
    return Execute(Request(TgtMode::System, TgtOp::Delete));
}

} // namespace Target
} // namespace Storage
} // namespace ISCSI
