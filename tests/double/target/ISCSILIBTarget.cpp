// Recording double of ISCSI::LIB::LIBTarget::ISCSILIBTarget.
//
// Operations that fill the object's target record (loadTargetInfo) take each record field from
// the scripted output "ISCSILIBTarget::<field>" (network_portals as an array of portal
// objects, mapped_luns and connected_sessions as arrays of their JSON forms, acls as an object
// of IQN to authority value). Like the library, a successful load holds the groups it was asked
// for: load_flags becomes the flags given, and a scripted "ISCSILIBTarget::load_flags" still
// overrides it. ListTarget fills "targets" from an array of target records' JSON forms, each
// holding the groups asked for beside those its JSON names.
#include "../LibDouble.h"

#include <iscsi/ISCSILIBTarget.h>

using namespace KOVATest;

namespace ISCSI {
namespace LIB {
namespace LIBTarget {

namespace {

Json::Value PortalsJson(const std::vector<_tag_struct_iscsi_network_portal_>& portals)
{
    Json::Value list(Json::arrayValue);
    for (const auto& p : portals) {
        Json::Value j;
        ISCSI::NetworkPortalToJson(p, j);
        list.append(j);
    }
    return list;
}

void OutputRecord(const LibResult& r, ISCSILIBTarget& t)
{
    Output(r, "ISCSILIBTarget::tid", t.tid);
    Output(r, "ISCSILIBTarget::name", t.name);
    Output(r, "ISCSILIBTarget::iqn", t.iqn);
    Output(r, "ISCSILIBTarget::is_enabled", t.is_enabled);
    Output(r, "ISCSILIBTarget::has_header_checksum", t.has_header_checksum);
    Output(r, "ISCSILIBTarget::has_data_checksum", t.has_data_checksum);
    Output(r, "ISCSILIBTarget::max_recv_seg_bytes", t.max_recv_seg_bytes);
    Output(r, "ISCSILIBTarget::max_send_seg_bytes", t.max_send_seg_bytes);
    Output(r, "ISCSILIBTarget::max_sessions", t.max_sessions);
    Output(r, "ISCSILIBTarget::auth_type", t.auth_type);
    Output(r, "ISCSILIBTarget::user", t.user);
    Output(r, "ISCSILIBTarget::password", t.password);
    Output(r, "ISCSILIBTarget::mutual_user", t.mutual_user);
    Output(r, "ISCSILIBTarget::mutual_password", t.mutual_password);
    if (r.out.isObject() && r.out.isMember("ISCSILIBTarget::network_portals")) {
        t.network_portals.clear();
        for (const auto& e : r.out["ISCSILIBTarget::network_portals"]) {
            _tag_struct_iscsi_network_portal_ p;
            ISCSI::NetworkPortalFromJson(e, p);
            t.network_portals.push_back(p);
        }
    }
    Output(r, "ISCSILIBTarget::load_flags", t.load_flags);
    Output(r, "ISCSILIBTarget::mapped_luns", t.mapped_luns);
    Output(r, "ISCSILIBTarget::acls", t.acls);
    Output(r, "ISCSILIBTarget::connected_sessions", t.connected_sessions);
    Output(r, "ISCSILIBTarget::status", t.status);
}

} // namespace

ISCSILIBTarget::ISCSILIBTarget() : is_soft_feas_ignored(false) {}

ISCSILIBTarget::ISCSILIBTarget(const std::string& name, const std::string& iqn, bool isEnabled,
                               bool hasHeaderChecksum, bool hasDataChecksum, unsigned int maxRecvSegBytes,
                               unsigned int maxSendSegBytes, unsigned int maxSessions,
                               ISCSI_AUTH_TYPE authType, const std::string& user, const std::string& password,
                               const std::string& mutualUser, const std::string& mutualPassword,
                               bool isSoftFeasIgnored)
    : ISCSITargetInfo(name, iqn, isEnabled, hasHeaderChecksum, hasDataChecksum, maxRecvSegBytes,
                      maxSendSegBytes, maxSessions, authType, user, password, mutualUser, mutualPassword),
      is_soft_feas_ignored(isSoftFeasIgnored)
{
    LibDouble::Get().Record("ISCSILIBTarget::ISCSILIBTarget",
                            Args(name, iqn, isEnabled, hasHeaderChecksum, hasDataChecksum, maxRecvSegBytes,
                                 maxSendSegBytes, maxSessions, authType, user, password, mutualUser,
                                 mutualPassword, isSoftFeasIgnored));
}

ISCSILIBTarget::ISCSILIBTarget(unsigned int tid) : ISCSITargetInfo(tid), is_soft_feas_ignored(false)
{
    LibDouble::Get().Record("ISCSILIBTarget::ISCSILIBTarget", Args(tid));
}

ISCSILIBTarget::~ISCSILIBTarget() = default;

int ISCSILIBTarget::ListTarget(std::vector<ISCSI::ISCSITargetInfo>& targets, const std::string& lunUuid,
                               int flags)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBTarget::ListTarget", Args(targets, lunUuid, flags));
    if (r.out.isObject() && r.out.isMember("targets")) {
        Output(r, "targets", targets);
        if (r.code == 0)
            for (auto& t : targets)
                t.load_flags |= flags;
    }
    return r.code;
}

int ISCSILIBTarget::loadTargetInfo(int flags)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBTarget::loadTargetInfo", Args(flags));
    if (r.code == 0)
        load_flags = flags;
    OutputRecord(r, *this);
    return r.code;
}

int ISCSILIBTarget::createTarget()
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBTarget::createTarget", Args());
    Output(r, "ISCSILIBTarget::tid", tid);
    Output(r, "ISCSILIBTarget::feasibility_detail", feasibility_detail);
    return r.code;
}

