// Export of snapshots into directories of a volume and import of those directories into LUNs
// as snapshots, on temporary volumes: the files and metadata written, the data and holes, the
// figures, refusals, tampered exports, cancels and their leftovers.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBLUN.h>
#include <iscsi/ISCSISnapshotInfo.h>

#include "StorageTestSupport.h"
#include "clone/CopyEngine.h"
#include "context/LibraryContext.h"
#include "jobs/JobRunner.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace KovaStorageTest;

Json::Value ReadJson(const std::string& path)
{
    std::ifstream in(path);
    Json::Value value;
    Json::CharReaderBuilder builder;
    std::string errors;
    Json::parseFromStream(builder, in, &value, &errors);
    return value;
}

void WriteJson(const std::string& path, const Json::Value& value)
{
    std::ofstream out(path, std::ios::trunc);
    out << Json::writeString(Json::StreamWriterBuilder(), value);
}

class ExportImportTest : public StorageLibraryTest {
protected:
    ExportImportTest() : StorageLibraryTest("export") {}

    void TearDown() override
    {
        ISCSI::Storage::SetCopyRateLimit(0);
        StorageLibraryTest::TearDown();
    }

    std::string Take(const std::string& lun, const std::string& name)
    {
        std::string snap;
        int id = 0;
        EXPECT_EQ(0, ISCSILIBLUN(lun, false, false, false)
                         .takeSnapshot(false, false, name, "", "test", 0, false, "", "", snap, id));
        return snap;
    }

    // A LUN with data at its start, in its middle and at its end, a snapshot of it, and the
    // snapshot exported into /volume1/exports/<dir>.
    void MakeExport(const std::string& dir, std::string& lun, std::string& snap)
    {
        lun = CreateLUN("exported", 32 * kMiB);
        WriteAt(Image(lun), 0, "head of the LUN");
        WriteAt(Image(lun), static_cast<off_t>(9 * kMiB + 17), std::string(2 * kMiB, 'q'));
        WriteAt(Image(lun), static_cast<off_t>(32 * kMiB - 3), "end");
        snap = Take(lun, "to-export");
        ASSERT_EQ(0, ISCSILIBLUN().exportLun(snap, "/volume1/exports/" + dir));
        ASSERT_EQ("done", WaitFor("export", snap).state);
    }
};

TEST_F(ExportImportTest, ExportWritesImageAndMetadata)
{
    std::string lun;
    std::string snap;
    MakeExport("e1", lun, snap);
    const std::string dir = vol1_ + "/exports/e1";
    const std::string image = dir + "/lun.img";
    ASSERT_TRUE(fs::exists(image));
    ASSERT_TRUE(fs::exists(dir + "/export.json"));
    EXPECT_FALSE(fs::exists(image + ".partial"));
    EXPECT_FALSE(fs::exists(dir + "/export.json.partial"));
    EXPECT_EQ(ReadAll(Image(lun)), ReadAll(image));
    EXPECT_LT(Allocated(image), 8 * kMiB); // holes stay holes

    const Json::Value meta = ReadJson(dir + "/export.json");
    EXPECT_EQ("kova-iscsi-lun-export", meta["format"].asString());
    EXPECT_EQ(1, meta["format_version"].asInt());
    EXPECT_EQ("lun.img", meta["image"]["file"].asString());
    EXPECT_EQ(32 * kMiB, meta["image"]["size"].asUInt64());
    EXPECT_EQ("sha256-nonzero-1MiB-blocks", meta["image"]["checksum"]["algorithm"].asString());
    std::string digest;
    ASSERT_EQ(0, ISCSI::Storage::ContentDigest(image, digest));
    EXPECT_EQ(64u, digest.size());
    EXPECT_EQ(digest, meta["image"]["checksum"]["value"].asString());
    EXPECT_EQ(lun, meta["lun"]["uuid"].asString());
    EXPECT_EQ("exported", meta["lun"]["name"].asString());
    EXPECT_EQ(snap, meta["snapshot"]["uuid"].asString());
    EXPECT_EQ("to-export", meta["snapshot"]["name"].asString());

    ISCSISnapshotInfo record(snap);
    ASSERT_EQ(0, record.loadFromConfig(ISCSI::ISCSI_SNAPSHOT_LOAD_EXPORT_STATUS));
    EXPECT_GT(record.export_total, 0u);
    EXPECT_EQ(record.export_total, record.export_done);
    EXPECT_EQ(0, record.export_errno);
    EXPECT_EQ("normal", record.status);

    // The digest does not depend on holes: the same content written densely digests the same.
    const std::string dense = root_ + "/dense.img";
    {
        std::ofstream out(dense, std::ios::binary);
        const std::string content = ReadAll(image);
        out.write(content.data(), static_cast<std::streamsize>(content.size()));
    }
    std::string denseDigest;
    ASSERT_EQ(0, ISCSI::Storage::ContentDigest(dense, denseDigest));
    EXPECT_EQ(digest, denseDigest);
    WriteAt(dense, static_cast<off_t>(20 * kMiB), "x");
    ASSERT_EQ(0, ISCSI::Storage::ContentDigest(dense, denseDigest));
    EXPECT_NE(digest, denseDigest);
}

