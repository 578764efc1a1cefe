// --wait: follows a job of the storage library by polling its progress method, draws a
// progress bar on a terminal (plain lines otherwise), and on Ctrl-C asks whether to cancel
// the job through the API's stop method.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace iscsictl {

struct JobState {
    bool running = true;
    std::uint64_t done = 0;  // bytes (or units) done
    std::uint64_t total = 0; // 0 while unknown
    int errorCode = 0;       // the job's code once it ended (0: it succeeded)
};

struct Job {
    std::string what;               // "clone of LUN lun1", for messages
    std::function<JobState()> poll; // one reading of the progress method
    std::function<void()> stop;     // cancels the job through the API
};

// Waits until the job ends. Answers normally when it succeeded; throws a failure (exit 1)
// when it failed, or exit 130 when it was cancelled or left after Ctrl-C.
void WaitFor(const Job& job);

// The draw of one progress line (for a terminal of width columns): bar, percentage, bytes,
// rate and time left.
std::string ProgressLine(std::uint64_t done, std::uint64_t total, double bytesPerSecond, int width);

} // namespace iscsictl
