// The conversion of the LUN files of a volume into subvolumes (btrfs), and what the rest of the
// library needs to know about a LUN that lives in a subvolume.
//
// A converted LUN's file is "<volume dir>/@iscsi/<uuid>.subvol/<uuid>.img", where
// "<uuid>.subvol" is a btrfs subvolume of its own; the row's file_path says where the LUN is
// ("@iscsi/<uuid>.img" before, "@iscsi/<uuid>.subvol/<uuid>.img" after). A file cannot be
// renamed from one subvolume into another (EXDEV), so the temporary files of a LUN in a
// subvolume (".img.deleting", ".img.restoring") are made next to its file.
#pragma once

#include "context/LibraryContext.h"

#include <string>

namespace ISCSI {
namespace Storage {

struct LUNRow;

// The job kind of a conversion.
constexpr char kSubvolConvertJobKind[] = "subvol_convert";

// Whether the LUN's file lies in a subvolume of its own (a converted LUN).
bool LunInSubvolume(const LUNRow& row);
// The file_path of a LUN converted into its subvolume: "@iscsi/<uuid>.subvol/<uuid>.img".
std::string SubvolLunFilePath(const std::string& uuid);
// Removes the subvolume of a deleted LUN ("<volume dir>/@iscsi/<uuid>.subvol") with what it
// holds. False (errno set) when it could not be removed; start-up removes it then.
bool RemoveLunSubvolume(const std::string& volumeDir, const std::string& uuid);

// A snapshot of a LUN in a subvolume is a snapshot of that subvolume:
// "@iscsi/snapshots/<lun uuid>/<snapshot uuid>.subvol", whose copy of the LUN file is the
// snapshot's image. Its file_path:
// "@iscsi/snapshots/<lun uuid>/<snapshot uuid>.subvol/<lun uuid>.img".
std::string SubvolSnapshotFilePath(const std::string& lunUuid, const std::string& snapshotUuid);
bool SnapshotInSubvolume(const std::string& lunUuid, const std::string& snapshotUuid,
                         const std::string& filePath);
// Snapshots the LUN's subvolume into snapshotDir (writable, so that it can also be emptied and
// removed as a directory) and syncs the file system. False (errno set) when it could not be
// made; nothing is left then.
bool SnapshotLunSubvolume(const std::string& volumeDir, const std::string& lunUuid,
                          const std::string& snapshotDir, const std::string& snapshotUuid);
// Removes the subvolume of a snapshot made by SnapshotLunSubvolume.
bool RemoveSnapshotSubvolume(const std::string& snapshotDir, const std::string& snapshotUuid);

} // namespace Storage
} // namespace ISCSI
