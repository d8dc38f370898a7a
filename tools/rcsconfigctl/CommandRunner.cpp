#include "CommandRunner.h"

#include <sstream>

#include "HelpText.h"
#include "ServiceList.h"

namespace rcsctl {

CommandRunner::CommandRunner(ClientSession& session, NoticeQueue& notices, Output& out, RunnerOptions options)
    : mSession(session), mNotices(notices), mOut(out), mOptions(options) {}

std::string CommandRunner::prefix() const { return "[slot " + std::to_string(mOptions.slot) + "] "; }

std::chrono::milliseconds CommandRunner::timeoutOf(const Command& c) const {
    return c.timeoutMs > 0 ? std::chrono::milliseconds(c.timeoutMs) : mOptions.timeout;
}

std::string CommandRunner::seconds(std::chrono::milliseconds t) {
    std::ostringstream s;
    s << t.count() / 1000.0 << " s";
    return s.str();
}

bool CommandRunner::run(const Command& c, std::string* error) {
    mBadInput = false;
    // A wait takes its notice from the queue itself, together with what came
    // before it; every other command first shows what has arrived.
    // A service death is answered before anything else, waits included.
    if ((c.verb != Verb::WaitReconfig && c.verb != Verb::WaitTokenRequest && c.verb != Verb::WaitChange) ||
        mNotices.serviceDied() || mSession.serviceDead()) {
        printNotices();
    }
    switch (c.verb) {
        case Verb::Slot: return slotCommand(c, error);
        case Verb::SetConfig: return setConfig(c, error);
        case Verb::SetSettings: return setSettings(c, error);
        case Verb::GetSettings: return getSettings(c, error);
        case Verb::Watch: return watch(c, error);
        case Verb::Unwatch: return unwatch(c, error);
        case Verb::SetAppToken: return setAppToken(c, error);
        case Verb::TokenFetchStatus: return tokenFetchStatus(c, error);
        case Verb::UceStatus: return uceStatus(c, error);
        case Verb::PlatformMask: return platformMask(c, error);
        case Verb::Dump: return c.text == "heap" ? heap(error) : dump(error);
        case Verb::Logcat: return logcat(c, error);
        case Verb::ModemRestart: return modemRestart(error);
        case Verb::ModemTokenRequest: return modemTokenRequest(c, error);
        case Verb::ModemShowConfig: return modemShowConfig(error);
        case Verb::ModemControl: return modemControl(c, error);
        case Verb::WaitReconfig: return waitReconfig(c, error);
        case Verb::WaitTokenRequest: return waitTokenRequest(c, error);
        case Verb::WaitChange: return waitChange(c, error);
        case Verb::Echo:
            mOut.report(c.text, Json().str("cmd", "echo").str("text", c.text));
            return true;
        case Verb::Help: {
            std::string text;
            if (!topicHelp(c.helpTopic, &text, error)) return false;
            mOut.report(text, Json().str("cmd", "help").str("text", text));
            return true;
        }
        case Verb::ListServices:
            printServiceList(mOptions.registryDir, mOut);
            return true;
        case Verb::Quit:
            return true;  // the session's loop ends

    }
    *error = "command not handled";
    return false;
}

void CommandRunner::settle() {
    if (!mSession.serviceDead()) mSession.waitUntilIdle();
    // Nothing follows, so a dead service is only reported.
    for (const auto& n : mNotices.drain()) printNotice(n);
}

void CommandRunner::printNotices() {
    for (const auto& n : mNotices.drain()) printNotice(n);
    // Also retried before each command while an earlier reconnection failed.
    if (mSession.serviceDead()) recoverFromServiceDeath();
}

std::string CommandRunner::noAnswer(const std::string& what) const {
    if (mSession.serviceDead()) return what + ": the service died before answering";
    return what + ": no answer from the service within " + seconds(mOptions.timeout);
}

bool CommandRunner::objectUsable(const std::string& what, std::string* error) const {
    if (!mSession.stale(mOptions.slot)) return true;
    const std::string slot = std::to_string(mOptions.slot);
    *error = what + ": the slot " + slot + " object was made before the modem restarted and the modem " +
             "no longer answers for it; make a new one with: slot " + slot + " --new";
    return false;
}

std::string CommandRunner::callError(const std::string& what, const android::hardware::Status& failed) {
    if (mSession.takeDeathOf(failed)) return noAnswer(what);
    return what + ": " + failed.description();
}

std::string CommandRunner::waitEnded(const std::string& what, const std::string& timedOut) const {
    if (mNotices.stopped()) return what + ": interrupted";
    if (mNotices.serviceDied() || mSession.serviceDead()) return what + ": the service died";
    return what + ": " + timedOut;
}

void CommandRunner::recoverFromServiceDeath() {
    // What a framework client does: wait for the HAL to be registered again,
    // make new objects for its slots, and push its configuration once more.
    std::string error;
    if (!mSession.reconnect(&error)) {
        mOut.error("", "reconnecting to the service: " + error);
        return;
    }
    std::string slots;
    for (int slot : mSession.slots()) slots += (slots.empty() ? "" : ", ") + std::to_string(slot);
    mOut.report("service \"" + mSession.serviceName() + "\" registered again: new RCS configuration objects" +
                    (slots.empty() ? std::string(" (none were in use)") : " for slot(s) " + slots),
                Json().str("notice", "service-reconnected").str("service", mSession.serviceName())
                    .str("slots", slots));
    if (!mOptions.replayConfig) return;
    const int current = mOptions.slot;
    for (const auto& last : mLastConfig) {
        if (!mSession.hasConfig(last.first)) continue;
        mOptions.slot = last.first;
        mOut.report(prefix() + "replaying the last configuration document",
                    Json().str("notice", "replay-config").num("slot", last.first).str("file", last.second.path));
        if (!setConfig(last.second, &error)) mOut.error("", error);
    }
    mOptions.slot = current;
}

void CommandRunner::printNotice(const Notice& n) {
    const std::string slot = "[slot " + std::to_string(n.slot) + "] ";
    switch (n.kind) {
        case Notice::Kind::Reconfig:
            mOut.report(slot + "listener: reconfiguration needed",
                        Json().str("notice", "reconfig-needed").num("slot", n.slot));
            break;
        case Notice::Kind::TokenRequest:
            mHaveTokenRequest = true;
            mLastRequestId = n.requestId;
            mOut.report(slot + "listener: token requested: request " + std::to_string(n.requestId) +
                            ", " + tokenTypeName(n.tokenType) + ", reason " + tokenReasonName(n.reason),
                        Json()
                            .str("notice", "token-request")
                            .num("slot", n.slot)
                            .num("requestId", n.requestId)
                            .str("tokenType", tokenTypeName(n.tokenType))
                            .str("reason", tokenReasonName(n.reason)));
            break;
        case Notice::Kind::Change:
            mOut.report(slot + "change of " + groupName(n.settings.settingsId) + ":\n" +
                            settingsText(n.settings),
                        Json()
                            .str("notice", "settings-changed")
                            .num("slot", n.slot)
                            .str("group", groupName(n.settings.settingsId))
                            .raw("values", settingsJson(n.settings)));
            break;
        case Notice::Kind::ServiceDied:
            mOut.report("service \"" + mSession.serviceName() + "\" died: waiting for it to be registered again",
                        Json().str("notice", "service-died").str("service", mSession.serviceName()));
            break;
        case Notice::Kind::Stop:
            break;
    }
}

void CommandRunner::report(const Result& r) {
    Json json;
    json.str("cmd", r.cmd).num("slot", mOptions.slot);
    json.merge(r.details);
    json.str("status", r.status);
    std::string text = prefix() + r.what;
    if (!r.answer.empty()) text += " -> " + r.answer;
    if (!r.body.empty()) text += "\n" + r.body;
    mOut.report(text, json);
}

bool CommandRunner::answered(Result r, V2_0::RequestStatus status, std::string* error) {
    const std::string word = V2_0::toString(status);
    r.status = word;
    if (r.answer.empty()) r.answer = word;
    report(r);
    if (status != V2_0::RequestStatus::OK) {
        *error = r.what + ": the service answered " + word;
        return false;
    }
    return true;
}

}  // namespace rcsctl
