/*
 * rcsconfigctl: runs the RCS configuration service in this process (or
 * attaches to a service process through the host service registry) and
 * drives it as a client would, one command or a whole replayable script.
 */
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <mutex>
#include <thread>

#include "ClientSession.h"
#include "Command.h"
#include "CommandRunner.h"
#include "Completion.h"
#include "HelpText.h"
#include "InteractiveShell.h"
#include "NoticeQueue.h"
#include "Output.h"
#include "ScriptTokenizer.h"
#include "ServiceList.h"
#include "ToolOptions.h"
#include "service/PrivateFile.h"
#include "service/ServiceLog.h"

namespace {

using namespace rcsctl;

constexpr int kExitFailed = 1;
constexpr int kExitBadInput = 2;

// Turns SIGINT/SIGTERM into a Stop notice so a waiting command ends and the
// service is stopped in order. The signals are blocked in every thread
// (including the service's, which inherit the mask) and taken here.
//
// The main thread may be inside a synchronous call to a service that does
// not answer, where no notice reaches it. A client whose main thread has not
// seen the notice within kNoticeGrace, or that gets a second signal before
// the first was taken as a cancel, ends
// here at once, with the status a shell reports for a program the signal
// ended. (Once it has seen the notice, its calls are bounded by --timeout.)
class SignalWatcher {
public:
    static constexpr std::chrono::milliseconds kNoticeGrace{300};

    explicit SignalWatcher(NoticeQueue& notices) {
        sigset_t set = signals();
        pthread_sigmask(SIG_BLOCK, &set, nullptr);
        mThread = std::thread([this, &notices, set] {
            for (;;) {
                int sig = 0;
                if (sigwait(&set, &sig) != 0) continue;
                if (mEnding) return;
                if (mSignal.exchange(sig) != 0) endNow(sig);
                notices.push(Notice{});
                if (!notices.waitUntilStopSeen(kNoticeGrace) && !mEnding.load()) endNow(sig);
            }
        });
    }
    // The signal that asked the client to end; 0 before one came. Any thread.
    int signal() const { return mSignal.load(); }
    // Forgets the signal once the client took it as a cancel (Ctrl-C in an
    // interactive session), so the next one is a first one again. Main thread.
    void forget() { mSignal.store(0); }
    ~SignalWatcher() {
        mEnding = true;
        pthread_kill(mThread.native_handle(), SIGUSR2);
        mThread.join();
    }

private:
    static sigset_t signals() {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGINT);
        sigaddset(&set, SIGTERM);
        sigaddset(&set, SIGUSR2);
        return set;
    }
    [[noreturn]] static void endNow(int sig) {
        std::fflush(nullptr);
        _exit(128 + sig);
    }

    std::atomic<bool> mEnding{false};
    std::atomic<int> mSignal{0};
    std::thread mThread;
};

struct ScriptLine {
    int number = 0;
    Command command;
};

// Reads and checks a whole script file before anything runs, so that a
// typo on line 40 does not leave a half-applied session behind.
bool loadScript(const std::string& path, std::vector<ScriptLine>* out, Output& output) {
    std::ifstream file(path);
    if (!file) {
        output.error("", "cannot read script '" + path + "'");
        return false;
    }
    std::string line;
    int number = 0, first = 0;
    while (readLogicalLine(file, &line, &number, &first)) {
        std::vector<std::string> words;
        std::string error;
        ScriptLine entry;
        entry.number = first;
        if (!splitWords(line, &words, &error) || (!words.empty() && !parseCommand(words, &entry.command, &error))) {
            output.error(path + ":" + std::to_string(first), error);
            return false;
        }
        // A script names its documents relative to itself, so that a session
        // replays the same from any working directory.
        if (entry.command.verb == Verb::SetConfig && !entry.command.path.empty() &&
            entry.command.path[0] != '/') {
            size_t slash = path.rfind('/');
            if (slash != std::string::npos) entry.command.path = path.substr(0, slash + 1) + entry.command.path;
        }
        if (!words.empty()) out->push_back(std::move(entry));
    }
    return true;
}

// The exit status of a failed command: bad input or a failure.
int failureStatus(const CommandRunner& runner) {
    return runner.failedOnInput() ? kExitBadInput : kExitFailed;
}

int runScriptFile(const std::vector<ScriptLine>& lines, const std::string& path, CommandRunner& runner,
                  Output& output, NoticeQueue& notices, bool keepGoing) {
    int status = 0;
    for (const auto& entry : lines) {
        if (entry.command.verb == Verb::Quit) break;
        if (notices.stopped()) {
            output.error(path + ":" + std::to_string(entry.number), "interrupted");
            return kExitFailed;
        }
        std::string error;
        if (!runner.run(entry.command, &error)) {
            output.error(path + ":" + std::to_string(entry.number), error);
            status = std::max(status, failureStatus(runner));
            if (!keepGoing) break;
        }
    }
    return status;
}

