// Export of snapshots and import into LUNs, and their cancellation, against the recording
// double: what reaches the storage library, what the caller gets back, and what the system log
// shows.
#include "HandlerTest.h"

#include "lun/WebAPIServerLUN.h"

#include <string>
#include <vector>

namespace {

using namespace ISCSI::WebAPI::APILUN;
using KOVATest::Answer;
using KOVATest::ParseJson;

// The source of the handlers, as their log lines name it.
const std::string SOURCE = "WebAPIServerLUN.cpp";

const std::string LUN_UUID = "0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d";
const std::string SNAP_UUID = "5a5a5a5a-0000-1111-2222-333333333333";

// The compact text of a parameter object, as the log lines show it.
std::string Text(const std::string& json)
{
    return KOVA::toString(ParseJson(json));
}

std::string DebugLine(const std::string& function, const std::string& params)
{
    return "<7> [D] iSCSIWebAPI:" + SOURCE + ":L:" + function + " " + Text(params) + "\n";
}

std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return "<3> [E] iSCSIWebAPI:" + SOURCE + ":L:" + function + " error code: " + std::to_string(code) +
           " (" + KOVAiSCSIStrError(code) + ") [" + Text(params) + "]\n";
}

// params with key set to the JSON value text, or without key when value is empty.
std::string With(const std::string& params, const std::string& key, const std::string& value)
{
    Json::Value j = ParseJson(params);
    if (value.empty())
        j.removeMember(key);
    else
        j[key] = ParseJson("{\"v\":" + value + "}")["v"];
    return KOVA::toString(j);
}

Json::Value Out(const std::string& name, const Json::Value& value)
{
    Json::Value out(Json::objectValue);
    out[name] = value;
    return out;
}

// A parameter given with a bad value and the code the method answers for it.
struct Refusal {
    const char* key;
    const char* value; // JSON text; empty: the key is left out
    int code;
};

class LUNExportImportTest : public KOVATest::HandlerTest {
protected:
    void ResolveLun(const std::string& uuid = LUN_UUID)
    {
        Lib().Script("ISCSILUNInfo::GetLunUuid", 0, Out("uuid", uuid));
    }
    void ResolveSnapshot(const std::string& uuid = SNAP_UUID)
    {
        Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 0, Out("uuid", uuid));
    }

    // Each refusal answers its code before any library call, with the method's log lines.
    void ExpectRefusals(KOVA::APIHandler handler, const std::string& function, bool hasDebugLine,
                        const std::string& valid, const std::vector<Refusal>& refusals)
    {
        for (const Refusal& refusal : refusals) {
            SetUp();
            const std::string params = With(valid, refusal.key, refusal.value);
            auto r = Call(handler, params);
            EXPECT_EQ(Answer(r), "error " + std::to_string(refusal.code)) << params;
            EXPECT_EQ(LibCalls(), "") << params;
            EXPECT_EQ(Log(), (hasDebugLine ? DebugLine(function, params) : std::string()) +
                                 ErrorLine(function, refusal.code, params))
                << params;
        }
    }

    // Starting from params, each step mends one parameter; the answer is then the code of the
    // next parameter that is still bad.
    void ExpectCheckOrder(KOVA::APIHandler handler, std::string params, const std::vector<Refusal>& steps)
    {
        for (const Refusal& step : steps) {
            SetUp();
            EXPECT_EQ(Answer(Call(handler, params)), "error " + std::to_string(step.code)) << params;
            EXPECT_EQ(LibCalls(), "") << params;
            params = With(params, step.key, step.value);
        }
    }
};

std::string LunObject(const std::string& uuid = LUN_UUID)
{
    return "ISCSILIBLUN::ISCSILIBLUN([\"" + uuid + "\",false,false,false])\n";
}

// export

const std::string EXPORT = R"({"snapshot_uuid":"snap1","exported_dir_path":"/volume2/exports/lun1"})";

TEST_F(LUNExportImportTest, ExportResolvesTheSnapshotAndExportsItIntoTheDirectoryOnAnObjectOfNoLUN)
{
    ResolveSnapshot();
    EXPECT_EQ(Answer(Call(Export, EXPORT)), "success null");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n"
                          "ISCSILIBLUN::exportLun([\"" +
                              SNAP_UUID + "\",\"/volume2/exports/lun1\"])\n");
    EXPECT_EQ(Log(), DebugLine("Export", EXPORT));
}

TEST_F(LUNExportImportTest,
       ExportOfAnUnknownSnapshotWithoutADirectoryAnswers18990510BeforeLookingTheSnapshotUp)
{
    Lib().ScriptAlways("ISCSISnapshotInfo::GetSnapshotUuid", 18990519);
    const std::string params = R"({"snapshot_uuid":"nothing"})";
    EXPECT_EQ(Answer(Call(Export, params)), "error 18990510");
    EXPECT_EQ(LibCalls(), "");
    EXPECT_EQ(Log(), DebugLine("Export", params) + ErrorLine("Export", 18990510, params));
}

