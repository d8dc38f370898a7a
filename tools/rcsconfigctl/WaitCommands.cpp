// Waiting for what the service tells: wait reconfig, wait token-request,
// wait change, and the changes a watch stays for.
#include <algorithm>
#include <set>

#include "CommandRunner.h"

namespace rcsctl {

namespace {

std::string groupList(const std::vector<const GroupInfo*>& groups) {
    std::string out;
    for (const auto* g : groups) out += (out.empty() ? "" : ", ") + g->name;
    return out;
}

}  // namespace

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

}  // namespace rcsctl