int runStdin(CommandRunner& runner, Output& output, NoticeQueue& notices, bool keepGoing) {
    int status = 0;
    std::string line;
    int number = 0, first = 0;
    while (readLogicalLine(std::cin, &line, &number, &first)) {
        if (notices.stopped()) {
            output.error("stdin:" + std::to_string(first), "interrupted");
            return kExitFailed;
        }
        std::vector<std::string> words;
        std::string error;
        Command command;
        const std::string where = "stdin:" + std::to_string(first);
        if (!splitWords(line, &words, &error) || (!words.empty() && !parseCommand(words, &command, &error))) {
            output.error(where, error);
            status = std::max(status, kExitBadInput);
            if (!keepGoing) break;
            continue;
        }
        if (words.empty()) continue;
        if (command.verb == Verb::Quit) break;
        if (!runner.run(command, &error)) {
            output.error(where, error);
            status = std::max(status, failureStatus(runner));
            if (!keepGoing) break;
        }
    }
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    // What the bash completion asks: no service, no other option.
    if (argc == 3 && std::string(argv[1]) == "--complete") return printCompletion(argv[2]);
    ToolOptions options;
    std::string error;
    Output output(std::cout, std::cerr, false);
    if (!parseToolOptions(std::vector<std::string>(argv + 1, argv + argc), &options, &error, isatty(STDIN_FILENO))) {
        output.error("", error);
        return kExitBadInput;
    }
    if (options.help || options.version || options.manPage || options.bashCompletion) {
        if (options.help) std::cout << usageText() << commandOverview();
        if (options.version) std::cout << versionText();
        if (options.manPage) std::cout << manPage(usageText(), IMSRCS_VERSION);
        if (options.bashCompletion) std::cout << bashCompletion();
        return 0;
    }
    Output out(std::cout, std::cerr, options.json);

    // Everything the session will run is checked before the service starts.
    Command single;
    std::vector<ScriptLine> script;
    if (!options.command.empty()) {
        if (!parseCommand(options.command, &single, &error)) {
            out.error("", error);
            return kExitBadInput;
        }
        if (single.verb == Verb::ListServices) {
            printServiceList(options.registryDir, out);
            return 0;
        }
        // Help needs no service.
        if (single.verb == Verb::Help) {
            std::string text;
            topicHelp(single.helpTopic, &text, &error);
            out.report(text, Json().str("cmd", "help").str("text", text));
            return 0;
        }
    } else if (options.script != "-" && !loadScript(options.script, &script, out)) {
        return kExitBadInput;
    }

    FILE* logFile = nullptr;
    if (!options.logPath.empty()) {
        logFile = rcsservice::openPrivateFile(options.logPath, rcsservice::PrivateFileStart::kEmpty, &error);
        if (logFile == nullptr) {
            out.error("", "cannot write log file: " + error);
            return kExitBadInput;
        }
    }

    NoticeQueue notices;
    int status = 0;
    {
        rcsservice::ServiceLog serviceLog(logFile, options.verbose);
        SignalWatcher signalWatcher(notices);
        // What ended by Ctrl-C or SIGTERM (a wait, a watch, logcat -f) exits
        // with the status a shell reports for a program the signal ended.
        auto interruptedStatus = [&](int otherwise) {
            return notices.stopped() && signalWatcher.signal() != 0 ? 128 + signalWatcher.signal() : otherwise;
        };
        SessionOptions sessionOptions;
        sessionOptions.modemSocket = options.modemSocket;
        sessionOptions.factory_1_0 = options.factory_1_0;
        sessionOptions.attach = options.attach;
        sessionOptions.serviceName = options.serviceName;
        sessionOptions.registryDir = options.registryDir;
        sessionOptions.timeout = std::chrono::milliseconds(options.timeoutMs);
        ClientSession session(sessionOptions, notices, serviceLog);
        if (!session.start(&error)) {
            out.error("", error);
            status = interruptedStatus(kExitFailed);
        } else {
            RunnerOptions runnerOptions;
            runnerOptions.slot = options.slot;
            runnerOptions.timeout = std::chrono::milliseconds(options.timeoutMs);
            runnerOptions.oneShot = !options.command.empty();
            runnerOptions.replayConfig = options.replayConfig;
            runnerOptions.registryDir = options.registryDir;
            CommandRunner runner(session, notices, out, runnerOptions);
            // A command that only observes (dump, logcat, the modem's
            // controls) makes no object: it must not change what it shows,
            // and a service attached to keeps no orphan of ours. Attached, it
            // also takes the modem as it finds it.
            const bool observing = runnerOptions.oneShot && !commandFor(single.verb).usesObject;
            const bool ready = observing ? options.attach || session.waitForModem(runnerOptions.timeout, &error)
                                         : session.waitUntilReady(options.slot, runnerOptions.timeout, &error);
            if (!ready) {
                out.error("", error);
                status = interruptedStatus(kExitFailed);
            } else if (runnerOptions.oneShot) {
                if (!runner.run(single, &error)) {
                    out.error("", error);
                    status = failureStatus(runner);
                }
                status = interruptedStatus(status);
            } else if (options.script == "-" && !options.json && isatty(STDIN_FILENO) && isatty(STDOUT_FILENO)) {
                status = InteractiveShell(runner, out, notices, [&] { return signalWatcher.signal(); },
                                          [&] { signalWatcher.forget(); })
                             .run();
            } else if (options.script == "-") {
                status = runStdin(runner, out, notices, options.keepGoing);
            } else {
                status = runScriptFile(script, options.script, runner, out, notices, options.keepGoing);
            }
            runner.settle();
        }
        session.stop();
    }
    if (logFile != nullptr) std::fclose(logFile);
    return status;
}
