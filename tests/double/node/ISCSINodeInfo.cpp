// Recording double of the behaviour of ISCSI::ISCSINodeInfo (its data code is the shared one).
//
// An operation on a record logs the record's JSON form first (see LibDouble.h). Fields that
// loadFromConfig and createSession set on the record are scripted as "ISCSINodeInfo::field".
// isInConfig answers true when its scripted code is not 0.
#include "../LibDouble.h"

#include <iscsi/ISCSINodeInfo.h>

using namespace KOVATest;

namespace ISCSI {

int ISCSINodeInfo::loadFromConfig()
{
    const LibResult r = LibDouble::Get().Record("ISCSINodeInfo::loadFromConfig", Args(*this));
    Output(r, "ISCSINodeInfo::uuid", uuid);
    Output(r, "ISCSINodeInfo::session_id", session_id);
    Output(r, "ISCSINodeInfo::hostname", hostname);
    Output(r, "ISCSINodeInfo::port", port);
    Output(r, "ISCSINodeInfo::protocol", protocol);
    Output(r, "ISCSINodeInfo::rod_key", rod_key);
    Output(r, "ISCSINodeInfo::account", account);
    Output(r, "ISCSINodeInfo::is_local_node", is_local_node);
    Output(r, "ISCSINodeInfo::password", password);
    Output(r, "ISCSINodeInfo::otp_code", otp_code);
    return r.code;
}

bool ISCSINodeInfo::isInConfig() const
{
    return LibDouble::Get().Record("ISCSINodeInfo::isInConfig", Args(*this)).code != 0;
}

int ISCSINodeInfo::updateConfig(bool addIfAbsent, bool overwriteLocal)
{
    return LibDouble::Get()
        .Record("ISCSINodeInfo::updateConfig", Args(*this, addIfAbsent, overwriteLocal))
        .code;
}

int ISCSINodeInfo::deleteFromNodeConfig() const
{
    return LibDouble::Get().Record("ISCSINodeInfo::deleteFromNodeConfig", Args(*this)).code;
}

int ISCSINodeInfo::createSession()
{
    const LibResult r = LibDouble::Get().Record("ISCSINodeInfo::createSession", Args(*this));
    Output(r, "ISCSINodeInfo::session_id", session_id);
    return r.code;
}

int ISCSINodeInfo::deleteSession() const
{
    return LibDouble::Get().Record("ISCSINodeInfo::deleteSession", Args(*this)).code;
}

int ISCSINodeInfo::loadLocalRodKey(std::string& rodKey) const
{
    const LibResult r = LibDouble::Get().Record("ISCSINodeInfo::loadLocalRodKey", Args(*this, rodKey));
    Output(r, "rod_key", rodKey);
    return r.code;
}

int ISCSINodeInfo::GetNodeUuid(const std::string& id, std::string& uuid)
{
    return RecordResolve("ISCSINodeInfo::GetNodeUuid", id, "uuid", uuid);
}

} // namespace ISCSI
