// ClientSession's use of the service's debug channel: every observing and
// host command (dump, logcat, modem controls, waits) is a debug() call on the
// factory, so observing creates nothing in the service.
#include "ClientSession.h"

#include <chrono>
#include <cstdlib>

#include "clientkit/DebugCall.h"

namespace rcsctl {

namespace {

// The longest the service's loop barrier (wait-idle) waits.
constexpr std::chrono::seconds kServiceIdleWait(10);

}  // namespace

bool ClientSession::debugCall(const std::vector<std::string>& options, std::string* text, std::string* error) {
    if (mFactory == nullptr) {
        *error = "the service is not reachable";
        return false;
    }
    // A wait is answered once it ends: the answer may come that much later
    // than the call's own time-out.
    std::chrono::milliseconds waits(0);
    if (!options.empty() && options[0] == "wait-idle") waits = kServiceIdleWait;
    if (!options.empty() && (options[0] == "wait-ready" || options[0] == "wait-registrations")) {
        waits = std::chrono::milliseconds(std::strtoul(options.back().c_str(), nullptr, 10));
    }
    clientkit::DebugCallLimits limits;
    limits.answerTimeout = mOptions.timeout + waits;
    limits.stopped = [this] { return mNotices.stopped(); };
    android::hardware::Status status;
    if (clientkit::callDebug(mFactory, options, text, error, &status, limits)) return true;
    if (!status.isOk() && takeDeathOf(status)) *error = "the service died before answering its debug call";
    return false;
}

bool ClientSession::hostCommand(const std::vector<std::string>& words, std::string* text, std::string* error) {
    if (!debugCall(words, text, error)) return false;
    if (text->compare(0, 7, "error: ") == 0) {
        *error = "the service refused '" + words[0] + "': " + text->substr(7, text->find('\n') - 7);
        return false;
    }
    return true;
}

void ClientSession::waitUntilIdle() {
    std::string text, error;
    hostCommand({"wait-idle"}, &text, &error);
}

bool ClientSession::dump(std::string* text, std::string* error) {
    waitUntilIdle();  // what was asked before is in the dump
    return debugCall({}, text, error);
}

bool ClientSession::dumpJson(std::string* json, std::string* error) {
    waitUntilIdle();
    if (!hostCommand({"dump-json"}, json, error)) return false;
    if (!json->empty() && json->back() == '\n') json->pop_back();
    return true;
}

bool ClientSession::logLines(uint64_t after, uint64_t* next, std::vector<std::string>* lines,
                             std::string* error) {
    std::string text;
    if (!hostCommand({"logcat", std::to_string(after)}, &text, error)) return false;
    size_t eol = text.find('\n');
    char* end = nullptr;
    *next = std::strtoull(text.c_str(), &end, 10);
    if (eol == std::string::npos || end != text.c_str() + eol) {
        *error = "the service's log answer does not start with a line number";
        return false;
    }
    for (size_t from = eol + 1; from < text.size();) {
        size_t to = text.find('\n', from);
        to = to == std::string::npos ? text.size() : to + 1;
        lines->push_back(text.substr(from, to - from));
        from = to;
    }
    return true;
}

bool ClientSession::heapInUse(unsigned long long* bytes, std::string* error) {
    std::string text;
    if (!hostCommand({"heap"}, &text, error)) return false;
    char* end = nullptr;
    *bytes = std::strtoull(text.c_str(), &end, 10);
    if (end == text.c_str() || *end != '\n') {
        *error = "the service's heap figure does not read as a number";
        return false;
    }
    return true;
}

unsigned long ClientSession::registrationsSent() {
    std::string text, error;
    if (!hostCommand({"registrations"}, &text, &error)) return 0;
    return std::strtoul(text.c_str(), nullptr, 10);
}

bool ClientSession::waitForRegistrations(unsigned long target, std::chrono::milliseconds timeout) {
    std::string text, error;
    return hostCommand({"wait-registrations", std::to_string(target), std::to_string(timeout.count())}, &text,
                       &error) &&
           text == "sent\n";
}

bool ClientSession::setPlatformMask(uint32_t mask, std::string* error) {
    std::string text;
    return hostCommand({"platform-mask", std::to_string(mask)}, &text, error);
}

uint32_t ClientSession::platformMask() {
    std::string text, error;
    if (!hostCommand({"platform-mask"}, &text, &error)) return 0;
    return static_cast<uint32_t>(std::strtoul(text.c_str(), nullptr, 16));
}

bool ClientSession::modemControl(const std::string& text, std::string* reply, std::string* error) {
    std::vector<std::string> words{"modem"};
    size_t from = 0;
    while (from < text.size()) {
        size_t to = text.find(' ', from);
        if (to == std::string::npos) to = text.size();
        if (to > from) words.push_back(text.substr(from, to - from));
        from = to + 1;
    }
    std::string answer;
    if (!hostCommand(words, &answer, error)) return false;
    size_t eol = answer.find('\n');
    int rc = std::atoi(answer.substr(0, eol).c_str());
    *reply = eol == std::string::npos ? std::string() : answer.substr(eol + 1);
    if (rc != 0) {
        *error = "modem " + text + ": " + (reply->empty() ? "error " + std::to_string(rc) : *reply);
        return false;
    }
    return true;
}

}  // namespace rcsctl
