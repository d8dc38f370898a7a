// The service's own state and the modem emulator behind it: dump, dump
// heap, logcat, modem restart, modem token-request, modem show-config,
// modem control.
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include <hostlog/LogLine.h>
#include <hostlog/TagFilter.h>

#include "CommandRunner.h"

namespace rcsctl {

bool CommandRunner::dump(std::string* error) {
    std::string text;
    if (mOut.json()) {
        if (!mSession.dumpJson(&text, error)) return false;
        mOut.report("", Json().str("cmd", "dump").raw("state", asciiJson(text)));
    } else {
        if (!mSession.dump(&text, error)) return false;
        mOut.report(text, Json());
    }
    return true;
}

bool CommandRunner::heap(std::string* error) {
    unsigned long long bytes = 0;
    if (!mSession.heapInUse(&bytes, error)) return false;
    mOut.report("heap bytes in use: " + std::to_string(bytes),
                Json().str("cmd", "dump heap").num("heapBytes", static_cast<int64_t>(bytes)));
    return true;
}

bool CommandRunner::logcat(const Command& c, std::string* error) {
    hostlog::TagFilter filter;
    if (!hostlog::TagFilter::parse(c.filters, &filter, error)) return false;
    // How often a follow asks the service for new lines.
    constexpr std::chrono::milliseconds kFollowPoll(250);
    uint64_t after = 0;
    for (;;) {
        std::vector<std::string> lines;
        if (!mSession.logLines(after, &after, &lines, error)) return false;
        for (std::string& line : lines) {
            int priority = 0;
            std::string tag;
            if (hostlog::parseThreadTime(line, &priority, &tag) && !filter.passes(tag, priority)) continue;
            if (!line.empty() && line.back() == '\n') line.pop_back();
            mOut.report(line, Json().str("cmd", "logcat").str("line", line));
        }
        if (!c.follow) return true;
        // A pause that Ctrl-C (or the service's death) ends at once; the
        // follow then ends as asked, with no error of its own.
        std::vector<Notice> none;
        mNotices.waitFor([](const Notice&) { return false; }, kFollowPoll, &none);
        if (mNotices.stopped()) return true;
    }
}

bool CommandRunner::modemRestart(std::string* error) {
    std::string reply;
    if (!mSession.modemControl("restart", &reply, error)) return false;
    mOut.report("modem restarted (both services went down and came back)",
                Json().str("cmd", "modem restart").str("status", "OK"));
    return true;
}

bool CommandRunner::modemTokenRequest(const Command& c, std::string* error) {
    std::string text = "token-request " + std::to_string(mOptions.slot) + " " + std::to_string(c.tokenType) +
                       " " + std::to_string(c.reason);
    if (c.hasRequestId) text += " " + std::to_string(c.requestId);
    std::string reply;
    if (!mSession.modemControl(text, &reply, error)) return false;
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
    const int slot = mOptions.slot;
    std::string reply;
    if (!mSession.modemControl("configs " + std::to_string(slot), &reply, error)) return false;
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
    if (!mSession.modemControl("token " + std::to_string(slot), &token, error)) return false;
    text += "  application token: " + (token.empty() ? std::string("(none)") : textQuote(token));
    mOut.report(text, Json().str("cmd", "modem show-config").num("slot", mOptions.slot).raw("documents", docs)
                          .str("appToken", token).str("status", "OK"));
    return true;
}

bool CommandRunner::modemControl(const Command& c, std::string* error) {
    std::string reply;
    if (!mSession.modemControl(c.text, &reply, error)) return false;
    mOut.report("modem " + c.text + (reply.empty() ? std::string(" -> OK") : " -> " + reply),
                Json().str("cmd", "modem control").str("command", c.text).str("reply", reply).str("status", "OK"));
    return true;
}

}  // namespace rcsctl
