// LUN rows and LUN files.
#include "lun/LUNStore.h"

#include <iscsi/ISCSIErrors.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <random>

namespace ISCSI {
namespace Storage {
namespace {

const char kSelectColumns[] =
    "SELECT uuid, lun_id, name, type, location, size, extent_size, dev_attribs_mask, "
    "dev_attribs, vpd_unit_sn, description, status, created_at, file_path FROM luns ";

void ReadRow(const Statement& st, LUNRow& row)
{
    row.uuid = st.text(0);
    row.lun_id = static_cast<int>(st.integer(1));
    row.name = st.text(2);
    row.type = static_cast<int>(st.integer(3));
    row.location = st.text(4);
    row.size = static_cast<unsigned long long>(st.integer(5));
    row.extent_size = static_cast<unsigned int>(st.integer(6));
    row.dev_attribs_mask = static_cast<unsigned int>(st.integer(7));
    row.dev_attribs = static_cast<unsigned int>(st.integer(8));
    row.vpd_unit_sn = st.text(9);
    row.description = st.text(10);
    row.status = st.text(11);
    row.created_at = st.integer(12);
    row.file_path = st.text(13);
}

int FindOne(ConfigDB& db, const char* where, const std::string& key, LUNRow& row)
{
    Statement st(db, (std::string(kSelectColumns) + where).c_str());
    const int rc = st.bind(1, key).step();
    if (rc == SQLITE_ROW) {
        ReadRow(st, row);
        return 0;
    }
    return rc == SQLITE_DONE ? kNoSuchLUN : ISCSI_ERR_DATABASE;
}

// Binds the columns of a row in the order of kSelectColumns.
void BindRow(Statement& st, const LUNRow& row)
{
    st.bind(1, row.uuid)
        .bind(2, static_cast<std::int64_t>(row.lun_id))
        .bind(3, row.name)
        .bind(4, static_cast<std::int64_t>(row.type))
        .bind(5, row.location)
        .bind(6, static_cast<std::int64_t>(row.size))
        .bind(7, static_cast<std::int64_t>(row.extent_size))
        .bind(8, static_cast<std::int64_t>(row.dev_attribs_mask))
        .bind(9, static_cast<std::int64_t>(row.dev_attribs))
        .bind(10, row.vpd_unit_sn)
        .bind(11, row.description)
        .bind(12, row.status)
        .bind(13, static_cast<std::int64_t>(row.created_at))
        .bind(14, row.file_path);
}

// Makes the length of fd size bytes, allocating the blocks from its old end when not thin.
int SizeFile(int fd, unsigned long long oldSize, unsigned long long size, bool thin)
{
    if (thin || size <= oldSize)
        return ftruncate(fd, static_cast<off_t>(size)) == 0 ? 0 : ISCSI_ERR_LUN_FILE;
    const off_t offset = static_cast<off_t>(oldSize);
    const off_t length = static_cast<off_t>(size - oldSize);
    if (fallocate(fd, 0, offset, length) == 0)
        return 0;
    if (errno != EOPNOTSUPP && errno != ENOSYS)
        return ISCSI_ERR_LUN_FILE;
    return posix_fallocate(fd, offset, length) == 0 ? 0 : ISCSI_ERR_LUN_FILE;
}

} // namespace

int FindLUNByUuid(ConfigDB& db, const std::string& uuid, LUNRow& row)
{
    return FindOne(db, "WHERE uuid = ?1;", uuid, row);
}

int FindLUNByName(ConfigDB& db, const std::string& name, LUNRow& row)
{
    return FindOne(db, "WHERE name = ?1;", name, row);
}

int WithLunRow(const std::string& uuid, const std::function<int(LibraryContext&, LUNRow&)>& fn)
{
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        LUNRow row;
        const int rc = FindLUNByUuid(ctx.db(), uuid, row);
        return rc != 0 ? rc : fn(ctx, row);
    });
}