TEST_F(LUNExportImportTest, ExportOfAnUnknownSnapshotAnswersTheResolversCodeWithoutExporting)
{
    Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 18990519);
    EXPECT_EQ(Answer(Call(Export, EXPORT)), "error 18990519");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n");
    EXPECT_EQ(Log(), DebugLine("Export", EXPORT) + ErrorLine("Export", 18990519, EXPORT));
}

TEST_F(LUNExportImportTest, ExportPassesALibraryFailureOn)
{
    ResolveSnapshot();
    Lib().Script("ISCSILIBLUN::exportLun", 18990511);
    EXPECT_EQ(Answer(Call(Export, EXPORT)), "error 18990511");
}

TEST_F(LUNExportImportTest, ExportRefusesMissingEmptyAndWronglyTypedParameters)
{
    ExpectRefusals(Export, "Export", true, EXPORT,
                   {{"snapshot_uuid", "", 18990520},
                    {"snapshot_uuid", R"("")", 18990520},
                    {"snapshot_uuid", "5", 18990520},
                    {"exported_dir_path", "", 18990510},
                    {"exported_dir_path", R"("")", 18990510},
                    {"exported_dir_path", R"(["/volume1"])", 18990510}});
}

TEST_F(LUNExportImportTest, ExportChecksTheSnapshotBeforeTheDirectory)
{
    ExpectCheckOrder(Export, "{}",
                     {{"snapshot_uuid", R"("s")", 18990520}, {"exported_dir_path", R"("/d")", 18990510}});
}

// import

const std::string IMPORT = R"({"src_lun_uuid":"lun1","exported_dir_path":"/volume2/exports/lun1"})";

TEST_F(LUNExportImportTest, ImportResolvesTheLUNAndImportsTheDirectoryUnderTheNameDescriptionAndTaker)
{
    ResolveLun();
    const std::string params = R"({"src_lun_uuid":"lun1","exported_dir_path":"/volume2/exports/lun1",
                                   "snapshot_name":"imported","description":"from site B","taken_by":"ops"})";
    EXPECT_EQ(Answer(Call(Import, params)), "success null");
    EXPECT_EQ(LibCalls(),
              "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n" + LunObject() +
                  "ISCSILIBLUN::importLun([\"/volume2/exports/lun1\",\"imported\",\"from site B\","
                  "\"ops\"])\n");
    EXPECT_EQ(Log(), DebugLine("Import", params));
}

TEST_F(LUNExportImportTest, ImportWithAnEmptySnapshotNamePassesItAsIfItWereNotGiven)
{
    ResolveLun();
    EXPECT_TRUE(Call(Import, With(IMPORT, "snapshot_name", R"("")")).HasSuccess());
    const std::string withEmptyName = LibCalls();
    SetUp();
    ResolveLun();
    EXPECT_TRUE(Call(Import, IMPORT).HasSuccess());
    EXPECT_EQ(LibCalls(), withEmptyName);
    EXPECT_EQ(KOVA::toString(Lib().CallsOf("ISCSILIBLUN::importLun")[0].args),
              R"(["/volume2/exports/lun1","","",""])");
}

TEST_F(LUNExportImportTest, ImportAcceptsAnEmptyTakenByAndAnEmptyDescription)
{
    ResolveLun();
    auto r = Call(Import, With(With(IMPORT, "taken_by", R"("")"), "description", R"("")"));
    EXPECT_EQ(Answer(r), "success null");
}

TEST_F(LUNExportImportTest, ImportIntoAnUnknownLUNAnswersTheResolversCodeWithoutImporting)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990501);
    EXPECT_EQ(Answer(Call(Import, IMPORT)), "error 18990501");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n");
    EXPECT_EQ(Log(), DebugLine("Import", IMPORT) + ErrorLine("Import", 18990501, IMPORT));
}

TEST_F(LUNExportImportTest, ImportPassesALibraryFailureOn)
{
    ResolveLun();
    Lib().Script("ISCSILIBLUN::importLun", 18990512);
    EXPECT_EQ(Answer(Call(Import, IMPORT)), "error 18990512");
}

TEST_F(LUNExportImportTest, ImportRefusesMissingEmptyAndWronglyTypedParameters)
{
    ExpectRefusals(Import, "Import", true, IMPORT,
                   {{"src_lun_uuid", "", 18990505},
                    {"src_lun_uuid", R"("")", 18990505},
                    {"src_lun_uuid", "5", 18990505},
                    {"exported_dir_path", "", 18990510},
                    {"exported_dir_path", R"("")", 18990510},
                    {"exported_dir_path", "{}", 18990510},
                    {"snapshot_name", "5", 18990513},
                    {"description", "false", 18990403},
                    {"taken_by", "[]", 18990614}});
}