int ISCSILIBTarget::deleteTarget()
{
    return LibDouble::Get().Record("ISCSILIBTarget::deleteTarget", Args()).code;
}

int ISCSILIBTarget::enableTarget()
{
    return LibDouble::Get().Record("ISCSILIBTarget::enableTarget", Args()).code;
}

int ISCSILIBTarget::disableTarget()
{
    return LibDouble::Get().Record("ISCSILIBTarget::disableTarget", Args()).code;
}

int ISCSILIBTarget::updateTarget(int mask, const std::string& name, const std::string& iqn,
                                 bool hasHeaderChecksum, bool hasDataChecksum, unsigned int maxRecvSegBytes,
                                 unsigned int maxSendSegBytes, unsigned int maxSessions,
                                 ISCSI_AUTH_TYPE authType, const std::string& user,
                                 const std::string& password, const std::string& mutualUser,
                                 const std::string& mutualPassword)
{
    return LibDouble::Get()
        .Record("ISCSILIBTarget::updateTarget",
                Args(mask, name, iqn, hasHeaderChecksum, hasDataChecksum, maxRecvSegBytes, maxSendSegBytes,
                     maxSessions, authType, user, password, mutualUser, mutualPassword))
        .code;
}

int ISCSILIBTarget::aclMasksSet(const Json::Value& acls)
{
    return LibDouble::Get().Record("ISCSILIBTarget::aclMasksSet", Args(acls)).code;
}

int ISCSILIBTarget::aclMasksAdd(const std::map<std::string, ISCSI_TARGET_AUTHORITY>& acls)
{
    return LibDouble::Get().Record("ISCSILIBTarget::aclMasksAdd", Args(acls)).code;
}

int ISCSILIBTarget::aclMasksRemove(const std::set<std::string>& initiatorIqns)
{
    return LibDouble::Get().Record("ISCSILIBTarget::aclMasksRemove", Args(initiatorIqns)).code;
}

int ISCSILIBTarget::networkPortalsAdd(const std::vector<_tag_struct_iscsi_network_portal_>& networkPortals)
{
    return LibDouble::Get()
        .Record("ISCSILIBTarget::networkPortalsAdd", Args(PortalsJson(networkPortals)))
        .code;
}

int ISCSILIBTarget::networkPortalsRemove(const std::vector<_tag_struct_iscsi_network_portal_>& networkPortals)
{
    return LibDouble::Get()
        .Record("ISCSILIBTarget::networkPortalsRemove", Args(PortalsJson(networkPortals)))
        .code;
}

int ISCSILIBTarget::mapLUN(const std::set<std::string>& lunUuids)
{
    return LibDouble::Get().Record("ISCSILIBTarget::mapLUN", Args(lunUuids)).code;
}

int ISCSILIBTarget::unmapLUN(const std::set<std::string>& lunUuids)
{
    return LibDouble::Get().Record("ISCSILIBTarget::unmapLUN", Args(lunUuids)).code;
}

} // namespace LIBTarget
} // namespace LIB
} // namespace ISCSI
