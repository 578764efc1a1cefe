// Targets: made with their settings, changed by an update mask, enabled, disabled and deleted;
// their ACL masks, network portals and LUN mappings; their records read one by one or listed.
#pragma once

#include <iscsi/ISCSINetworkPortal.h>
#include <iscsi/ISCSITargetInfo.h>

#include <json/json.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace ISCSI {
namespace LIB {
namespace LIBTarget {

enum {
    // The two failures of createTarget's feasibility test: the target was refused for what it
    // would do to the system (the hard one), or for a warning that the caller did not ignore
    // through isSoftFeasIgnored (the soft one).
    ISCSI_ERR_FEASIBILITY_HARD = 18990335,
    ISCSI_ERR_FEASIBILITY_SOFT = 18990336,
};

// A value class over the target record: the object is the record of the target it stands for,
// so a caller reads the record's fields and toJsonFormat from the object itself.
class ISCSILIBTarget : public ISCSI::ISCSITargetInfo {
public:
    // An empty object.
    ISCSILIBTarget();
    // A target to be made (createTarget). isEnabled: whether the new target accepts logins once
    // made. isSoftFeasIgnored: make the target although the feasibility test raised only soft
    // objections.
    ISCSILIBTarget(const std::string& name, const std::string& iqn, bool isEnabled, bool hasHeaderChecksum,
                   bool hasDataChecksum, unsigned int maxRecvSegBytes, unsigned int maxSendSegBytes,
                   unsigned int maxSessions, ISCSI_AUTH_TYPE authType, const std::string& user,
                   const std::string& password, const std::string& mutualUser,
                   const std::string& mutualPassword, bool isSoftFeasIgnored);
    // An existing target, by its numeric id.
    explicit ISCSILIBTarget(unsigned int tid);
    ISCSILIBTarget(const ISCSILIBTarget&) = default;
    // Copies the whole object: the record and feasibility_detail.
    ISCSILIBTarget& operator=(const ISCSILIBTarget&) = default;
    ~ISCSILIBTarget() override;

    // Records of all targets, or of the targets that the LUN lunUuid is mapped to when it is not
    // empty, each loaded with the optional groups of flags (ISCSI_TARGET_LOAD_* bits).
    static int ListTarget(std::vector<ISCSI::ISCSITargetInfo>& targets, const std::string& lunUuid,
                          int flags);

    // Fills the object's record of its target, with the optional groups of flags.
    int loadTargetInfo(int flags);

    // Makes the target. On 0, tid is the new target's id. On ISCSI_ERR_FEASIBILITY_HARD or
    // ISCSI_ERR_FEASIBILITY_SOFT, feasibility_detail holds what stood in the way, for the caller.
    int createTarget();
    int deleteTarget();
    int enableTarget();
    int disableTarget();
    // Applies to the target the settings whose bit is set in mask (ISCSI_TARGET_UPDATE_* bits);
    // the other values are ignored.
    int updateTarget(int mask, const std::string& name, const std::string& iqn, bool hasHeaderChecksum,
                     bool hasDataChecksum, unsigned int maxRecvSegBytes, unsigned int maxSendSegBytes,
                     unsigned int maxSessions, ISCSI_AUTH_TYPE authType, const std::string& user,
                     const std::string& password, const std::string& mutualUser,
                     const std::string& mutualPassword);

    // Replaces the target's ACL masks by acls, an array of {"iqn": text, "permission": "rw" |
    // "r" | "-"} objects as the caller sent it; the library checks its form.
    int aclMasksSet(const Json::Value& acls);
    // Adds (or changes) the masks of these initiators.
    int aclMasksAdd(const std::map<std::string, ISCSI_TARGET_AUTHORITY>& acls);
    // Removes the masks of these initiators.
    int aclMasksRemove(const std::set<std::string>& initiatorIqns);

    // Adds or removes the portals, in the given order.
    int networkPortalsAdd(const std::vector<_tag_struct_iscsi_network_portal_>& networkPortals);
    int networkPortalsRemove(const std::vector<_tag_struct_iscsi_network_portal_>& networkPortals);

    // Maps every LUN of the set (LUN uuids) to the target, or takes them off it.
    int mapLUN(const std::set<std::string>& lunUuids);
    int unmapLUN(const std::set<std::string>& lunUuids);

    // Make the target despite soft feasibility objections (createTarget).
    bool is_soft_feas_ignored;
    // After ISCSI_ERR_FEASIBILITY_HARD or ISCSI_ERR_FEASIBILITY_SOFT from createTarget: what
    // stood in the way, {"hard": [...], "soft": [...]} with one {"reason": text, ...} object per
    // finding. Null after any other result.
    Json::Value feasibility_detail;
};

} // namespace LIBTarget
} // namespace LIB
} // namespace ISCSI
