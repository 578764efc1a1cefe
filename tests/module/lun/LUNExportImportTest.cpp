// Export of snapshots and import into LUNs, and their cancellation, against the recording
// double: what reaches the storage library, what the caller gets back, and what the system log
// shows.
#include "LUNHandlerTest.h"

#include "lun/WebAPIServerLUN.h"

#include <string>
#include <vector>

namespace {

using namespace ISCSI::WebAPI::APILUN;
using KOVATest::Answer;
using KOVATest::ParseJson;
using namespace KOVATest::LUNTests;

class LUNExportImportTest : public LUNHandlerTest {};

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
