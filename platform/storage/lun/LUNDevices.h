// What a LUN file is attached to on this host besides the target engine: loop devices, and
// the defragmentation processes that run on it.
//
// Loop devices are the kernel's own state: a LUN's device is found again by the backing file
// that /sys/block/loopN/loop/backing_file shows, so nothing is stored and a restarted process
// sees the devices that an earlier one attached. Defragmentation runs the file system's tool
// (btrfs filesystem defragment, e4defrag) as a child process of this one.
#pragma once

#include <string>
#include <vector>

namespace ISCSI {
namespace Storage {

// The loop device ("/dev/loopN") whose backing file is file; false when there is none. A
// device whose backing file was replaced at that path (a restore renames a new file over the
// LUN's; the kernel then shows the old one as "<path> (deleted)") is found too, with stale set.
bool FindLoopDevice(const std::string& file, std::string& device, bool* stale = nullptr);
// Attaches a free loop device to file (read and write). 0 and device, or ISCSI_ERR_LOOP_DEVICE
// (no loop control device, no free device, or no permission: attaching needs root).
int AttachLoopDevice(const std::string& file, std::string& device);
// Detaches device. 0 or ISCSI_ERR_LOOP_DEVICE. A device still open elsewhere (a mounted file
// system) is detached by the kernel once its last user closes it.
int DetachLoopDevice(const std::string& device);
// Detaches every loop device of file; answers how many were detached.
int DetachLoopDevicesOf(const std::string& file);

// Starts the defragmentation of the LUN uuid's file with the tool of the file system that
// holds it. background: answers once the tool runs; else waits for it. A LUN whose
// defragmentation runs already answers 0 at once. 0, ISCSI_ERR_DEFRAG (no tool for the file
// system, the tool cannot run or it failed), or ISCSI_ERR_JOB_CANCELLED (a wait ended by
// StopDefragProcess).
int StartDefragProcess(const std::string& uuid, const std::string& file, bool background);
// The process part of StartDefragProcess: runs argv (argv[0] an absolute program path) as the
// defragmentation of the LUN uuid.
int RunDefragProcess(const std::string& uuid, std::vector<std::string> argv, bool background);
// Stops the defragmentation of the LUN uuid (SIGTERM, then SIGKILL after 2 s). wait: answers
// once the process is gone. Answers 0, also when none runs.
int StopDefragProcess(const std::string& uuid, bool wait);
// Whether a defragmentation of the LUN uuid runs.
bool DefragRunning(const std::string& uuid);
// Stops every defragmentation and waits for them (the library's Reset).
void StopDefragProcesses();
// The command that defragments a file of the file system holding path: the program's path
// and its arguments, to which the file's path is appended. false when there is none (another
// file system, or its tool is not installed).
bool DefragCommand(const std::string& path, std::vector<std::string>& argv);

} // namespace Storage
} // namespace ISCSI