TEST_F(ExportImportTest, ImportMakesASnapshotThatRestores)
{
    std::string lun;
    std::string snap;
    MakeExport("e2", lun, snap);
    const std::string target = CreateLUN("target", 48 * kMiB);
    WriteAt(Image(target), 0, "target's own data");
    ISCSILIBLUN into(target, false, false, false);
    ASSERT_EQ(0, into.importLun("/volume1/exports/e2", "imported", "from e2", "admin"));
    const ISCSI::Storage::JobRecord job = WaitFor("import", target);
    ASSERT_EQ("done", job.state);
    EXPECT_EQ(0, job.errorCode);

    std::vector<ISCSISnapshotInfo> snaps;
    ASSERT_EQ(0, into.listSnapshot(snaps, 0));
    ASSERT_EQ(1u, snaps.size());
    EXPECT_EQ("imported", snaps[0].name);
    EXPECT_EQ("from e2", snaps[0].description);
    EXPECT_EQ("admin", snaps[0].taken_by);
    const std::string snapImage = vol1_ + "/@iscsi/snapshots/" + target + "/" + snaps[0].uuid + ".img";
    ASSERT_TRUE(fs::exists(snapImage));
    EXPECT_FALSE(fs::exists(snapImage + ".importing"));
    EXPECT_EQ(48 * kMiB, static_cast<unsigned long long>(fs::file_size(snapImage)));
    EXPECT_LT(Allocated(snapImage), 8 * kMiB);

    ISCSILIBLUN loaded(target, false, false, false);
    ASSERT_EQ(0, loaded.loadLUNInfo(ISCSI::ISCSI_LUN_LOAD_IMPORT_STATUS));
    EXPECT_GT(loaded.import_total, 0u);
    EXPECT_EQ(loaded.import_total, loaded.import_done);
    EXPECT_EQ(0, loaded.import_errno);

    ASSERT_EQ(0, into.restoreSnapshot(snaps[0].uuid));
    const std::string restored = ReadAll(Image(target));
    const std::string original = ReadAll(Image(lun));
    ASSERT_EQ(48 * kMiB, restored.size());
    EXPECT_TRUE(restored.compare(0, original.size(), original) == 0);
    EXPECT_EQ(std::string(16 * kMiB, '\0'), restored.substr(original.size()));

    // A second import with no name gets one of its own.
    ASSERT_EQ(0, into.importLun("/volume1/exports/e2", "", "", ""));
    ASSERT_EQ("done", WaitFor("import", target).state);
    ASSERT_EQ(0, into.listSnapshot(snaps, 0));
    ASSERT_EQ(2u, snaps.size());
    EXPECT_EQ(0u, snaps[1].name.rfind("Import-", 0));
}

