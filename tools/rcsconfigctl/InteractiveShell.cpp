#include "InteractiveShell.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <editline/readline.h>

#include <algorithm>
#include <cerrno>

#include "Command.h"
#include "CommandRunner.h"
#include "Completion.h"
#include "NoticeQueue.h"
#include "Output.h"
#include "ScriptTokenizer.h"

namespace rcsctl {

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitBadInput = 2;

// The line-editing library calls back through plain functions.
std::vector<std::string> gMatches;
std::string gLine;
bool gLineReady = false;
bool gEndOfInput = false;
// Whether a key was read since the prompt was last shown: until then the
// library still holds the previous line, which must not be drawn again.
bool gTypedSincePrompt = false;
NoticeQueue* gNotices = nullptr;
// The terminal opened a second time, non-blocking, for the editor's reads.
int gKeysFd = -1;

// The editor's key reader. The main loop only calls into the editor when a
// key is waiting, but Ctrl-C makes the terminal discard what was typed, and
// the editor reads more than one key for an escape sequence: a blocking read
// of standard input could then wait past the Stop that Ctrl-C sends. This
// reader never blocks for long and gives up (end of input) once stopped. It
// reads its own open file description so that standard input, shared with
// the shell that started us, keeps its blocking mode.
int readKey(FILE* /*unused*/) {
    for (;;) {
        unsigned char key = 0;
        ssize_t n = read(gKeysFd, &key, 1);
        if (n == 1) return key;
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR)) return EOF;
        if (gNotices->stopped()) return EOF;
        pollfd keys{gKeysFd, POLLIN, 0};
        poll(&keys, 1, 100);
    }
}

void onLine(char* line) {
    if (line == nullptr) {
        gEndOfInput = true;
        return;
    }
    gLine = line;
    gLineReady = true;
    free(line);
}

char* nextMatch(const char* /*text*/, int state) {
    static size_t next;
    if (state == 0) next = 0;
    return next < gMatches.size() ? strdup(gMatches[next++].c_str()) : nullptr;
}

char** complete(const char* text, int start, int /*end*/) {
    std::vector<std::string> before;
    std::string error;
    Completion c;
    if (splitWords(std::string(rl_line_buffer, static_cast<size_t>(start)), &before, &error)) {
        c = completeCommand(before, text);
    }
    // A file name: the editor's own completion; anything else: only ours.
    rl_attempted_completion_over = c.files ? 0 : 1;
    if (c.files) return nullptr;
    gMatches = c.words;
    // KEY= is followed by its value, not a blank.
    rl_completion_append_character = gMatches.size() == 1 && gMatches[0].back() == '=' ? '\0' : ' ';
    return rl_completion_matches(text, nextMatch);
}

std::string historyPath() {
    const char* home = getenv("HOME");
    return home != nullptr ? std::string(home) + "/.rcsconfigctl_history" : std::string();
}

}  // namespace

InteractiveShell::InteractiveShell(CommandRunner& runner, Output& output, NoticeQueue& notices,
                                   std::function<int()> stopSignal, std::function<void()> forgetSignal)
    : mRunner(runner),
      mOutput(output),
      mNotices(notices),
      mStopSignal(std::move(stopSignal)),
      mForgetSignal(std::move(forgetSignal)) {}

bool InteractiveShell::cancelled() {
    if (mStopSignal() != SIGINT) return false;
    mNotices.resume();
    mForgetSignal();
    return true;
}

void InteractiveShell::runLine(const std::string& line) {
    ++mLineNumber;
    std::vector<std::string> words;
    std::string error;
    Command command;
    if (!splitWords(line, &words, &error) || (!words.empty() && !parseCommand(words, &command, &error))) {
        mOutput.error("", error);
        mStatus = std::max(mStatus, kExitBadInput);
        return;
    }
    if (words.empty()) return;
    add_history(line.c_str());
    if (command.verb == Verb::Quit) {
        mQuit = true;
        return;
    }
    if (!mRunner.run(command, &error)) {
        mOutput.error("", error);
        // What the user cancelled has not failed.
        if (!mNotices.stopped()) mStatus = std::max(mStatus, kExitFailed);
    }
}

void InteractiveShell::showNotices(const std::string& prompt) {
    // Take the prompt line off the screen, print what came, and draw the
    // prompt again with the line being typed (the library keeps it).
    fputs("\r\033[K", stdout);
    fflush(stdout);
    mRunner.printNotices();
    if (gTypedSincePrompt) {
        rl_forced_update_display();
    } else {
        fputs(prompt.c_str(), stdout);
        fflush(stdout);
    }
}

int InteractiveShell::run() {
    // Set before the first call into the library, which reads them once.
    // SIGINT belongs to the tool's signal thread, which turns it into Stop.
    rl_catch_signals = 0;
    const char* terminal = ttyname(STDIN_FILENO);
    gKeysFd = terminal != nullptr ? open(terminal, O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1;
    gNotices = &mNotices;
    if (gKeysFd >= 0) rl_getc_function = readKey;
    rl_attempted_completion_function = complete;
    const std::string history = historyPath();
    using_history();
    if (!history.empty()) read_history(history.c_str());
    const std::string prompt = "rcsconfigctl> ";
    rl_callback_handler_install(prompt.c_str(), onLine);

    int signal = 0;
    while (!gEndOfInput && !mQuit && signal == 0) {
        pollfd fds[2] = {{gKeysFd >= 0 ? gKeysFd : STDIN_FILENO, POLLIN, 0}, {mNotices.wakeFd(), POLLIN, 0}};
        if (poll(fds, 2, -1) < 0) continue;
        if (fds[1].revents & POLLIN) {
            mNotices.clearWake();
            if (mNotices.stopped()) {
                if (!cancelled()) {
                    signal = mStopSignal();
                    break;
                }
                // Ctrl-C at the prompt: the line typed so far goes, as in a
                // shell. The editor lets the terminal go before the mark is
                // printed, so keys typed after it meet the new prompt.
                rl_replace_line("", 0);
                rl_callback_handler_remove();
                fputs("^C\n", stdout);
                fflush(stdout);
                rl_callback_handler_install(prompt.c_str(), onLine);
                gTypedSincePrompt = false;
            }
            showNotices(prompt);
        }
        if (fds[0].revents & (POLLIN | POLLHUP)) {
            gTypedSincePrompt = true;
            rl_callback_read_char();
            if (gLineReady) {
                gLineReady = false;
                // The command runs with the prompt off the screen; its own
                // output and the notices it waits for come in order.
                rl_callback_handler_remove();
                runLine(gLine);
                if (mNotices.stopped() && !cancelled()) {
                    signal = mStopSignal();
                    break;
                }
                if (mQuit) break;
                rl_callback_handler_install(prompt.c_str(), onLine);
                gTypedSincePrompt = false;
            }
        }
    }
    rl_callback_handler_remove();
    if (gKeysFd >= 0) close(gKeysFd);
    gKeysFd = -1;
    if (!history.empty()) write_history(history.c_str());
    fputs("\n", stdout);
    fflush(stdout);
    return signal != 0 ? 128 + signal : mStatus;
}

}  // namespace rcsctl
