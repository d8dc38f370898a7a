/*
 * CommandRunner: carries out parsed commands against a ClientSession and
 * prints their results and the service's notices through Output. Every
 * asynchronous answer is awaited with the session timeout; a missing answer
 * is a failure, never a hang; so is the death of the service process while
 * an answer is awaited.
 *
 * The commands are grouped in families, each in a source of its own around
 * the two helpers every family uses: callAndWait() for a request and its
 * answer, and Result for what is printed.
 *
 * Main thread only.
 */
#ifndef RCSCONFIGCTL_COMMAND_RUNNER_H
#define RCSCONFIGCTL_COMMAND_RUNNER_H

#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ClientSession.h"
#include "Command.h"
#include "NoticeQueue.h"
#include "Output.h"

namespace rcsctl {

struct RunnerOptions {
    int slot = 1;                              // slot of commands until `slot` changes it
    std::chrono::milliseconds timeout{10000};  // for every awaited answer
    bool oneShot = false;                      // a single command from the command line
    bool replayConfig = false;                 // push the last document again after a service death
    std::string registryDir;                   // for list-services; empty: the default folder
};

class CommandRunner {
public:
    CommandRunner(ClientSession& session, NoticeQueue& notices, Output& out, RunnerOptions options);

    // Runs one command. False when it failed, with a one-line reason in
    // *error (the result line, if any, has been printed already).
    bool run(const Command& command, std::string* error);
    // True when the last run() failed on its input (a document that cannot
    // be sent) rather than on the service's answer.
    bool failedOnInput() const { return mBadInput; }

    // Waits until the service has handled everything posted so far, then
    // prints the notices that arrived meanwhile.
    void settle();

    // Prints the notices queued so far. A service death among them is
    // answered at once: reconnect, new objects, and the last documents pushed
    // again when replayConfig is set.
    void printNotices();

    int slot() const { return mOptions.slot; }

private:
    // The outcome of one command in a slot, printed once: as the text line
    // "[slot N] <what> -> <answer>" with `body` below it, or as the JSON
    // object {"cmd", "slot", <details>..., "status"}.
    struct Result {
        std::string cmd;
        std::string what;
        Json details;
        std::string status = "OK";
        std::string answer;  // after " -> "; no arrow when empty
        std::string body;
    };
    void report(const Result& result);
    // Reports a request answered with `status`; false with the reason in
    // *error unless the answer is OK.
    bool answered(Result result, V2_0::RequestStatus status, std::string* error);

    // Makes a call whose answer comes back through a callback and waits for
    // it with the session timeout: `send` makes the call, handing the
    // service a callback that fills the Awaited it is given. False with the
    // reason when the call did not reach the service or no answer came.
    // `throughModem`: the answer comes from the modem, which forgets the
    // slot's object when it restarts; a stale object fails at once.
    template <typename T, typename Send>
    bool callAndWait(const std::string& what, Send send, T* answer, std::string* error, bool throughModem = false) {
        if (throughModem && !objectUsable(what, error)) return false;
        auto result = std::make_shared<Awaited<T>>();
        mSession.abandonOnDeath(result);
        if (throughModem) mSession.abandonOnReconfig(mOptions.slot, result);
        android::hardware::Return<void> ret = send(result);
        if (!ret.isOk()) {
            *error = callError(what, ret.getStatus());
            return false;
        }
        if (!result->wait(mOptions.timeout, answer)) {
            if (!throughModem || objectUsable(what, error)) *error = noAnswer(what);
            return false;
        }
        return true;
    }
    // False, with the reason and what to do, when the slot's object was
    // made before the modem last restarted.
    bool objectUsable(const std::string& what, std::string* error) const;
    // False with the reason when a call with an immediate answer did not
    // reach the service.
    template <typename T>
    bool reached(const std::string& what, const android::hardware::Return<T>& ret, std::string* error) {
        if (ret.isOk()) return true;
        *error = callError(what, ret.getStatus());
        return false;
    }

    // Objects, documents and settings (SettingsCommands.cpp).
    bool slotCommand(const Command& c, std::string* error);
    bool setConfig(const Command& c, std::string* error);
    bool setSettings(const Command& c, std::string* error);
    bool getSettings(const Command& c, std::string* error);
    bool watch(const Command& c, std::string* error);
    bool unwatch(const Command& c, std::string* error);

    // Tokens and UCE (TokenCommands.cpp).
    bool setAppToken(const Command& c, std::string* error);
    bool tokenFetchStatus(const Command& c, std::string* error);
    bool uceStatus(const Command& c, std::string* error);
    bool platformMask(const Command& c, std::string* error);

    // The modem emulator and the service's own state (ModemCommands.cpp).
    bool dump(std::string* error);
    bool heap(std::string* error);
    bool logcat(const Command& c, std::string* error);
    bool modemRestart(std::string* error);
    bool modemTokenRequest(const Command& c, std::string* error);
    bool modemShowConfig(std::string* error);
    bool modemControl(const Command& c, std::string* error);

    // Waiting for notices (WaitCommands.cpp).
    bool waitReconfig(const Command& c, std::string* error);
    bool waitTokenRequest(const Command& c, std::string* error);
    bool waitChange(const Command& c, std::string* error);
    // Waits for `count` changes of the given groups in this slot (0: until stopped).
    bool waitChanges(const std::vector<const GroupInfo*>& groups, int count, std::string* error);

    void printNotice(const Notice& n);
    void recoverFromServiceDeath();
    // The error of an awaited answer that did not come, and of a wait that ended early.
    std::string noAnswer(const std::string& what) const;
    std::string waitEnded(const std::string& what, const std::string& timedOut) const;
    // The error of a call that did not reach the service; one that found the
    // service's process gone is taken as its death and reported as such.
    std::string callError(const std::string& what, const android::hardware::Status& failed);
    std::string prefix() const;
    std::chrono::milliseconds timeoutOf(const Command& c) const;
    static std::string seconds(std::chrono::milliseconds t);

    ClientSession& mSession;
    NoticeQueue& mNotices;
    Output& mOut;
    RunnerOptions mOptions;
    bool mBadInput = false;  // the last run() failed on its input
    std::set<int> mAnnounced;  // slots a `slot` command has named
    bool mHaveTokenRequest = false;
    int32_t mLastRequestId = 0;  // of the last token request printed
    std::map<int, Command> mLastConfig;  // the last set-config sent, per slot
};

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_COMMAND_RUNNER_H
