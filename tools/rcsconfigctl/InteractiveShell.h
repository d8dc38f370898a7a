/*
 * InteractiveShell: rcsconfigctl at a terminal. A prompt with line editing,
 * history (~/.rcsconfigctl_history) and completion of commands, groups and
 * keys; notices (changes, reconfiguration, token requests, a service death)
 * are printed as they arrive, above the line being typed, which is then
 * drawn again as it was. Scripts and piped input do not come here: they keep
 * notices in order with the answers.
 */
#ifndef RCSCONFIGCTL_INTERACTIVE_SHELL_H
#define RCSCONFIGCTL_INTERACTIVE_SHELL_H

#include <string>

namespace rcsctl {

class CommandRunner;
class NoticeQueue;
class Output;

class InteractiveShell {
public:
    InteractiveShell(CommandRunner& runner, Output& output, NoticeQueue& notices);

    // Reads and runs commands until end of input (Ctrl-D) or a signal; the
    // exit status of the session, 130 after Ctrl-C. Main thread, once.
    int run();

private:
    void runLine(const std::string& line);
    void showNotices(const std::string& prompt);

    CommandRunner& mRunner;
    Output& mOutput;
    NoticeQueue& mNotices;
    int mStatus = 0;
    int mLineNumber = 0;
};

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_INTERACTIVE_SHELL_H