TEST_F(ExportImportTest, RefusedExports)
{
    std::string lun;
    std::string snap;
    MakeExport("e3", lun, snap);
    ISCSILIBLUN none;
    // A directory that holds an export already.
    EXPECT_EQ(ISCSI::ISCSI_ERR_EXPORT_DIR, none.exportLun(snap, "/volume1/exports/e3"));
    // A file in the way.
    std::ofstream(vol1_ + "/plain") << "x";
    EXPECT_EQ(ISCSI::ISCSI_ERR_EXPORT_DIR, none.exportLun(snap, "/volume1/plain"));
    // Paths outside the volumes.
    EXPECT_NE(0, none.exportLun(snap, "/volume1/../outside"));
    EXPECT_NE(0, none.exportLun(snap, root_ + "/outside"));
    EXPECT_FALSE(fs::exists(root_ + "/outside"));
    EXPECT_NE(0, none.exportLun(snap, "relative/dir"));
    EXPECT_EQ(kNoSuchSnapshot, none.exportLun("00000000-0000-4000-8000-000000000000", "/volume1/x"));
    EXPECT_FALSE(fs::exists(vol1_ + "/x"));
    // Nothing to cancel.
    EXPECT_EQ(ISCSI::ISCSI_ERR_NO_RUNNING_JOB, none.exportCancel(snap));
    EXPECT_EQ(kNoSuchSnapshot, none.exportCancel("00000000-0000-4000-8000-000000000000"));
}

TEST_F(ExportImportTest, RefusedImports)
{
    std::string lun;
    std::string snap;
    MakeExport("e4", lun, snap);
    const std::string dir = vol1_ + "/exports/e4";
    const std::string small = CreateLUN("small", 16 * kMiB);
    const std::string target = CreateLUN("target", 32 * kMiB);
    ISCSILIBLUN into(target, false, false, false);

    EXPECT_EQ(ISCSI::ISCSI_ERR_EXPORT_TOO_LARGE,
              ISCSILIBLUN(small, false, false, false).importLun("/volume1/exports/e4", "", "", ""));
    fs::create_directories(vol1_ + "/empty");
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_AN_EXPORT, into.importLun("/volume1/empty", "", "", ""));
    EXPECT_NE(0, into.importLun("/volume1/../etc", "", "", ""));
    Take(target, "taken");
    EXPECT_EQ(ISCSI::ISCSI_ERR_SNAPSHOT_NAME_EXISTS, into.importLun("/volume1/exports/e4", "taken", "", ""));

    // A newer format version.
    const Json::Value original = ReadJson(dir + "/export.json");
    Json::Value newer = original;
    newer["format_version"] = 2;
    WriteJson(dir + "/export.json", newer);
    EXPECT_EQ(ISCSI::ISCSI_ERR_EXPORT_VERSION, into.importLun("/volume1/exports/e4", "", "", ""));
    // An image name that leads out of the directory.
    Json::Value escaping = original;
    escaping["image"]["file"] = "../../@iscsi/" + lun + ".img";
    WriteJson(dir + "/export.json", escaping);
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_AN_EXPORT, into.importLun("/volume1/exports/e4", "", "", ""));
    std::ofstream(dir + "/export.json", std::ios::trunc) << "{ not json";
    EXPECT_EQ(ISCSI::ISCSI_ERR_NOT_AN_EXPORT, into.importLun("/volume1/exports/e4", "", "", ""));
    WriteJson(dir + "/export.json", original);

    // A changed image: the import runs, finds the digest wrong, and leaves nothing.
    WriteAt(dir + "/lun.img", static_cast<off_t>(20 * kMiB), "tampered");
    ASSERT_EQ(0, into.importLun("/volume1/exports/e4", "bad", "", ""));
    const ISCSI::Storage::JobRecord job = WaitFor("import", target);
    EXPECT_EQ("failed", job.state);
    EXPECT_EQ(ISCSI::ISCSI_ERR_EXPORT_CHECKSUM, job.errorCode);
    std::vector<ISCSISnapshotInfo> snaps;
    ASSERT_EQ(0, into.listSnapshot(snaps, 0));
    EXPECT_EQ(1u, snaps.size()); // only "taken"
    int files = 0;
    for (const auto& entry : fs::directory_iterator(vol1_ + "/@iscsi/snapshots/" + target)) {
        (void)entry;
        ++files;
    }
    EXPECT_EQ(1, files);
    ISCSILIBLUN loaded(target, false, false, false);
    ASSERT_EQ(0, loaded.loadLUNInfo(ISCSI::ISCSI_LUN_LOAD_IMPORT_STATUS));
    EXPECT_EQ(ISCSI::ISCSI_ERR_EXPORT_CHECKSUM, loaded.import_errno);
    EXPECT_EQ(ISCSI::ISCSI_ERR_NO_RUNNING_JOB, into.importCancel());
}