int ListLUNRows(ConfigDB& db, std::vector<LUNRow>& rows)
{
    Statement st(db, (std::string(kSelectColumns) + "ORDER BY lun_id;").c_str());
    std::vector<LUNRow> found;
    int rc;
    while ((rc = st.step()) == SQLITE_ROW) {
        LUNRow row;
        ReadRow(st, row);
        found.push_back(std::move(row));
    }
    if (rc != SQLITE_DONE)
        return ISCSI_ERR_DATABASE;
    rows = std::move(found);
    return 0;
}

int CheckNameFree(ConfigDB& db, const std::string& name, const std::string& exceptUuid)
{
    Statement st(db, "SELECT 1 FROM luns WHERE name = ?1 AND uuid <> ?2;");
    const int rc = st.bind(1, name).bind(2, exceptUuid).step();
    if (rc == SQLITE_ROW)
        return ISCSI_ERR_LUN_NAME_EXISTS;
    return rc == SQLITE_DONE ? 0 : ISCSI_ERR_DATABASE;
}

int NextLunId(ConfigDB& db, int& id)
{
    Statement st(db, "SELECT lun_id FROM luns ORDER BY lun_id;");
    int candidate = 1;
    int rc;
    while ((rc = st.step()) == SQLITE_ROW) {
        const std::int64_t taken = st.integer(0);
        if (taken > candidate)
            break;
        if (taken == candidate)
            ++candidate;
    }
    if (rc != SQLITE_ROW && rc != SQLITE_DONE)
        return ISCSI_ERR_DATABASE;
    if (candidate > kMaxLunId)
        return ISCSI_ERR_NO_FREE_LUN_ID;
    id = candidate;
    return 0;
}

int SumThinSizes(ConfigDB& db, const std::string& location, const std::string& exceptUuid,
                 unsigned long long& sum)
{
    Statement st(db, "SELECT type, size FROM luns WHERE location = ?1 AND uuid <> ?2;");
    st.bind(1, location).bind(2, exceptUuid);
    unsigned long long total = 0;
    int rc;
    while ((rc = st.step()) == SQLITE_ROW) {
        if (IsThinType(static_cast<int>(st.integer(0))))
            total += static_cast<unsigned long long>(st.integer(1));
    }
    if (rc != SQLITE_DONE)
        return ISCSI_ERR_DATABASE;
    sum = total;
    return 0;
}

int InsertLUNRow(ConfigDB& db, const LUNRow& row)
{
    Statement st(db,
                 "INSERT INTO luns (uuid, lun_id, name, type, location, size, extent_size, dev_attribs_mask, "
                 "dev_attribs, vpd_unit_sn, description, status, created_at, file_path) "
                 "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14);");
    BindRow(st, row);
    return st.run() ? 0 : ISCSI_ERR_DATABASE;
}

int UpdateLUNRow(ConfigDB& db, const LUNRow& row)
{
    Statement st(db, "UPDATE luns SET lun_id = ?2, name = ?3, type = ?4, location = ?5, size = ?6, "
                     "extent_size = ?7, dev_attribs_mask = ?8, dev_attribs = ?9, vpd_unit_sn = ?10, "
                     "description = ?11, status = ?12, created_at = ?13, file_path = ?14 WHERE uuid = ?1;");
    BindRow(st, row);
    return st.run() ? 0 : ISCSI_ERR_DATABASE;
}

int DeleteLUNRow(ConfigDB& db, const std::string& uuid)
{
    Statement st(db, "DELETE FROM luns WHERE uuid = ?1;");
    return st.bind(1, uuid).run() ? 0 : ISCSI_ERR_DATABASE;
}

void RowToRecord(const LUNRow& row, ISCSILUNInfo& record)
{
    record.uuid = row.uuid;
    record.lun_id = row.lun_id;
    record.name = row.name;
    record.type = static_cast<_tag_iscsi_lun_type>(row.type);
    record.location = row.location;
    record.size = row.size;
    record.description = row.description;
    record.vpd_unit_sn = row.vpd_unit_sn;
    record.dev_attribs = row.dev_attribs;
}

std::string NewUuid()
{
    static thread_local std::random_device device;
    unsigned char bytes[16];
    for (int i = 0; i < 16; i += 4) {
        const unsigned int word = device();
        for (int j = 0; j < 4; ++j)
            bytes[i + j] = static_cast<unsigned char>(word >> (8 * j));
    }
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40); // version 4
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80); // RFC 4122 variant
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            out += '-';
        out += hex[bytes[i] >> 4];
        out += hex[bytes[i] & 0x0F];
    }
    return out;
}

