/*
 * CommandRunner: carries out parsed commands against a ClientSession and
 * prints their results and the service's notices through Output. Every
 * asynchronous answer is awaited with the session timeout; a missing answer
 * is a failure, never a hang; so is the death of the service process while
 * an answer is awaited.
 *
 * Main thread only.
 */
#ifndef RCSCONFIGCTL_COMMAND_RUNNER_H
#define RCSCONFIGCTL_COMMAND_RUNNER_H

#include <chrono>
#include <map>
#include <set>
#include <string>

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
    bool slotCommand(const Command& c, std::string* error);
    bool setConfig(const Command& c, std::string* error);
    bool setSettings(const Command& c, std::string* error);
    bool getSettings(const Command& c, std::string* error);
    bool watch(const Command& c, std::string* error);
    bool unwatch(const Command& c, std::string* error);
    bool setAppToken(const Command& c, std::string* error);
    bool tokenFetchStatus(const Command& c, std::string* error);
    bool uceStatus(const Command& c, std::string* error);
    bool platformMask(const Command& c, std::string* error);
    bool dump(std::string* error);
    bool heap(std::string* error);
    bool modemRestart(std::string* error);
    bool modemTokenRequest(const Command& c, std::string* error);
    bool modemShowConfig(std::string* error);
    bool modemControl(const Command& c, std::string* error);
    bool waitReconfig(const Command& c, std::string* error);
    bool waitTokenRequest(const Command& c, std::string* error);
    bool waitChange(const Command& c, std::string* error);

    // Waits for `count` changes of the given groups in this slot (0: until stopped).
    bool waitChanges(const std::vector<const GroupInfo*>& groups, int count, std::string* error);
    bool modemCommand(const std::string& text, std::string* reply, std::string* error);
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
    std::string seconds(std::chrono::milliseconds t) const;
    // Prints the result line of a request answered with `status`.
    bool requestResult(const std::string& what, const Json& json, V2_0::RequestStatus status,
                       std::string* error);

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