// An export directory whose image or manifest is a link to a file of the host, or a hard link
// to a file outside the volume, is refused before anything is read: no job, no snapshot.
TEST_F(ExportImportTest, LinksOutOfTheVolumeAreNotImported)
{
    std::string lun;
    std::string snap;
    MakeExport("e5", lun, snap);
    const std::string dir = vol1_ + "/exports/e5";
    const std::string target = CreateLUN("target", 32 * kMiB);
    ISCSILIBLUN into(target, false, false, false);

    // A file of the host (outside every volume) with a manifest that matches it.
    const std::string host = root_ + "/host-secret";
    std::ofstream(host) << "secret of the host\n";
    std::string digest;
    ASSERT_EQ(0, ISCSI::Storage::ContentDigest(host, digest));
    Json::Value planted = ReadJson(dir + "/export.json");
    planted["image"]["size"] = Json::UInt64(fs::file_size(host));
    planted["image"]["checksum"]["value"] = digest;
    fs::create_directories(vol1_ + "/planted");
    WriteJson(vol1_ + "/planted/export.json", planted);
    fs::create_symlink(host, vol1_ + "/planted/lun.img");
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_LEAVES_VOLUME, into.importLun("/volume1/planted", "", "", ""));

    // The same file as a hard link: the file system tells by its link count.
    fs::remove(vol1_ + "/planted/lun.img");
    fs::create_hard_link(host, vol1_ + "/planted/lun.img");
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_NOT_PLAIN_FILE, into.importLun("/volume1/planted", "", "", ""));

    // A manifest that is a link out of the volume, next to a good image.
    fs::create_directories(vol1_ + "/planted2");
    fs::copy_file(dir + "/lun.img", vol1_ + "/planted2/lun.img");
    WriteJson(root_ + "/outside.json", ReadJson(dir + "/export.json"));
    fs::create_symlink(root_ + "/outside.json", vol1_ + "/planted2/export.json");
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_LEAVES_VOLUME, into.importLun("/volume1/planted2", "", "", ""));
    // A named pipe as the image is no regular file (and opening it does not wait for a writer).
    fs::create_directories(vol1_ + "/planted3");
    fs::copy_file(dir + "/export.json", vol1_ + "/planted3/export.json");
    ASSERT_EQ(0, ::mkfifo((vol1_ + "/planted3/lun.img").c_str(), 0600));
    EXPECT_EQ(ISCSI::ISCSI_ERR_PATH_NOT_PLAIN_FILE, into.importLun("/volume1/planted3", "", "", ""));

    int rc = 0;
    Latest("import", target, &rc);
    EXPECT_NE(0, rc); // no import job was ever started
    std::vector<ISCSISnapshotInfo> snaps;
    ASSERT_EQ(0, into.listSnapshot(snaps, 0));
    EXPECT_TRUE(snaps.empty());
    // A link inside the volume to a real export image is still followed to it.
    fs::create_directories(vol1_ + "/inside");
    fs::copy_file(dir + "/export.json", vol1_ + "/inside/export.json");
    fs::create_symlink(dir + "/lun.img", vol1_ + "/inside/lun.img");
    ASSERT_EQ(0, into.importLun("/volume1/inside", "linked", "", ""));
    EXPECT_EQ("done", WaitFor("import", target).state);
}

