#include "CommandRunner.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <sstream>

#include <vendor/kel/ims/rcsconfig/2.0/IGetSettingsCb.h>
#include <vendor/kel/ims/rcsconfig/2.0/IRcsServiceStatusListener.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISetConfigCb.h>

#include "ConfigDocument.h"
#include "ServiceList.h"
#include "HelpText.h"

namespace rcsctl {

using android::sp;
using android::hardware::Return;
using android::hardware::Void;

namespace {

struct GetResult {
    V2_0::RequestStatus status = V2_0::RequestStatus::FAIL;
    V2_0::SettingsData data{};
};

class SetConfigCb : public V2_0::ISetConfigCb {
public:
    explicit SetConfigCb(std::shared_ptr<Awaited<V2_0::RequestStatus>> result) : mResult(std::move(result)) {}
    Return<void> setConfigResponse(V2_0::RequestStatus status) override {
        mResult->set(status);
        return Void();
    }

private:
    std::shared_ptr<Awaited<V2_0::RequestStatus>> mResult;
};

class GetSettingsCb : public V2_0::IGetSettingsCb {
public:
    explicit GetSettingsCb(std::shared_ptr<Awaited<GetResult>> result) : mResult(std::move(result)) {}
    Return<void> getSettingsResponse(V2_0::RequestStatus status, const V2_0::SettingsData& data) override {
        mResult->set(GetResult{status, data});
        return Void();
    }

private:
    std::shared_ptr<Awaited<GetResult>> mResult;
};

class UceListener : public V2_0::IRcsServiceStatusListener {
public:
    explicit UceListener(std::shared_ptr<Awaited<V2_0::UceStatus>> result) : mResult(std::move(result)) {}
    Return<void> onUceStatus(const V2_0::UceStatus& status) override {
        mResult->set(status);
        return Void();
    }

private:
    std::shared_ptr<Awaited<V2_0::UceStatus>> mResult;
};

std::string hex(uint32_t v) {
    char buf[16];
    std::snprintf(buf, sizeof(buf), "0x%x", v);
    return buf;
}

std::string statusWord(V2_0::RequestStatus status) { return V2_0::toString(status); }

std::string groupList(const std::vector<const GroupInfo*>& groups) {
    std::string out;
    for (const auto* g : groups) out += (out.empty() ? "" : ", ") + g->name;
    return out;
}

size_t valueCount(const V2_0::SettingsData& d) {
    return d.settingsValues.intData.size() + d.settingsValues.boolData.size() +
           d.settingsValues.stringData.size();
}

}  // namespace

CommandRunner::CommandRunner(ClientSession& session, NoticeQueue& notices, Output& out, RunnerOptions options)
    : mSession(session), mNotices(notices), mOut(out), mOptions(options) {}

std::string CommandRunner::prefix() const { return "[slot " + std::to_string(mOptions.slot) + "] "; }

std::chrono::milliseconds CommandRunner::timeoutOf(const Command& c) const {
    return c.timeoutMs > 0 ? std::chrono::milliseconds(c.timeoutMs) : mOptions.timeout;
}

std::string CommandRunner::seconds(std::chrono::milliseconds t) const {
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

bool CommandRunner::requestResult(const std::string& what, const Json& json, V2_0::RequestStatus status,
                                  std::string* error) {
    Json j = json;
    j.str("status", statusWord(status));
    mOut.report(prefix() + what + " -> " + statusWord(status), j);
    if (status != V2_0::RequestStatus::OK) {
        *error = what + ": the service answered " + statusWord(status);
        return false;
    }
    return true;
}

bool CommandRunner::slotCommand(const Command& c, std::string* error) {
    mOptions.slot = c.slot;
    const bool existed = mSession.hasConfig(c.slot) && !c.fresh;
    if ((c.fresh ? mSession.recreate(c.slot, error) : mSession.config(c.slot, error)) == nullptr) return false;
    const bool firstMention = mAnnounced.insert(c.slot).second;
    std::string what;
    if (c.fresh) {
        what = "new RCS configuration object created (factory " + std::string(mSession.factoryVersion()) + ")";
    } else if (!existed) {
        what = "RCS configuration object created (factory " + std::string(mSession.factoryVersion()) + ")";
    } else if (firstMention) {
        // The start-up slot's object exists before any command runs.
        what = "RCS configuration object created at start-up (factory " + std::string(mSession.factoryVersion()) + ")";
    } else {
        what = "RCS configuration object in use";
    }
    mOut.report(prefix() + what,
                Json().str("cmd", "slot").num("slot", c.slot).str("factory", mSession.factoryVersion())
                    .flag("created", !existed).str("status", "OK"));
    return true;
}

bool CommandRunner::setConfig(const Command& c, std::string* error) {
    ConfigDocument doc;
    if (!ConfigDocument::load(c.path, c.gzip, &doc, error)) return false;
    const std::string tooLong = unsendableReason(doc.bytes.size());
    if (!tooLong.empty()) {
        *error = "cannot send '" + c.path + "': " + tooLong + (doc.compressed ? "" : "; try --gzip");
        mBadInput = true;
        return false;
    }
    if (answeredFailFirst(doc.bytes.size())) {
        mOut.warning("'" + c.path + "': " + std::to_string(doc.bytes.size()) +
                     " bytes to send are an exact multiple of " + std::to_string(kSegmentBytes) +
                     ": the service answers FAIL first, whatever the modem says after");
    }
    sp<V2_0::IRcsConfig> config = mSession.config(mOptions.slot, error);
    if (config == nullptr) return false;
    V2_0::Container container;
    container.isCompressed = doc.compressed;
    container.config = doc.bytes;
    mLastConfig[mOptions.slot] = c;
    auto result = std::make_shared<Awaited<V2_0::RequestStatus>>();
    mSession.abandonOnDeath(result);
    Return<void> ret = config->setConfig(container, new SetConfigCb(result));
    if (!ret.isOk()) {
        *error = callError("set-config", ret.getStatus());
        return false;
    }
    std::string what = "set-config " + c.path + ": " + std::to_string(doc.fileSize) + " bytes";
    if (doc.compressedHere) {
        what += ", sent gzip-compressed as " + std::to_string(doc.bytes.size()) + " bytes";
    } else if (doc.compressed) {
        what += " of gzip, sent as they are";
    } else {
        what += ", sent uncompressed";
    }
    Json json;
    json.str("cmd", "set-config").num("slot", mOptions.slot).str("file", c.path)
        .num("fileBytes", static_cast<int64_t>(doc.fileSize)).num("sentBytes", static_cast<int64_t>(doc.bytes.size()))
        .flag("compressed", doc.compressed).flag("compressedHere", doc.compressedHere);
    V2_0::RequestStatus status;
    if (!result->wait(mOptions.timeout, &status)) {
        *error = noAnswer("set-config");
        return false;
    }
    // The answer of an upload is the modem's own verdict on the whole document.
    if (status == V2_0::RequestStatus::OK) {
        json.str("status", statusWord(status));
        mOut.report(prefix() + what + " -> OK (accepted by the modem)", json);
        return true;
    }
    return requestResult(what, json, status, error);
}

bool CommandRunner::setSettings(const Command& c, std::string* error) {
    sp<V2_0::IRcsConfig> config = mSession.config(mOptions.slot, error);
    if (config == nullptr) return false;
    auto result = std::make_shared<Awaited<V2_0::RequestStatus>>();
    mSession.abandonOnDeath(result);
    Return<void> ret = config->setSettingsValue(c.settings, new SetConfigCb(result));
    if (!ret.isOk()) {
        *error = callError("set-settings", ret.getStatus());
        return false;
    }
    V2_0::RequestStatus status;
    if (!result->wait(mOptions.timeout, &status)) {
        *error = noAnswer("set-settings");
        return false;
    }
    const std::string group = groupName(c.settings.settingsId);
    size_t n = valueCount(c.settings);
    return requestResult("set-settings " + group + " (" + std::to_string(n) + (n == 1 ? " value)" : " values)"),
                         Json().str("cmd", "set-settings").num("slot", mOptions.slot).str("group", group)
                             .raw("values", settingsJson(c.settings)),
                         status, error);
}

bool CommandRunner::getSettings(const Command& c, std::string* error) {
    sp<V2_0::IRcsConfig> config = mSession.config(mOptions.slot, error);
    if (config == nullptr) return false;
    auto result = std::make_shared<Awaited<GetResult>>();
    mSession.abandonOnDeath(result);
    Return<void> ret = config->getSettingsValue(c.groups[0]->id, new GetSettingsCb(result));
    if (!ret.isOk()) {
        *error = callError("get-settings", ret.getStatus());
        return false;
    }
    GetResult r;
    if (!result->wait(mOptions.timeout, &r)) {
        *error = noAnswer("get-settings");
        return false;
    }
    const std::string word = statusWord(r.status);
    mOut.report(prefix() + "get-settings " + c.groups[0]->name + " -> " + word + "\n" +
                    (r.status == V2_0::RequestStatus::OK ? settingsText(r.data) : ""),
                Json().str("cmd", "get-settings").num("slot", mOptions.slot).str("group", c.groups[0]->name)
                    .str("status", word).raw("values", settingsJson(r.data)));
    if (r.status != V2_0::RequestStatus::OK) {
        *error = "get-settings " + c.groups[0]->name + ": the service answered " + word;
        return false;
    }
    return true;
}

bool CommandRunner::watch(const Command& c, std::string* error) {
    sp<V2_0::IRcsConfig> config = mSession.config(mOptions.slot, error);
    if (config == nullptr) return false;
    unsigned long sent = mSession.registrationsSent();
    for (const auto* g : c.groups) {
        Return<V2_0::RequestStatus> ret = config->registerForSettingsChange(g->id, mSession.changeCallback(mOptions.slot));
        if (!ret.isOk()) {
            *error = callError("watch", ret.getStatus());
            return false;
        }
        if (!requestResult("watch " + g->name,
                           Json().str("cmd", "watch").num("slot", mOptions.slot).str("group", g->name),
                           static_cast<V2_0::RequestStatus>(ret), error)) {
            return false;
        }
        ++sent;
    }
    // The registration travels to the modem on a worker thread of its own,
    // which a later write could overtake; a watch is in place once it is sent.
    mSession.waitUntilIdle();
    if (!mSession.waitForRegistrations(sent, mOptions.timeout)) {
        *error = "watch: the registration did not reach the modem within " + seconds(mOptions.timeout);
        return false;
    }
    // From the command line, watching means staying to see the changes; in a
    // script the changes are printed as later commands run (or `wait change`).
    if (c.count > 0 || mOptions.oneShot) return waitChanges(c.groups, c.count, error);
    return true;
}

bool CommandRunner::waitChanges(const std::vector<const GroupInfo*>& groups, int count, std::string* error) {
    const int slot = mOptions.slot;
    std::set<SettingsId> ids;
    for (const auto* g : groups) ids.insert(g->id);
    auto match = [&](const Notice& n) {
        return n.kind == Notice::Kind::Change && n.slot == slot && ids.count(n.settings.settingsId) != 0;
    };
    for (int seen = 0; count == 0 || seen < count; ++seen) {
        std::vector<Notice> taken;
        // Without a count the watch lasts until the user stops the client.
        auto timeout = count == 0 ? std::chrono::milliseconds(std::chrono::hours(24 * 365)) : mOptions.timeout;
        if (!mNotices.waitFor(match, timeout, &taken)) {
            if (mNotices.stopped()) return count == 0;
            *error = waitEnded("watch " + groupList(groups), std::to_string(seen) + " of " + std::to_string(count) +
                                                                 " changes within " + seconds(mOptions.timeout));
            return false;
        }
        for (const auto& n : taken) printNotice(n);
    }
    return true;
}

bool CommandRunner::unwatch(const Command& c, std::string* error) {
    sp<V2_0::IRcsConfig> config = mSession.config(mOptions.slot, error);
    if (config == nullptr) return false;
    for (const auto* g : c.groups) {
        Return<V2_0::RequestStatus> ret = config->deregisterForSettingsChange(g->id);
        if (!ret.isOk()) {
            *error = callError("unwatch", ret.getStatus());
            return false;
        }
        if (!requestResult("unwatch " + g->name,
                           Json().str("cmd", "unwatch").num("slot", mOptions.slot).str("group", g->name),
                           static_cast<V2_0::RequestStatus>(ret), error)) {
            return false;
        }
    }
    return true;
}

bool CommandRunner::setAppToken(const Command& c, std::string* error) {
    sp<V2_0::IRcsConfig> config = mSession.config(mOptions.slot, error);
    if (config == nullptr) return false;
    auto result = std::make_shared<Awaited<V2_0::RequestStatus>>();
    mSession.abandonOnDeath(result);
    Return<void> ret = config->setAppToken(c.text, new SetConfigCb(result));
    if (!ret.isOk()) {
        *error = callError("set-app-token", ret.getStatus());
        return false;
    }
    V2_0::RequestStatus status;
    if (!result->wait(mOptions.timeout, &status)) {
        *error = noAnswer("set-app-token");
        return false;
    }
    return requestResult("set-app-token (" + std::to_string(c.text.size()) + " characters)",
                         Json().str("cmd", "set-app-token").num("slot", mOptions.slot)
                             .num("length", static_cast<int64_t>(c.text.size())),
                         status, error);
}

bool CommandRunner::tokenFetchStatus(const Command& c, std::string* error) {
    int32_t requestId = c.requestId;
    if (c.lastRequestId) {
        if (!mHaveTokenRequest) {
            *error = "token-fetch-status last: no token request has been received yet";
            return false;
        }
        requestId = mLastRequestId;
    }
    sp<V2_1::IRcsConfig> config = mSession.config_2_1(mOptions.slot, error);
    if (config == nullptr) return false;
    Return<void> ret = config->updateTokenFetchStatus(requestId, static_cast<V2_1::TokenType>(c.tokenType),
                                                      static_cast<V2_1::StatusCode>(c.status));
    if (!ret.isOk()) {
        *error = callError("token-fetch-status", ret.getStatus());
        return false;
    }
    // The call has no answer; let the service pass it on before going on.
    mSession.waitUntilIdle();
    mOut.report(prefix() + "token-fetch-status request " + std::to_string(requestId) + " " +
                    tokenTypeName(c.tokenType) + " " + statusCodeName(c.status) + " -> sent",
                Json().str("cmd", "token-fetch-status").num("slot", mOptions.slot).num("requestId", requestId)
                    .str("tokenType", tokenTypeName(c.tokenType)).str("fetchStatus", statusCodeName(c.status))
                    .str("status", "SENT"));
    return true;
}

bool CommandRunner::uceStatus(const Command& c, std::string* error) {
    if (c.hasMask && !mSession.setPlatformMask(c.mask, error)) return false;
    sp<V2_0::IRcsConfig> config = mSession.config(mOptions.slot, error);
    if (config == nullptr) return false;
    auto result = std::make_shared<Awaited<V2_0::UceStatus>>();
    mSession.abandonOnDeath(result);
    Return<void> ret = config->getUceStatus(new UceListener(result));
    if (!ret.isOk()) {
        *error = callError("uce-status", ret.getStatus());
        return false;
    }
    V2_0::UceStatus status;
    if (!result->wait(mOptions.timeout, &status)) {
        *error = noAnswer("uce-status");
        return false;
    }
    const uint32_t mask = mSession.platformMask();
    auto word = [](bool b) { return b ? "supported" : "not supported"; };
    mOut.report(prefix() + "uce-status: presence " + word(status.isPresenceSupported) + ", options " +
                    word(status.isOptionsSupported) + " (platform mask " + hex(mask) + ")",
                Json().str("cmd", "uce-status").num("slot", mOptions.slot)
                    .flag("presence", status.isPresenceSupported).flag("options", status.isOptionsSupported)
                    .num("platformMask", mask).str("status", "OK"));
    return true;
}

bool CommandRunner::platformMask(const Command& c, std::string* error) {
    if (!mSession.setPlatformMask(c.mask, error)) return false;
    mOut.report("platform RCS service mask set to " + hex(c.mask),
                Json().str("cmd", "platform-mask").num("mask", c.mask).str("status", "OK"));
    return true;
}

bool CommandRunner::dump(std::string* error) {
    std::string text;
    if (!mSession.dump(&text, error)) return false;
    mOut.report(text, Json().str("cmd", "dump").str("text", text));
    return true;
}

bool CommandRunner::heap(std::string* error) {
    unsigned long long bytes = 0;
    if (!mSession.heapInUse(&bytes, error)) return false;
    mOut.report("heap bytes in use: " + std::to_string(bytes),
                Json().str("cmd", "dump heap").num("heapBytes", static_cast<int64_t>(bytes)));
    return true;
}

bool CommandRunner::modemCommand(const std::string& text, std::string* reply, std::string* error) {
    return mSession.modemControl(text, reply, error);
}

bool CommandRunner::modemRestart(std::string* error) {
    std::string reply;
    if (!modemCommand("restart", &reply, error)) return false;
    mOut.report("modem restarted (both services went down and came back)",
                Json().str("cmd", "modem restart").str("status", "OK"));
    return true;
}

bool CommandRunner::modemTokenRequest(const Command& c, std::string* error) {
    std::string text = "token-request " + std::to_string(mOptions.slot - 1) + " " + std::to_string(c.tokenType) +
                       " " + std::to_string(c.reason);
    if (c.hasRequestId) text += " " + std::to_string(c.requestId);
    std::string reply;
    if (!modemCommand(text, &reply, error)) return false;
    int sent = 0;
    if (std::sscanf(reply.c_str(), "sent %d", &sent) != 1 || sent <= 0) {
        *error = "modem token-request: the modem has no IMS Application connection for slot " +
                 std::to_string(mOptions.slot);
        return false;
    }
    std::string what = "modem: token request sent (" + tokenTypeName(c.tokenType) + ", " + tokenReasonName(c.reason);
    if (c.hasRequestId) what += ", request " + std::to_string(c.requestId);
    mOut.report(prefix() + what + ")",
                Json().str("cmd", "modem token-request").num("slot", mOptions.slot)
                    .str("tokenType", tokenTypeName(c.tokenType)).str("reason", tokenReasonName(c.reason))
                    .num("requestId", c.requestId).str("status", "OK"));
    return true;
}

bool CommandRunner::modemShowConfig(std::string* error) {
    const int sub = mOptions.slot - 1;
    std::string reply;
    if (!modemCommand("configs " + std::to_string(sub), &reply, error)) return false;
    std::istringstream lines(reply);
    std::string line;
    std::getline(lines, line);
    std::string text = prefix() + "modem has received " + line + " configuration document(s)\n";
    std::string docs = "[";
    unsigned long listed = 0;
    while (std::getline(lines, line)) {
        unsigned token = 0, gzip = 0;
        unsigned long len = 0;
        if (std::sscanf(line.c_str(), "token=%u gzip=%u len=%lu", &token, &gzip, &len) != 3) continue;
        ++listed;
        text += "  token " + std::to_string(token) + ": " + std::to_string(len) + " bytes of XML" +
                (gzip ? " (arrived gzip-compressed)" : "") + "\n";
        docs += std::string(docs.size() > 1 ? "," : "") + Json().num("token", token).flag("gzip", gzip != 0)
                    .num("bytes", static_cast<int64_t>(len)).text();
    }
    docs += "]";
    const unsigned long received = std::strtoul(reply.c_str(), nullptr, 10);
    if (listed < received) {
        text += "  (the modem keeps the last " + std::to_string(listed) + " of them)\n";
    }
    std::string token;
    if (!modemCommand("token " + std::to_string(sub), &token, error)) return false;
    text += "  application token: " + (token.empty() ? std::string("(none)") : textQuote(token));
    mOut.report(text, Json().str("cmd", "modem show-config").num("slot", mOptions.slot).raw("documents", docs)
                          .str("appToken", token).str("status", "OK"));
    return true;
}

bool CommandRunner::modemControl(const Command& c, std::string* error) {
    std::string reply;
    if (!modemCommand(c.text, &reply, error)) return false;
    mOut.report("modem " + c.text + (reply.empty() ? std::string(" -> OK") : " -> " + reply),
                Json().str("cmd", "modem control").str("command", c.text).str("reply", reply).str("status", "OK"));
    return true;
}

bool CommandRunner::waitReconfig(const Command& c, std::string* error) {
    // Every listener hears every reconfiguration notice, so wait for one per
    // slot in use; they are printed in slot order for a stable transcript.
    std::vector<int> slots = mSession.slots();
    if (slots.empty()) {
        *error = "wait reconfig: no RCS configuration object exists yet";
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeoutOf(c);
    std::vector<Notice> got;
    std::set<int> pending(slots.begin(), slots.end());
    while (!pending.empty()) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        std::vector<Notice> taken;
        if (left.count() <= 0 ||
            !mNotices.waitFor([&](const Notice& n) { return n.kind == Notice::Kind::Reconfig && pending.count(n.slot); },
                              left, &taken)) {
            for (const auto& n : got) printNotice(n);
            *error = waitEnded("wait reconfig", "no reconfiguration notice within " + seconds(timeoutOf(c)));
            return false;
        }
        pending.erase(taken.back().slot);
        got.insert(got.end(), taken.begin(), taken.end());
    }
    std::stable_partition(got.begin(), got.end(),
                          [](const Notice& n) { return n.kind != Notice::Kind::Reconfig; });
    auto firstReconfig = std::find_if(got.begin(), got.end(),
                                      [](const Notice& n) { return n.kind == Notice::Kind::Reconfig; });
    std::stable_sort(firstReconfig, got.end(), [](const Notice& a, const Notice& b) { return a.slot < b.slot; });
    for (const auto& n : got) printNotice(n);
    // The notice is sent before the service marks itself ready; once the
    // loop is idle again, requests are accepted.
    mSession.waitUntilIdle();
    return true;
}

bool CommandRunner::waitTokenRequest(const Command& c, std::string* error) {
    const int slot = mOptions.slot;
    std::vector<Notice> taken;
    if (!mNotices.waitFor([&](const Notice& n) { return n.kind == Notice::Kind::TokenRequest && n.slot == slot; },
                          timeoutOf(c), &taken)) {
        *error = waitEnded("wait token-request", "no token request for slot " + std::to_string(slot) + " within " +
                                                      seconds(timeoutOf(c)));
        return false;
    }
    for (const auto& n : taken) printNotice(n);
    return true;
}

bool CommandRunner::waitChange(const Command& c, std::string* error) {
    const int slot = mOptions.slot;
    const SettingsId id = c.groups[0]->id;
    std::vector<Notice> taken;
    if (!mNotices.waitFor([&](const Notice& n) {
            return n.kind == Notice::Kind::Change && n.slot == slot && n.settings.settingsId == id;
        }, timeoutOf(c), &taken)) {
        *error = waitEnded("wait change", "no change of " + c.groups[0]->name + " within " + seconds(timeoutOf(c)));
        return false;
    }
    for (const auto& n : taken) printNotice(n);
    return true;
}

}  // namespace rcsctl
