// The LUN rows of the configuration database, and the files that back file LUNs.
#pragma once

#include "context/LibraryContext.h"

#include <iscsi/ISCSILUNInfo.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace ISCSI {
namespace Storage {

// One row of the table luns. A LUN of the BLOCK type lies on a block device instead of a
// file: its location and file_path are both the device's absolute path ("/dev/sdb").
struct LUNRow {
    std::string uuid;
    int lun_id = 0;
    std::string name;
    int type = 0;
    std::string location;
    unsigned long long size = 0;
    unsigned int extent_size = 0;
    unsigned int dev_attribs_mask = 0; // the attributes named when the LUN was made or changed
    unsigned int dev_attribs = 0;      // their values, ISCSI_DEV_ATTRIB_* bits
    std::string vpd_unit_sn;
    std::string description;
    std::string status;
    long long created_at = 0; // seconds since the epoch
    std::string file_path;    // relative to the volume's directory: "@iscsi/<uuid>.img"
};

// The largest LUN id; ids are given from 1 up, the lowest free one first.
constexpr int kMaxLunId = 65535;

// The codes that LUN operations share with the web API's parameter checks: a LUN type, a
// location, a name that cannot be used, and an identifier that names no LUN.
constexpr int kInvalidType = 18990500;
constexpr int kInvalidLocation = 18990501;
constexpr int kInvalidName = 18990503;
constexpr int kNoSuchLUN = 18990505;

constexpr int kInvalidVpdUnitSn = 18990620;

// The VPD unit serial number of a LUN made without one: its uuid without the dashes.
std::string DefaultVpdUnitSn(const std::string& uuid);
// The longest VPD unit serial number that the data path (tgtd) presents whole.
constexpr std::size_t kVpdUnitSnMaxLength = 36;

// Whether serial can be a LUN's VPD unit serial number as initiators see it: 1 to
// kVpdUnitSnMaxLength characters of printable ASCII (the unit serial number page carries
// ASCII data; tgtd cuts longer ones short), without spaces (the page pads with them), ',' or
// '=' (tgtd's parameter text cannot carry them).
bool IsPresentableVpdUnitSn(const std::string& serial);

// A serial given for a LUN: 0 when it is empty (none given) or presentable, else
// kInvalidVpdUnitSn. A serial tgtd would cut short or refuse is never stored, so that what
// the LUN reports is what initiators see.
int CheckVpdUnitSn(const std::string& serial);

// Row lookups: 0, 18990505 when there is no such row, or ISCSI_ERR_DATABASE.
int FindLUNByUuid(ConfigDB& db, const std::string& uuid, LUNRow& row);
int FindLUNByName(ConfigDB& db, const std::string& name, LUNRow& row);
// Runs fn under the library lock on the row of the LUN that uuid names; 18990505 when there
// is none (fn is not called), ISCSI_ERR_DATABASE, or fn's answer.
int WithLunRow(const std::string& uuid, const std::function<int(LibraryContext&, LUNRow&)>& fn);
// Every row, by LUN id. 0 or ISCSI_ERR_DATABASE.
int ListLUNRows(ConfigDB& db, std::vector<LUNRow>& rows);
// Whether another LUN than exceptUuid has the name: 0 (no), ISCSI_ERR_LUN_NAME_EXISTS or
// ISCSI_ERR_DATABASE.
int CheckNameFree(ConfigDB& db, const std::string& name, const std::string& exceptUuid);
// The lowest free LUN id into id: 0, ISCSI_ERR_NO_FREE_LUN_ID or ISCSI_ERR_DATABASE.
int NextLunId(ConfigDB& db, int& id);
// The sum of the sizes of the thin LUNs in location other than exceptUuid. 0 or
// ISCSI_ERR_DATABASE.
int SumThinSizes(ConfigDB& db, const std::string& location, const std::string& exceptUuid,
                 unsigned long long& sum);
// Row changes, inside the caller's transaction; 0 or ISCSI_ERR_DATABASE.
int InsertLUNRow(ConfigDB& db, const LUNRow& row);
int UpdateLUNRow(ConfigDB& db, const LUNRow& row);
int DeleteLUNRow(ConfigDB& db, const std::string& uuid);

// The record fields of a row (the facts of the load flags are left as they are).
void RowToRecord(const LUNRow& row, ISCSILUNInfo& record);

// A new random (version 4) uuid, lower case.
std::string NewUuid();
// Whether text has the form of a uuid (36 characters, hex digits and dashes at 8-4-4-4-12).
bool LooksLikeUuid(const std::string& text);

// The host path of the data of a LUN: its file in its volume, or its block device. Empty when
// the LUN's volume is not configured.
std::string LunDataPath(const LibraryContext& ctx, const LUNRow& row);
// The LUN that uses the block device devicePath (its real path), if any: 0, 18990505 when none,
// or ISCSI_ERR_DATABASE.
int FindLUNByDevice(ConfigDB& db, const std::string& devicePath, LUNRow& row);

// Whether a type is backed by a file of a volume (every type but the BLOCK one).
bool IsFileType(int type);
bool IsThinType(int type);

// Creates path with size bytes: sparse (ftruncate) when thin, else with every block allocated
// (fallocate, or posix_fallocate where the file system lacks it). The file must not exist.
// 0 or ISCSI_ERR_LUN_FILE; on failure nothing is left at path.
int CreateLunFile(const std::string& path, unsigned long long size, bool thin);
// Grows path to size bytes, sparse or allocated as CreateLunFile. 0 or ISCSI_ERR_LUN_FILE.
int GrowLunFile(const std::string& path, unsigned long long size, bool thin);
// Gives every block of path's first size bytes storage (fallocate mode 0 keeps the data), for
// a LUN that becomes thick. 0 or ISCSI_ERR_LUN_FILE.
int AllocateLunFile(const std::string& path, unsigned long long size);
// Sets the length of path back to size (after a change that could not be committed).
void TruncateLunFile(const std::string& path, unsigned long long size);
// The bytes allocated to path (st_blocks * 512); false when it cannot be looked at.
bool AllocatedBytes(const std::string& path, unsigned long long& bytes);

} // namespace Storage
} // namespace ISCSI
