#include "Wait.h"

#include "ApiClient.h"
#include "Output.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <thread>

namespace iscsictl {

namespace {

volatile sig_atomic_t gInterrupted = 0;

void OnInterrupt(int)
{
    gInterrupted = 1;
}

// Ctrl-C sets a flag while this object lives, instead of ending the program.
class InterruptGuard {
public:
    InterruptGuard()
    {
        gInterrupted = 0;
        struct sigaction action {};
        action.sa_handler = OnInterrupt;
        sigemptyset(&action.sa_mask);
        ::sigaction(SIGINT, &action, &saved_);
    }
    ~InterruptGuard() { ::sigaction(SIGINT, &saved_, nullptr); }

private:
    struct sigaction saved_ {};
};

int TerminalWidth()
{
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 20)
        return size.ws_col;
    return 80;
}

std::string Duration(double seconds)
{
    if (!(seconds >= 0) || seconds > 359999)
        return "--:--";
    const long s = static_cast<long>(seconds + 0.5);
    char out[32];
    if (s >= 3600)
        std::snprintf(out, sizeof out, "%ld:%02ld:%02ld", s / 3600, s / 60 % 60, s % 60);
    else
        std::snprintf(out, sizeof out, "%ld:%02ld", s / 60, s % 60);
    return out;
}

// Asks a yes/no question on the terminal; false without a terminal or on no answer.
bool Confirm(const std::string& question)
{
    const int tty = ::open("/dev/tty", O_RDWR | O_CLOEXEC);
    if (tty < 0)
        return false;
    const std::string prompt = "\n" + question + " [y/N] ";
    bool yes = false;
    if (::write(tty, prompt.data(), prompt.size()) == static_cast<ssize_t>(prompt.size())) {
        std::string line;
        char c = 0;
        while (::read(tty, &c, 1) == 1 && c != '\n')
            line += c;
        yes = !line.empty() && (line[0] == 'y' || line[0] == 'Y');
    }
    ::close(tty);
    return yes;
}

bool HasTerminal()
{
    const int tty = ::open("/dev/tty", O_RDWR | O_CLOEXEC);
    if (tty < 0)
        return false;
    ::close(tty);
    return true;
}

} // namespace

std::string ProgressLine(std::uint64_t done, std::uint64_t total, double bytesPerSecond, int width)
{
    const double fraction = total ? static_cast<double>(done) / static_cast<double>(total) : 0.0;
    char percent[16];
    std::snprintf(percent, sizeof percent, "%3d%%", static_cast<int>(fraction * 100.0));
    std::string tail = std::string(" ") + percent + "  " + FormatSize(done) + " / " + FormatSize(total);
    tail +=
        "  " + (bytesPerSecond > 0 ? FormatSize(static_cast<std::uint64_t>(bytesPerSecond)) + "/s" : "-/s");
    const double left =
        bytesPerSecond > 0 ? static_cast<double>(total - std::min(done, total)) / bytesPerSecond : -1;
    tail += "  ETA " + (done >= total && total ? "0:00" : Duration(left));
    int barWidth = width - static_cast<int>(tail.size()) - 3;
    if (barWidth < 10)
        barWidth = 10;
    const int filled = static_cast<int>(fraction * barWidth);
    return "[" + std::string(filled, '#') + std::string(barWidth - filled, '.') + "]" + tail;
}

void WaitFor(const Job& job)
{
    using Clock = std::chrono::steady_clock;
    const bool terminal = ::isatty(STDERR_FILENO) == 1 && Mode() != OutputMode::Quiet;
    InterruptGuard guard;
    const Clock::time_point start = Clock::now();
    std::uint64_t firstDone = 0;
    bool haveFirst = false;
    int lastPercent = -1;
    bool drawn = false;

    auto draw = [&](const JobState& state) {
        if (!state.total)
            return;
        const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
        if (!haveFirst) {
            firstDone = state.done;
            haveFirst = true;
        }
        const double rate = elapsed > 0.2 && state.done > firstDone ? (state.done - firstDone) / elapsed : 0;
        const int percent = static_cast<int>(100.0 * state.done / state.total);
        if (terminal) {
            std::cerr << "\r" << ProgressLine(state.done, state.total, rate, TerminalWidth() - 1)
                      << std::flush;
            drawn = true;
        } else if (Mode() != OutputMode::Quiet && percent / 10 != lastPercent / 10) {
            std::cerr << job.what << ": " << percent << "% (" << FormatSize(state.done) << " of "
                      << FormatSize(state.total) << ")\n";
        }
        lastPercent = percent;
    };
    auto endLine = [&] {
        if (drawn)
            std::cerr << "\n";
        drawn = false;
    };

    while (true) {
        const JobState state = job.poll();
        if (!state.running) {
            if (state.errorCode != 0) {
                endLine();
                throw ErrorFailure(state.errorCode, job.what);
            }
            JobState final = state;
            if (!final.total)
                final.total = final.done ? final.done : 1;
            final.done = final.total;
            draw(final);
            endLine();
            return;
        }
        draw(state);
        for (int slice = 0; slice < 4 && !gInterrupted; ++slice)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (!gInterrupted)
            continue;
        gInterrupted = 0;
        endLine();
        if (!HasTerminal())
            throw Failure(EXIT_INTERRUPTED, "stopped waiting; the " + job.what + " goes on");
        if (!Confirm("Cancel the " + job.what + "?")) {
            std::cerr << "waiting on; Ctrl-C again to cancel\n";
            continue;
        }
        try {
            job.stop();
        } catch (const Failure&) {
            // The job may have ended while the question was asked: then its end is reported.
            if (!job.poll().running)
                continue;
            throw;
        }
        // The stop answers once the job is told to end; its end is read like any other.
        for (int i = 0; i < 600; ++i) {
            const JobState after = job.poll();
            if (!after.running)
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        throw Failure(EXIT_INTERRUPTED, job.what + " cancelled");
    }
}

} // namespace iscsictl
