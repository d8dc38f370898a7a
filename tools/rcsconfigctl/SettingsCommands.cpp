// Objects, configuration documents and settings: slot, set-config,
// set-settings, get-settings, watch, unwatch.
#include "AnswerCallbacks.h"
#include "CommandRunner.h"
#include "ConfigDocument.h"

namespace rcsctl {

using android::sp;

namespace {

size_t valueCount(const V2_0::SettingsData& d) {
    return d.settingsValues.intData.size() + d.settingsValues.boolData.size() +
           d.settingsValues.stringData.size();
}

}  // namespace

bool CommandRunner::slotCommand(const Command& c, std::string* error) {
    mOptions.slot = c.slot;
    const bool existed = mSession.hasConfig(c.slot) && !c.fresh;
    if ((c.fresh ? mSession.recreate(c.slot, error) : mSession.config(c.slot, error)) == nullptr) return false;
    const bool firstMention = mAnnounced.insert(c.slot).second;
    const std::string factory = " (factory " + std::string(mSession.factoryVersion()) + ")";
    Result r;
    r.cmd = "slot";
    if (c.fresh) {
        r.what = "new RCS configuration object created" + factory;
    } else if (!existed) {
        r.what = "RCS configuration object created" + factory;
    } else if (firstMention) {
        // The start-up slot's object exists before any command runs.
        r.what = "RCS configuration object created at start-up" + factory;
    } else {
        r.what = "RCS configuration object in use";
    }
    r.details.str("factory", mSession.factoryVersion()).flag("created", !existed);
    report(r);
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
    V2_0::RequestStatus status = V2_0::RequestStatus::FAIL;
    if (!callAndWait("set-config", [&](auto result) { return config->setConfig(container, new SetConfigCb(result)); },
                     &status, error, true)) {
        return false;
    }
    Result r;
    r.cmd = "set-config";
    r.what = "set-config " + c.path + ": " + std::to_string(doc.fileSize) + " bytes";
    if (doc.compressedHere) {
        r.what += ", sent gzip-compressed as " + std::to_string(doc.bytes.size()) + " bytes";
    } else if (doc.compressed) {
        r.what += " of gzip, sent as they are";
    } else {
        r.what += ", sent uncompressed";
    }
    r.details.str("file", c.path).num("fileBytes", static_cast<int64_t>(doc.fileSize))
        .num("sentBytes", static_cast<int64_t>(doc.bytes.size()))
        .flag("compressed", doc.compressed).flag("compressedHere", doc.compressedHere);
    // The answer of an upload is the modem's own verdict on the whole document.
    if (status == V2_0::RequestStatus::OK) r.answer = "OK (accepted by the modem)";
    return answered(r, status, error);
}

bool CommandRunner::setSettings(const Command& c, std::string* error) {
    sp<V2_0::IRcsConfig> config = mSession.config(mOptions.slot, error);
    if (config == nullptr) return false;
    V2_0::RequestStatus status = V2_0::RequestStatus::FAIL;
    if (!callAndWait("set-settings",
                     [&](auto result) { return config->setSettingsValue(c.settings, new SetConfigCb(result)); },
                     &status, error, true)) {
        return false;
    }
    const std::string group = groupName(c.settings.settingsId);
    const size_t n = valueCount(c.settings);
    Result r;
    r.cmd = "set-settings";
    r.what = "set-settings " + group + " (" + std::to_string(n) + (n == 1 ? " value)" : " values)");
    r.details.str("group", group).raw("values", settingsJson(c.settings));
    return answered(r, status, error);
}

bool CommandRunner::getSettings(const Command& c, std::string* error) {
    sp<V2_0::IRcsConfig> config = mSession.config(mOptions.slot, error);
    if (config == nullptr) return false;
    GetResult answer;
    if (!callAndWait("get-settings",
                     [&](auto result) { return config->getSettingsValue(c.groups[0]->id, new GetSettingsCb(result)); },
                     &answer, error, true)) {
        return false;
    }
    Result r;
    r.cmd = "get-settings";
    r.what = "get-settings " + c.groups[0]->name;
    r.details.str("group", c.groups[0]->name).raw("values", settingsJson(answer.data));
    if (answer.status == V2_0::RequestStatus::OK) r.body = settingsText(answer.data);
    return answered(r, answer.status, error);
}

bool CommandRunner::watch(const Command& c, std::string* error) {
    sp<V2_0::IRcsConfig> config = mSession.config(mOptions.slot, error);
    if (config == nullptr || !objectUsable("watch", error)) return false;
    unsigned long sent = mSession.registrationsSent();
    for (const auto* g : c.groups) {
        auto ret = config->registerForSettingsChange(g->id, mSession.changeCallback(mOptions.slot));
        if (!reached("watch", ret, error)) return false;
        Result r;
        r.cmd = "watch";
        r.what = "watch " + g->name;
        r.details.str("group", g->name);
        if (!answered(r, static_cast<V2_0::RequestStatus>(ret), error)) return false;
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

bool CommandRunner::unwatch(const Command& c, std::string* error) {
    sp<V2_0::IRcsConfig> config = mSession.config(mOptions.slot, error);
    if (config == nullptr) return false;
    for (const auto* g : c.groups) {
        auto ret = config->deregisterForSettingsChange(g->id);
        if (!reached("unwatch", ret, error)) return false;
        Result r;
        r.cmd = "unwatch";
        r.what = "unwatch " + g->name;
        r.details.str("group", g->name);
        if (!answered(r, static_cast<V2_0::RequestStatus>(ret), error)) return false;
    }
    return true;
}

}  // namespace rcsctl
