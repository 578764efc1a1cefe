// Runs iscsictl as a child process for the tests: with pipes (stdin text, stdout and stderr
// captured), or on a pseudo-terminal that the test reads and types into. Every wait is
// bounded; a child still running at the end is killed.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace KOVATest {

struct CtlResult {
    int status = -1; // exit status; -1 when killed or ended by a signal
    std::string out;
    std::string err;
};

// Runs program with args, env added to the environment ("NAME=value"), stdinText on its
// standard input, without a controlling terminal; at most timeoutMs.
CtlResult RunTool(const std::string& program, const std::vector<std::string>& args,
                  const std::vector<std::string>& env, const std::string& stdinText = "",
                  int timeoutMs = 120000);

// RunTool of ISCSICTL_PATH.
CtlResult RunCtl(const std::vector<std::string>& args, const std::vector<std::string>& env,
                 const std::string& stdinText = "", int timeoutMs = 120000);

// iscsictl on a pseudo-terminal (stdin, stdout and stderr all on it).
class CtlTerminal {
public:
    CtlTerminal(const std::vector<std::string>& args, const std::vector<std::string>& env);
    ~CtlTerminal();
    CtlTerminal(const CtlTerminal&) = delete;
    CtlTerminal& operator=(const CtlTerminal&) = delete;

    bool Started() const { return pid_ > 0; }
    // Reads until the output from offset from on holds text (bounded); false if it did not come.
    bool WaitFor(const std::string& text, int timeoutMs = 60000, size_t from = 0);
    // Types text (as a keyboard would: "\x03" is Ctrl-C).
    void Type(const std::string& text);
    // Reads to the end and answers the exit status (-1 when it had to be killed).
    int Finish(int timeoutMs = 60000);
    // All output so far.
    const std::string& Output() const { return output_; }

private:
    void ReadSome(int timeoutMs);

    pid_t pid_ = -1;
    int master_ = -1;
    std::string output_;
};

} // namespace KOVATest
