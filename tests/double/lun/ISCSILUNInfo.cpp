// Recording double of the behaviour of ISCSI::ISCSILUNInfo (its data code is the shared one).
//
// An operation on a record logs the record's JSON form first (see LibDouble.h). The configuration
// structure that loadFromConfig fills is logged and scripted as "lun", a JSON object with the
// keys "uuid", "lun_id", "name", "type", "location", "size", "extent_size", "dev_attribs" and
// "vpd_unit_sn"; keys absent from the script leave their member.
#include "../LibDouble.h"

#include <iscsi/ISCSILUNInfo.h>

using namespace KOVATest;

namespace ISCSI {

namespace {

Json::Value ConfigToJson(const _tag_iscsi_lun_& lun)
{
    Json::Value j(Json::objectValue);
    j["uuid"] = lun.uuid;
    j["lun_id"] = lun.lun_id;
    j["name"] = lun.name;
    j["type"] = static_cast<int>(lun.type);
    j["location"] = lun.location;
    j["size"] = static_cast<Json::UInt64>(lun.size);
    j["extent_size"] = lun.extent_size;
    j["dev_attribs"] = lun.dev_attribs;
    j["vpd_unit_sn"] = lun.vpd_unit_sn;
    return j;
}

void ConfigFromJson(const Json::Value& j, _tag_iscsi_lun_& lun)
{
    OutputMember(j, "uuid", lun.uuid);
    OutputMember(j, "lun_id", lun.lun_id);
    OutputMember(j, "name", lun.name);
    OutputMember(j, "type", lun.type);
    OutputMember(j, "location", lun.location);
    OutputMember(j, "size", lun.size);
    OutputMember(j, "extent_size", lun.extent_size);
    OutputMember(j, "dev_attribs", lun.dev_attribs);
    OutputMember(j, "vpd_unit_sn", lun.vpd_unit_sn);
}

} // namespace

int ISCSILUNInfo::loadFromConfig(_tag_iscsi_lun_& lun, int flags)
{
    const LibResult r =
        LibDouble::Get().Record("ISCSILUNInfo::loadFromConfig", Args(*this, ConfigToJson(lun), flags));
    if (r.out.isObject() && r.out.isMember("lun"))
        ConfigFromJson(r.out["lun"], lun);
    return r.code;
}

int ISCSILUNInfo::GetLunUuid(const std::string& id, std::string& uuid)
{
    return RecordResolve("ISCSILUNInfo::GetLunUuid", id, "uuid", uuid);
}

int ISCSILUNInfo::ListIOStat(Json::Value& iostats, bool object, const Json::Value& filter,
                             const Json::Value& uuids)
{
    const LibResult r =
        LibDouble::Get().Record("ISCSILUNInfo::ListIOStat", Args(iostats, object, filter, uuids));
    Output(r, "iostats", iostats);
    return r.code;
}

} // namespace ISCSI