bool LooksLikeUuid(const std::string& text)
{
    if (text.size() != 36)
        return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (c != '-')
                return false;
        } else if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'))) {
            return false;
        }
    }
    return true;
}

bool IsFileType(int type)
{
    return (type & ISCSI_LUN_BIT_FILE) != 0;
}

bool IsThinType(int type)
{
    return (type & ISCSI_LUN_BIT_THIN) != 0;
}

int CreateLunFile(const std::string& path, unsigned long long size, bool thin)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        return ISCSI_ERR_LUN_FILE;
    int rc = SizeFile(fd, 0, size, thin);
    if (rc == 0 && fsync(fd) != 0)
        rc = ISCSI_ERR_LUN_FILE;
    close(fd);
    if (rc != 0)
        std::remove(path.c_str());
    return rc;
}

int AllocateLunFile(const std::string& path, unsigned long long size)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return ISCSI_ERR_LUN_FILE;
    int rc = 0;
    if (size > 0 && fallocate(fd, 0, 0, static_cast<off_t>(size)) != 0) {
        if (errno != EOPNOTSUPP && errno != ENOSYS)
            rc = ISCSI_ERR_LUN_FILE;
        else if (posix_fallocate(fd, 0, static_cast<off_t>(size)) != 0)
            rc = ISCSI_ERR_LUN_FILE;
    }
    if (rc == 0 && fsync(fd) != 0)
        rc = ISCSI_ERR_LUN_FILE;
    close(fd);
    return rc;
}

std::string LunDataPath(const LibraryContext& ctx, const LUNRow& row)
{
    if (!IsFileType(row.type))
        return row.file_path;
    const std::string dir = ctx.volumeDir(row.location);
    return dir.empty() ? std::string() : dir + "/" + row.file_path;
}

int FindLUNByDevice(ConfigDB& db, const std::string& devicePath, LUNRow& row)
{
    std::vector<LUNRow> rows;
    const int rc = ListLUNRows(db, rows);
    if (rc != 0)
        return rc;
    for (const LUNRow& one : rows) {
        if (!IsFileType(one.type) && one.file_path == devicePath) {
            row = one;
            return 0;
        }
    }
    return 18990505;
}

int GrowLunFile(const std::string& path, unsigned long long size, bool thin)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return ISCSI_ERR_LUN_FILE;
    struct stat st {};
    int rc = fstat(fd, &st) == 0 ? 0 : ISCSI_ERR_LUN_FILE;
    if (rc == 0)
        rc = SizeFile(fd, static_cast<unsigned long long>(st.st_size), size, thin);
    if (rc == 0 && fsync(fd) != 0)
        rc = ISCSI_ERR_LUN_FILE;
    close(fd);
    return rc;
}

void TruncateLunFile(const std::string& path, unsigned long long size)
{
    if (truncate(path.c_str(), static_cast<off_t>(size)) != 0) {
        // Nothing more can be done here; the file stays longer than its row says.
    }
}

bool AllocatedBytes(const std::string& path, unsigned long long& bytes)
{
    struct stat st {};
    if (stat(path.c_str(), &st) != 0)
        return false;
    bytes = static_cast<unsigned long long>(st.st_blocks) * 512ULL;
    return true;
}

bool IsPresentableVpdUnitSn(const std::string& serial)
{
    if (serial.empty() || serial.size() > kVpdUnitSnMaxLength)
        return false;
    for (const char c : serial) {
        if (c <= ' ' || c > '~' || c == ',' || c == '=')
            return false;
    }
    return true;
}

int CheckVpdUnitSn(const std::string& serial)
{
    return serial.empty() || IsPresentableVpdUnitSn(serial) ? 0 : kInvalidVpdUnitSn;
}

std::string DefaultVpdUnitSn(const std::string& uuid)
{
    std::string sn;
    for (char c : uuid) {
        if (c != '-')
            sn += c;
    }
    return sn;
}

} // namespace Storage
} // namespace ISCSI
