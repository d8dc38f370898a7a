/*
 * InteractiveShell: rcsconfigctl at a terminal. A prompt with line editing,
 * history (~/.rcsconfigctl_history) and completion of commands, groups and
 * keys; notices (changes, reconfiguration, token requests, a service death)
 * are printed as they arrive, above the line being typed, which is then
 * drawn again as it was. Ctrl-C cancels (the line, or the command that
 * waits) as in a shell; Ctrl-D, `quit` or `exit` end the session. Scripts and
 * piped input do not come here: they keep notices in order with the answers.
 */
#ifndef RCSCONFIGCTL_INTERACTIVE_SHELL_H
#define RCSCONFIGCTL_INTERACTIVE_SHELL_H

#include <functional>
#include <string>

namespace rcsctl {

class CommandRunner;
class NoticeQueue;
class Output;

class InteractiveShell {
public:
    // `stopSignal` tells which signal made the last Stop notice (SIGINT:
    // Ctrl-C, which cancels instead of ending); `forgetSignal` is called when
    // a Ctrl-C was taken as a cancel, so the next one is a first one again.
    InteractiveShell(CommandRunner& runner, Output& output, NoticeQueue& notices, std::function<int()> stopSignal,
                     std::function<void()> forgetSignal);

    // Reads and runs commands until end of input (Ctrl-D), `quit` or `exit`,
    // or a signal other than SIGINT; the exit status of the session, 128 +
    // the signal after one. Ctrl-C drops the line being typed, or ends the
    // command that runs (a wait, logcat -f), and the session goes on. Main
    // thread, once.
    int run();

private:
    void runLine(const std::string& line);
    void showNotices(const std::string& prompt);
    // After a Stop: true when it was Ctrl-C, now forgotten, so the session goes on.
    bool cancelled();

    CommandRunner& mRunner;
    Output& mOutput;
    NoticeQueue& mNotices;
    const std::function<int()> mStopSignal;
    const std::function<void()> mForgetSignal;
    int mStatus = 0;
    bool mQuit = false;
    int mLineNumber = 0;
};

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_INTERACTIVE_SHELL_H
