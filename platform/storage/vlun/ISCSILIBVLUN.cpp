// Virtual LUNs over a source LUN: the rows of the table vluns. A VLUN names what a sync of its
// source LUN to a bound destination carries, by its type:
//   1 (ISCSI_VLUN_TYPE_1), full: every byte of the source LUN; total = the LUN's size;
//   2 (ISCSI_VLUN_TYPE_2), allocated: only the allocated extents of the source's file; total =
//     the bytes allocated to it (a LUN without a file counts its whole size);
//   3 (ISCSI_VLUN_TYPE_3), snapshot: the image of the source's newest snapshot; total = that
//     snapshot's size, 0 while the LUN has none.
// Binding to a destination is not offered yet (pending/ISCSILIBVLUN.cpp), so a VLUN stays
// unbound (status kVLUNStatusUnbound) with nothing in sync. Deleting the source LUN deletes
// its VLUNs (ON DELETE CASCADE).
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILIBVLUN.h>

#include "config/ConfigDB.h"
#include "context/LibraryContext.h"
#include "log/ServiceLog.h"
#include "lun/LUNStore.h"
#include "snapshot/SnapshotStore.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace ISCSI {
namespace LIB {
namespace LIBVLUN {
namespace {

using Storage::ConfigDB;
using Storage::LibraryContext;
using Storage::Statement;
using Storage::Transaction;

using Storage::kNoSuchLUN;

// The codes of the module for a VLUN that is not there, and a bad type.
constexpr int kInvalidVLUNType = 18991000;
constexpr int kNoSuchVLUN = 18991001;

// Status of a VLUN: not bound to a destination; nothing has been synced.
constexpr int kVLUNStatusUnbound = 0;

struct VLUNRow {
    std::string uuid;
    int type = 0;
    std::string src_lun_uuid;
    int status = kVLUNStatusUnbound;
    unsigned long long sync_size = 0;
};

// 0, kNoSuchVLUN or ISCSI_ERR_DATABASE.
int FindVLUN(ConfigDB& db, const std::string& uuid, VLUNRow& row)
{
    Statement select(db, "SELECT uuid, type, src_lun_uuid, status, sync_size FROM vluns WHERE uuid = ?1;");
    const int rc = select.bind(1, uuid).step();
    if (rc == SQLITE_DONE)
        return kNoSuchVLUN;
    if (rc != SQLITE_ROW)
        return ISCSI_ERR_DATABASE;
    row.uuid = select.text(0);
    row.type = static_cast<int>(select.integer(1));
    row.src_lun_uuid = select.text(2);
    row.status = static_cast<int>(select.integer(3));
    row.sync_size = static_cast<unsigned long long>(select.integer(4));
    return 0;
}

// What a sync of the source carries, by the VLUN's type. 0, kNoSuchLUN or ISCSI_ERR_DATABASE.
int TotalSize(LibraryContext& ctx, const VLUNRow& vlun, unsigned long long& total)
{
    Storage::LUNRow lun;
    int rc = Storage::FindLUNByUuid(ctx.db(), vlun.src_lun_uuid, lun);
    if (rc != 0)
        return rc;
    switch (vlun.type) {
    case ISCSI::ISCSI_VLUN_TYPE_2: {
        unsigned long long allocated = 0;
        const std::string volumeDir = ctx.volumeDir(lun.location);
        if (Storage::IsFileType(lun.type) && !volumeDir.empty() &&
            Storage::AllocatedBytes(volumeDir + "/" + lun.file_path, allocated))
            total = allocated < lun.size ? allocated : lun.size;
        else
            total = lun.size;
        return 0;
    }
    case ISCSI::ISCSI_VLUN_TYPE_3: {
        std::vector<Storage::SnapshotRow> snapshots;
        rc = Storage::ListSnapshotRows(ctx.db(), lun.uuid, snapshots);
        if (rc != 0)
            return rc;
        total = 0;
        int newestId = 0;
        for (const Storage::SnapshotRow& snapshot : snapshots) {
            if (snapshot.snapshot_id > newestId) {
                newestId = snapshot.snapshot_id;
                total = snapshot.size;
            }
        }
        return 0;
    }
    default:
        total = lun.size;
        return 0;
    }
}

} // namespace

ISCSILIBVLUN::ISCSILIBVLUN() : type(ISCSI::ISCSI_VLUN_TYPE_NONE) {}
ISCSILIBVLUN::ISCSILIBVLUN(ISCSI::_tag_iscsi_vlun_type type, const std::string& srcLunUuid)
    : type(type), src_lun_uuid(srcLunUuid)
{}
ISCSILIBVLUN::ISCSILIBVLUN(const std::string& uuid) : uuid(uuid), type(ISCSI::ISCSI_VLUN_TYPE_NONE) {}
ISCSILIBVLUN::~ISCSILIBVLUN() = default;

int ISCSILIBVLUN::createVLUN()
{
    if (type < ISCSI::ISCSI_VLUN_TYPE_1 || type > ISCSI::ISCSI_VLUN_TYPE_3)
        return kInvalidVLUNType;
    std::string made;
    const int rc = LibraryContext::With([&](LibraryContext& ctx) {
        ConfigDB& db = ctx.db();
        Transaction tx(db);
        if (!tx.begun())
            return static_cast<int>(ISCSI_ERR_DATABASE);
        Storage::LUNRow lun;
        const int found = Storage::FindLUNByUuid(db, src_lun_uuid, lun);
        if (found != 0)
            return found;
        made = Storage::NewUuid();
        Statement insert(db, "INSERT INTO vluns (uuid, type, src_lun_uuid, status, sync_size, created_at) "
                             "VALUES (?1, ?2, ?3, ?4, 0, ?5);");
        if (!insert.bind(1, made)
                 .bind(2, static_cast<std::int64_t>(type))
                 .bind(3, lun.uuid)
                 .bind(4, static_cast<std::int64_t>(kVLUNStatusUnbound))
                 .bind(5, static_cast<std::int64_t>(std::time(nullptr)))
                 .run())
            return static_cast<int>(ISCSI_ERR_DATABASE);
        Storage::WriteServiceLog(db, "info", "SYSTEM",
                                 "VLUN " + made + " of type " + std::to_string(static_cast<int>(type)) +
                                     " was created over LUN " + lun.name + ".");
        return tx.commit() ? 0 : static_cast<int>(ISCSI_ERR_DATABASE);
    });
    if (rc == 0)
        uuid = made;
    return rc;
}

int ISCSILIBVLUN::deleteVLUN()
{
    return LibraryContext::With([&](LibraryContext& ctx) {
        ConfigDB& db = ctx.db();
        Transaction tx(db);
        if (!tx.begun())
            return static_cast<int>(ISCSI_ERR_DATABASE);
        VLUNRow row;
        const int found = FindVLUN(db, uuid, row);
        if (found != 0)
            return found;
        Statement remove(db, "DELETE FROM vluns WHERE uuid = ?1;");
        if (!remove.bind(1, row.uuid).run())
            return static_cast<int>(ISCSI_ERR_DATABASE);
        Storage::WriteServiceLog(db, "info", "SYSTEM", "VLUN " + row.uuid + " was deleted.");
        return tx.commit() ? 0 : static_cast<int>(ISCSI_ERR_DATABASE);
    });
}

int ISCSILIBVLUN::loadStatus(int& status, unsigned long long& syncSize, unsigned long long& totalSize)
{
    return LibraryContext::With([&](LibraryContext& ctx) {
        VLUNRow row;
        int rc = FindVLUN(ctx.db(), uuid, row);
        if (rc != 0)
            return rc;
        unsigned long long total = 0;
        rc = TotalSize(ctx, row, total);
        if (rc != 0)
            return rc;
        type = static_cast<ISCSI::_tag_iscsi_vlun_type>(row.type);
        src_lun_uuid = row.src_lun_uuid;
        status = row.status;
        syncSize = row.sync_size;
        totalSize = total;
        return 0;
    });
}

} // namespace LIBVLUN
} // namespace LIB
} // namespace ISCSI