TEST_F(LUNExportImportTest, ImportChecksItsParametersInRequestOrder)
{
    ExpectCheckOrder(Import, R"({"snapshot_name":1,"description":1,"taken_by":1})",
                     {{"src_lun_uuid", R"("lun1")", 18990505},
                      {"exported_dir_path", R"("/d")", 18990510},
                      {"snapshot_name", R"("n")", 18990513},
                      {"description", R"("d")", 18990403},
                      {"taken_by", R"("t")", 18990614}});
}

// export_cancel

TEST_F(LUNExportImportTest, ExportCancelResolvesTheSnapshotAndCancelsItsExport)
{
    ResolveSnapshot();
    const std::string params = R"({"snapshot_uuid":"snap1"})";
    EXPECT_EQ(Answer(Call(ExportCancel, params)), "success null");
    EXPECT_EQ(LibCalls(), "ISCSISnapshotInfo::GetSnapshotUuid([\"snap1\",\"\"])\n"
                          "ISCSILIBLUN::exportCancel([\"" +
                              SNAP_UUID + "\"])\n");
    EXPECT_EQ(Log(), DebugLine("ExportCancel", params));
}

TEST_F(LUNExportImportTest, ExportCancelWithNoExportRunningAnswersWhatTheLibrarySays)
{
    ResolveSnapshot();
    Lib().Script("ISCSILIBLUN::exportCancel", 18990538);
    const std::string params = R"({"snapshot_uuid":"snap1"})";
    EXPECT_EQ(Answer(Call(ExportCancel, params)), "error 18990538");
    EXPECT_EQ(Log(), DebugLine("ExportCancel", params) + ErrorLine("ExportCancel", 18990538, params));
}

TEST_F(LUNExportImportTest, ExportCancelOfAnUnknownSnapshotAnswersTheResolversCode)
{
    Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 18990519);
    EXPECT_EQ(Answer(Call(ExportCancel, R"({"snapshot_uuid":"snap1"})")), "error 18990519");
    EXPECT_EQ(Lib().Ops(), (std::vector<std::string>{"ISCSISnapshotInfo::GetSnapshotUuid"}));
}

TEST_F(LUNExportImportTest, ExportCancelRefusesAMissingEmptyOrWronglyTypedSnapshot)
{
    ExpectRefusals(ExportCancel, "ExportCancel", true, R"({"snapshot_uuid":"snap1"})",
                   {{"snapshot_uuid", "", 18990520},
                    {"snapshot_uuid", R"("")", 18990520},
                    {"snapshot_uuid", "5", 18990520}});
}

// import_cancel

TEST_F(LUNExportImportTest, ImportCancelResolvesTheLUNAndCancelsTheImportIntoIt)
{
    ResolveLun();
    const std::string params = R"({"src_lun_uuid":"lun1"})";
    EXPECT_EQ(Answer(Call(ImportCancel, params)), "success null");
    EXPECT_EQ(LibCalls(), "ISCSILUNInfo::GetLunUuid([\"lun1\",\"\"])\n" + LunObject() +
                              "ISCSILIBLUN::importCancel([])\n");
    EXPECT_EQ(Log(), DebugLine("ImportCancel", params));
}

TEST_F(LUNExportImportTest, ImportCancelWithNoImportRunningAnswersWhatTheLibrarySays)
{
    ResolveLun();
    Lib().Script("ISCSILIBLUN::importCancel", 18990539);
    EXPECT_EQ(Answer(Call(ImportCancel, R"({"src_lun_uuid":"lun1"})")), "error 18990539");
}

TEST_F(LUNExportImportTest, ImportCancelOfAnUnknownLUNAnswersTheResolversCode)
{
    Lib().Script("ISCSILUNInfo::GetLunUuid", 18990501);
    const std::string params = R"({"src_lun_uuid":"lun1"})";
    EXPECT_EQ(Answer(Call(ImportCancel, params)), "error 18990501");
    EXPECT_EQ(Lib().Ops(), (std::vector<std::string>{"ISCSILUNInfo::GetLunUuid"}));
    EXPECT_EQ(Log(), DebugLine("ImportCancel", params) + ErrorLine("ImportCancel", 18990501, params));
}

TEST_F(LUNExportImportTest, ImportCancelRefusesAMissingEmptyOrWronglyTypedLUN)
{
    ExpectRefusals(ImportCancel, "ImportCancel", true, R"({"src_lun_uuid":"lun1"})",
                   {{"src_lun_uuid", "", 18990505},
                    {"src_lun_uuid", R"("")", 18990505},
                    {"src_lun_uuid", "true", 18990505}});
}

} // namespace
