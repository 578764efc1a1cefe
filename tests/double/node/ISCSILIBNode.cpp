// Recording double of ISCSI::LIB::LIBNode::ISCSILIBNode.
//
// getStatus answers its scripted code as the status. The conversion progress record is logged
// and scripted as a JSON object with members named after its fields (a null pointer logs
// null).
#include "../LibDouble.h"

#include <iscsi/ISCSILIBNode.h>

#include <cstring>

using namespace KOVATest;

namespace ISCSI {
namespace LIB {
namespace LIBNode {

namespace {

template <std::size_t N> std::string Text(const char (&buffer)[N])
{
    return std::string(buffer, strnlen(buffer, N));
}

Json::Value ProgressJson(const _tag_iscsi_conv_to_subvol_progress_* progress)
{
    if (!progress)
        return Json::Value();
    Json::Value j(Json::objectValue);
    j["total_size"] = static_cast<Json::UInt64>(progress->total_size);
    j["done_size"] = static_cast<Json::UInt64>(progress->done_size);
    j["total_number"] = progress->total_number;
    j["done_number"] = progress->done_number;
    j["err_no"] = progress->err_no;
    j["status"] = Text(progress->status);
    j["uuid"] = Text(progress->uuid);
    return j;
}

void OutputProgress(const LibResult& r, const char* name, _tag_iscsi_conv_to_subvol_progress_* progress)
{
    if (!progress || !r.out.isObject() || !r.out.isMember(name))
        return;
    const Json::Value& fields = r.out[name];
    OutputMember(fields, "total_size", progress->total_size);
    OutputMember(fields, "done_size", progress->done_size);
    OutputMember(fields, "total_number", progress->total_number);
    OutputMember(fields, "done_number", progress->done_number);
    OutputMember(fields, "err_no", progress->err_no);
    OutputMember(fields, "status", progress->status);
    OutputMember(fields, "uuid", progress->uuid);
}

} // namespace

ISCSILIBNode::ISCSILIBNode() = default;

ISCSILIBNode::ISCSILIBNode(const std::string& uuid, const std::string& hostname, unsigned short port,
                           const std::string& protocol, const std::string& rodKey, const std::string& account,
                           const std::string& password, const std::string& otpCode)
    : node(uuid, std::string(), hostname, port, protocol, rodKey, account, false)
{
    node.password = password;
    node.otp_code = otpCode;
    LibDouble::Get().Record("ISCSILIBNode::ISCSILIBNode",
                            Args(uuid, hostname, port, protocol, rodKey, account, password, otpCode));
}

ISCSILIBNode::~ISCSILIBNode() = default;

int ISCSILIBNode::createNode()
{
    return LibDouble::Get().Record("ISCSILIBNode::createNode", Args()).code;
}

int ISCSILIBNode::getStatus() const
{
    return LibDouble::Get().Record("ISCSILIBNode::getStatus", Args()).code;
}

int ISCSILIBNode::getIscsiDirPath(const std::string& iscsiDirRootPath, std::string& iscsiDirPath)
{
    const LibResult r =
        LibDouble::Get().Record("ISCSILIBNode::getIscsiDirPath", Args(iscsiDirRootPath, iscsiDirPath));
    Output(r, "iscsi_dir_path", iscsiDirPath);
    return r.code;
}

int ISCSILIBNode::getSubvolConvProgress(const std::string& subvolRootPath,
                                        _tag_iscsi_conv_to_subvol_progress_* progress)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBNode::getSubvolConvProgress",
                                                Args(subvolRootPath, ProgressJson(progress)));
    OutputProgress(r, "progress", progress);
    return r.code;
}

int ISCSILIBNode::getIsnsInfo(bool& isnsEnabled, std::string& isnsAddress)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBNode::getIsnsInfo", Args(isnsEnabled, isnsAddress));
    Output(r, "isns_enabled", isnsEnabled);
    Output(r, "isns_address", isnsAddress);
    return r.code;
}

int ISCSILIBNode::getIoQueueLength(int& ioQueueLength)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBNode::getIoQueueLength", Args(ioQueueLength));
    Output(r, "io_queue_length", ioQueueLength);
    return r.code;
}

