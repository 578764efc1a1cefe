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

} // namespace Storage
} // namespace ISCSI
