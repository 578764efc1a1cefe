// The shipped module exports the client classes: each family base and each of the 92 leaves
// has its virtual table in the dynamic symbol table, so components outside the module link them.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <string>
#include <utility>
#include <vector>

namespace {

// Namespace of each family under ISCSI::WebAPI, and its classes: the base first, then the leaves.
const std::vector<std::pair<std::string, std::vector<std::string>>> FAMILIES = {
    {"APIVLUN",
     {"WebAPIClientVLUN", "WebAPIClientVLUNCreate", "WebAPIClientVLUNDelete", "WebAPIClientVLUNGet",
      "WebAPIClientVLUNBind"}},
    {"APILUN",
     {"WebAPIClientLUN",
      "WebAPIClientLUNClone",
      "WebAPIClientLUNCloneSnapshot",
      "WebAPIClientLUNCreate",
      "WebAPIClientLUNDelete",
      "WebAPIClientLUNDeleteSnapshot",
      "WebAPIClientLUNExport",
      "WebAPIClientLUNExportCancel",
      "WebAPIClientLUNGet",
      "WebAPIClientLUNGetSnapshot",
      "WebAPIClientLUNImport",
      "WebAPIClientLUNImportCancel",
      "WebAPIClientLUNList",
      "WebAPIClientLUNListSnapshot",
      "WebAPIClientLUNLoadLUN",
      "WebAPIClientLUNLoadSnapshot",
      "WebAPIClientLUNLockSnapshot",
      "WebAPIClientLUNLoopMount",
      "WebAPIClientLUNLoopUnmount",
      "WebAPIClientLUNMapTarget",
      "WebAPIClientLUNMapVhost",
      "WebAPIClientLUNRestoreSnapshot",
      "WebAPIClientLUNRetryStop",
      "WebAPIClientLUNSet",
      "WebAPIClientLUNSetSnapshot",
      "WebAPIClientLUNSetWhitelist",
      "WebAPIClientLUNStartDefrag",
      "WebAPIClientLUNStopClone",
      "WebAPIClientLUNStopDefrag",
      "WebAPIClientLUNStopSnapshot",
      "WebAPIClientLUNTakeSnapshot",
      "WebAPIClientLUNTestCloneability",
      "WebAPIClientLUNTop",
      "WebAPIClientLUNUnloadLUN",
      "WebAPIClientLUNUnloadSnapshot",
      "WebAPIClientLUNUnlockSnapshot",
      "WebAPIClientLUNUnmapTarget",
      "WebAPIClientLUNUnmapVhost"}},
    {"APITarget",
     {"WebAPIClientTarget", "WebAPIClientTargetACLMasksAdd", "WebAPIClientTargetACLMasksRemove",
      "WebAPIClientTargetCreate", "WebAPIClientTargetDelete", "WebAPIClientTargetDisable",
      "WebAPIClientTargetEnable", "WebAPIClientTargetGet", "WebAPIClientTargetList",
      "WebAPIClientTargetMapLUN", "WebAPIClientTargetNetworkPortalsAdd",
      "WebAPIClientTargetNetworkPortalsRemove", "WebAPIClientTargetSet", "WebAPIClientTargetUnmapLUN"}},
    {"APIReplication",
     {"WebAPIClientReplication", "WebAPIClientReplicationCheckNode", "WebAPIClientReplicationCleanToken",
      "WebAPIClientReplicationComputeUnsyncSize", "WebAPIClientReplicationCreate",
      "WebAPIClientReplicationCreateTask", "WebAPIClientReplicationDelete",
      "WebAPIClientReplicationDeleteTask", "WebAPIClientReplicationDemote", "WebAPIClientReplicationGet",
      "WebAPIClientReplicationGetBaseVersion", "WebAPIClientReplicationGetToken",
      "WebAPIClientReplicationGetUnsyncSize", "WebAPIClientReplicationList", "WebAPIClientReplicationPromote",
      "WebAPIClientReplicationSendSnapshot", "WebAPIClientReplicationStopSending"}},
    {"APINode",
     {"WebAPIClientNode", "WebAPIClientNodeAddNode", "WebAPIClientNodeCreate",
      "WebAPIClientNodeCreateSession", "WebAPIClientNodeDeleteNode", "WebAPIClientNodeDeleteSession",
      "WebAPIClientNodeGet", "WebAPIClientNodeList", "WebAPIClientNodeLogClear", "WebAPIClientNodeLogExport",
      "WebAPIClientNodeLogList", "WebAPIClientNodeSet", "WebAPIClientNodeSubvolConvert"}},
    {"APILUNBKP",
     {"WebAPIClientLunbkp", "WebAPIClientLunbkpBackupStart", "WebAPIClientLunbkpBackupStop",
      "WebAPIClientLunbkpBitmapReset", "WebAPIClientLunbkpLunMove", "WebAPIClientLunbkpProgressGet",
      "WebAPIClientLunbkpRestoreStart", "WebAPIClientLunbkpRestoreStop", "WebAPIClientLunbkpSizeGet",
      "WebAPIClientLunbkpTargetConnect", "WebAPIClientLunbkpTargetDisconnect"}},
};

// The mangled name of the virtual table of ISCSI::WebAPI::<ns>::<cls>.
std::string VtableSymbol(const std::string& ns, const std::string& cls)
{
    auto part = [](const std::string& name) { return std::to_string(name.size()) + name; };
    return "_ZTVN" + part("ISCSI") + part("WebAPI") + part(ns) + part(cls) + "E";
}

} // namespace

TEST(ClientExports, TheModuleExportsSixFamilyBasesAndNinetyTwoLeaves)
{
    void* module = dlopen(KOVA_REAL_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    size_t classes = 0;
    for (const auto& family : FAMILIES) {
        for (const std::string& cls : family.second) {
            EXPECT_NE(dlsym(module, VtableSymbol(family.first, cls).c_str()), nullptr)
                << family.first << "::" << cls << " is not exported";
            ++classes;
        }
    }
    EXPECT_EQ(FAMILIES.size(), 6u);
    EXPECT_EQ(classes, 98u);
    dlclose(module);
}