int ISCSILIBNode::getIqnHashKey(std::string& iqnHashKey)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBNode::getIqnHashKey", Args(iqnHashKey));
    Output(r, "iqn_hash_key", iqnHashKey);
    return r.code;
}

int ISCSILIBNode::checkAllSubvolConvStatusNormal(bool& isSubvolConvNormal)
{
    const LibResult r =
        LibDouble::Get().Record("ISCSILIBNode::checkAllSubvolConvStatusNormal", Args(isSubvolConvNormal));
    Output(r, "is_subvol_conv_normal", isSubvolConvNormal);
    return r.code;
}

int ISCSILIBNode::getEpBufMapSize(Json::Value& epBufMappedSize)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBNode::getEpBufMapSize", Args(epBufMappedSize));
    Output(r, "ep_buf_mapped_size", epBufMappedSize);
    return r.code;
}

int ISCSILIBNode::getEpUnmapBufMode(_tag_ep_buffer_unmap_mode_& epUnmapBufMode)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBNode::getEpUnmapBufMode", Args(epUnmapBufMode));
    Output(r, "ep_unmap_buf_mode", epUnmapBufMode);
    return r.code;
}

int ISCSILIBNode::getTpHardThreshold(unsigned long long& tpHardThresholdBytes)
{
    const LibResult r =
        LibDouble::Get().Record("ISCSILIBNode::getTpHardThreshold", Args(tpHardThresholdBytes));
    Output(r, "tp_hard_threshold_bytes", tpHardThresholdBytes);
    return r.code;
}

int ISCSILIBNode::getPluginInfo(Json::Value& pluginInfo)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBNode::getPluginInfo", Args(pluginInfo));
    Output(r, "plugin_info", pluginInfo);
    return r.code;
}

int ISCSILIBNode::getPromoteStorageConsole(bool& promoteStorageConsole)
{
    const LibResult r =
        LibDouble::Get().Record("ISCSILIBNode::getPromoteStorageConsole", Args(promoteStorageConsole));
    Output(r, "promote_storage_console", promoteStorageConsole);
    return r.code;
}

int ISCSILIBNode::setIsnsInfo(bool isnsEnabled, const std::string& isnsAddress)
{
    return LibDouble::Get().Record("ISCSILIBNode::setIsnsInfo", Args(isnsEnabled, isnsAddress)).code;
}

int ISCSILIBNode::setIoQueueLength(int ioQueueLength)
{
    return LibDouble::Get().Record("ISCSILIBNode::setIoQueueLength", Args(ioQueueLength)).code;
}

int ISCSILIBNode::setEpUnmapBufMode(int epUnmapBufMode)
{
    return LibDouble::Get().Record("ISCSILIBNode::setEpUnmapBufMode", Args(epUnmapBufMode)).code;
}

int ISCSILIBNode::setTpHardThreshold(unsigned long long tpHardThresholdBytes)
{
    return LibDouble::Get().Record("ISCSILIBNode::setTpHardThreshold", Args(tpHardThresholdBytes)).code;
}

int ISCSILIBNode::setPromoteStorageConsole(bool promoteStorageConsole)
{
    return LibDouble::Get()
        .Record("ISCSILIBNode::setPromoteStorageConsole", Args(promoteStorageConsole))
        .code;
}

int ISCSILIBNode::ListNode(std::vector<ISCSI::ISCSINodeInfo>& nodes)
{
    const LibResult r = LibDouble::Get().Record("ISCSILIBNode::ListNode", Args(nodes));
    Output(r, "nodes", nodes);
    return r.code;
}

int ISCSILIBNode::subvolConvFeasibilityCheck(const std::string& rootPath,
                                             std::vector<std::string>& feasibilityHard)
{
    const LibResult r =
        LibDouble::Get().Record("ISCSILIBNode::subvolConvFeasibilityCheck", Args(rootPath, feasibilityHard));
    Output(r, "feasibility_hard", feasibilityHard);
    return r.code;
}

int ISCSILIBNode::subvolConvert(const std::string& rootPath)
{
    return LibDouble::Get().Record("ISCSILIBNode::subvolConvert", Args(rootPath)).code;
}

} // namespace LIBNode
} // namespace LIB
} // namespace ISCSI