TEST_F(ExportImportTest, CancelledExportAndImportLeaveNothing)
{
    const std::string lun = CreateLUN("slow", 32 * kMiB);
    WriteAt(Image(lun), 0, std::string(12 * kMiB, 's'));
    const std::string snap = Take(lun, "big");
    ISCSI::Storage::SetCopyRateLimit(kMiB); // 12 MiB at 1 MiB/s: stopped mid-way
    ISCSILIBLUN none;
    ASSERT_EQ(0, none.exportLun(snap, "/volume1/new/dir"));
    ISCSISnapshotInfo record(snap);
    ASSERT_EQ(0, record.loadFromConfig(ISCSI::ISCSI_SNAPSHOT_LOAD_EXPORT_STATUS));
    EXPECT_EQ("exporting", record.status);
    // The snapshot stays while it is exported.
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_BUSY, ISCSILIBLUN().deleteSnapshot(snap, "test"));
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_BUSY, none.exportLun(snap, "/volume1/other"));
    ASSERT_EQ(0, none.exportCancel(snap));
    const ISCSI::Storage::JobRecord job = WaitFor("export", snap);
    EXPECT_EQ("cancelled", job.state);
    EXPECT_FALSE(fs::exists(vol1_ + "/new/dir")); // made by the export, removed with it
    EXPECT_TRUE(fs::exists(vol1_ + "/new"));
    ASSERT_EQ(0, record.loadFromConfig(ISCSI::ISCSI_SNAPSHOT_LOAD_EXPORT_STATUS));
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_CANCELLED, record.export_errno);
    EXPECT_EQ("normal", record.status);

    // An import, stopped the same way.
    ISCSI::Storage::SetCopyRateLimit(0);
    ASSERT_EQ(0, none.exportLun(snap, "/volume1/full"));
    ASSERT_EQ("done", WaitFor("export", snap).state);
    const std::string target = CreateLUN("target", 32 * kMiB);
    ISCSI::Storage::SetCopyRateLimit(kMiB);
    ISCSILIBLUN into(target, false, false, false);
    ASSERT_EQ(0, into.importLun("/volume1/full", "half", "", ""));
    EXPECT_EQ(ISCSI::ISCSI_ERR_JOB_BUSY, into.importLun("/volume1/full", "twice", "", ""));
    ASSERT_EQ(0, into.importCancel());
    EXPECT_EQ("cancelled", WaitFor("import", target).state);
    std::vector<ISCSISnapshotInfo> snaps;
    ASSERT_EQ(0, into.listSnapshot(snaps, 0));
    EXPECT_TRUE(snaps.empty());
    std::error_code ec;
    EXPECT_TRUE(fs::is_empty(vol1_ + "/@iscsi/snapshots/" + target, ec));
    // The export it read from is untouched.
    EXPECT_TRUE(fs::exists(vol1_ + "/full/lun.img"));
    EXPECT_TRUE(fs::exists(vol1_ + "/full/export.json"));
}

// A LUN is not deleted while one of its snapshots is exported or a snapshot is imported into
// it: the refusal names the job, and the LUN goes once the job is cancelled.
TEST_F(ExportImportTest, LUNIsNotDeletedWhileExportedOrImported)
{
    const std::string lun = CreateLUN("busy", 32 * kMiB);
    WriteAt(Image(lun), 0, std::string(12 * kMiB, 'b'));
    const std::string snap = Take(lun, "big");
    ISCSILIBLUN none;
    ASSERT_EQ(0, none.exportLun(snap, "/volume1/done"));
    ASSERT_EQ("done", WaitFor("export", snap).state);

    ISCSI::Storage::SetCopyRateLimit(kMiB); // 12 MiB at 1 MiB/s: still running below
    ASSERT_EQ(0, none.exportLun(snap, "/volume1/slow"));
    ISCSILIBLUN owner(lun, false, false, false);
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_IN_EXPORT, owner.deleteLUN());
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_IN_EXPORT, ISCSILIBLUN().deleteLunNonBlocking({lun}));
    ISCSILIBLUN precheck(lun, false, false, true);
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_IN_EXPORT, precheck.deleteLUN());
    EXPECT_EQ(0, ISCSILIBLUN(lun, false, false, false).loadLUNInfo(0)); // still there
    ASSERT_EQ(0, none.exportCancel(snap));
    EXPECT_EQ("cancelled", WaitFor("export", snap).state);

    const std::string target = CreateLUN("target", 32 * kMiB);
    ISCSILIBLUN into(target, false, false, false);
    ASSERT_EQ(0, into.importLun("/volume1/done", "half", "", ""));
    EXPECT_EQ(ISCSI::ISCSI_ERR_LUN_IN_IMPORT, into.deleteLUN());
    ASSERT_EQ(0, into.importCancel());
    EXPECT_EQ("cancelled", WaitFor("import", target).state);

    ISCSI::Storage::SetCopyRateLimit(0);
    EXPECT_EQ(0, into.deleteLUN());
    EXPECT_EQ(0, owner.deleteLUN());
}

} // namespace
