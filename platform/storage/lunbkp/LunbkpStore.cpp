// The rows of LUN backup: attached targets and copy states (see LunbkpStore.h).
#include "lunbkp/LunbkpStore.h"

#include <iscsi/ISCSIErrors.h>

#include <algorithm>
#include <ctime>

namespace ISCSI {
namespace Storage {
namespace {

const char kHex[] = "0123456789abcdef";

// The bitmap as hex text, four chunks a digit, the first chunk in the lowest bit.
std::string BitmapText(const std::vector<bool>& bits)
{
    std::string text;
    text.reserve((bits.size() + 3) / 4);
    for (std::size_t i = 0; i < bits.size(); i += 4) {
        int digit = 0;
        for (std::size_t k = 0; k < 4 && i + k < bits.size(); ++k)
            digit |= bits[i + k] ? 1 << k : 0;
        text += kHex[digit];
    }
    return text;
}

std::vector<bool> BitmapOfText(const std::string& text, std::uint64_t chunks)
{
    std::vector<bool> bits(chunks, false);
    for (std::uint64_t i = 0; i < chunks && i / 4 < text.size(); ++i) {
        const char c = text[i / 4];
        const int digit = c >= '0' && c <= '9' ? c - '0' : (c >= 'a' && c <= 'f' ? c - 'a' + 10 : 0);
        bits[i] = (digit >> (i % 4)) & 1;
    }
    return bits;
}

int ReadTarget(Statement& query, ConnectedTarget& row)
{
    const int rc = query.step();
    if (rc == SQLITE_DONE)
        return ISCSI_ERR_LUNBKP_NO_DEVICE;
    if (rc != SQLITE_ROW)
        return ISCSI_ERR_DATABASE;
    row.portal = query.text(0);
    row.iqn = query.text(1);
    row.lun = static_cast<int>(query.integer(2));
    row.blockDevPath = query.text(3);
    row.connectedAt = query.integer(4);
    return 0;
}

const char kCopyColumns[] = "SELECT lun_uuid, type, block_dev_path, location, lun_size, chunk_size, bitmap, "
                            "chunks_done, state, error_code, updated_at FROM lunbkp_copies ";

void ReadCopy(const Statement& query, CopyState& state)
{
    state.lunUuid = query.text(0);
    state.type = static_cast<int>(query.integer(1));
    state.blockDevPath = query.text(2);
    state.location = query.text(3);
    state.lunSize = static_cast<std::uint64_t>(query.integer(4));
    state.chunkSize = static_cast<std::uint64_t>(query.integer(5));
    if (state.chunkSize == 0)
        state.chunkSize = kLunbkpChunkSize;
    state.bitmap = BitmapOfText(query.text(6), state.chunkCount());
    state.chunksDone = static_cast<std::uint64_t>(query.integer(7));
    state.state = query.text(8);
    state.errorCode = static_cast<int>(query.integer(9));
    state.updatedAt = query.integer(10);
}

} // namespace

std::uint64_t CopyState::sectorsDone() const
{
    std::uint64_t bytes = chunksDone * chunkSize;
    const std::uint64_t chunks = chunkCount();
    // Only the last chunk can be short, and it counts once it is done.
    if (chunks != 0 && bitmap.size() == chunks && bitmap[chunks - 1])
        bytes -= chunks * chunkSize - lunSize;
    return (std::min(bytes, lunSize) + kSectorSize - 1) / kSectorSize;
}

std::string DevicePathOf(const std::string& portal, const std::string& iqn, int lun)
{
    return "iscsi://" + portal + "/" + iqn + "/" + std::to_string(lun);
}

int FindConnectedTarget(ConfigDB& db, const std::string& portal, const std::string& iqn, ConnectedTarget& row)
{
    Statement query(db, "SELECT portal, iqn, lun, block_dev_path, connected_at FROM lunbkp_targets "
                        "WHERE portal = ?1 AND iqn = ?2;");
    query.bind(1, portal).bind(2, iqn);
    return ReadTarget(query, row);
}

int FindConnectedTargetByPath(ConfigDB& db, const std::string& blockDevPath, ConnectedTarget& row)
{
    Statement query(db, "SELECT portal, iqn, lun, block_dev_path, connected_at FROM lunbkp_targets "
                        "WHERE block_dev_path = ?1;");
    query.bind(1, blockDevPath);
    return ReadTarget(query, row);
}

int SaveConnectedTarget(ConfigDB& db, const ConnectedTarget& row)
{
    Statement insert(db,
                     "INSERT OR REPLACE INTO lunbkp_targets (portal, iqn, lun, block_dev_path, connected_at) "
                     "VALUES (?1, ?2, ?3, ?4, ?5);");
    insert.bind(1, row.portal)
        .bind(2, row.iqn)
        .bind(3, static_cast<std::int64_t>(row.lun))
        .bind(4, row.blockDevPath)
        .bind(5, static_cast<std::int64_t>(row.connectedAt));
    return insert.run() ? 0 : ISCSI_ERR_DATABASE;
}

int DeleteConnectedTarget(ConfigDB& db, const std::string& portal, const std::string& iqn)
{
    Statement remove(db, "DELETE FROM lunbkp_targets WHERE portal = ?1 AND iqn = ?2;");
    return remove.bind(1, portal).bind(2, iqn).run() ? 0 : ISCSI_ERR_DATABASE;
}

int LoadCopyState(ConfigDB& db, const std::string& lunUuid, CopyState& state)
{
    Statement query(db, (std::string(kCopyColumns) + "WHERE lun_uuid = ?1;").c_str());
    const int rc = query.bind(1, lunUuid).step();
    if (rc == SQLITE_DONE)
        return ISCSI_ERR_NO_RUNNING_JOB;
    if (rc != SQLITE_ROW)
        return ISCSI_ERR_DATABASE;
    ReadCopy(query, state);
    return 0;
}

int SaveCopyState(ConfigDB& db, const CopyState& state)
{
    Statement insert(db, "INSERT OR REPLACE INTO lunbkp_copies (lun_uuid, type, block_dev_path, location, "
                         "lun_size, chunk_size, bitmap, chunks_done, state, error_code, updated_at) "
                         "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11);");
    insert.bind(1, state.lunUuid)
        .bind(2, static_cast<std::int64_t>(state.type))
        .bind(3, state.blockDevPath)
        .bind(4, state.location)
        .bind(5, static_cast<std::int64_t>(state.lunSize))
        .bind(6, static_cast<std::int64_t>(state.chunkSize))
        .bind(7, BitmapText(state.bitmap))
        .bind(8, static_cast<std::int64_t>(state.chunksDone))
        .bind(9, state.state)
        .bind(10, static_cast<std::int64_t>(state.errorCode))
        .bind(11, static_cast<std::int64_t>(std::time(nullptr)));
    return insert.run() ? 0 : ISCSI_ERR_DATABASE;
}

int DeleteCopyState(ConfigDB& db, const std::string& lunUuid)
{
    Statement remove(db, "DELETE FROM lunbkp_copies WHERE lun_uuid = ?1;");
    return remove.bind(1, lunUuid).run() ? 0 : ISCSI_ERR_DATABASE;
}

int ListOrphanCopies(ConfigDB& db, std::vector<CopyState>& orphans)
{
    Statement query(db,
                    (std::string(kCopyColumns) + "WHERE lun_uuid NOT IN (SELECT uuid FROM luns);").c_str());
    int rc;
    while ((rc = query.step()) == SQLITE_ROW) {
        CopyState state;
        ReadCopy(query, state);
        orphans.push_back(std::move(state));
    }
    return rc == SQLITE_DONE ? 0 : ISCSI_ERR_DATABASE;
}

} // namespace Storage
} // namespace ISCSI
