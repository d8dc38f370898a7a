#include "SoakService.h"

#include <android/log.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <thread>

#include "clientkit/DebugCall.h"

namespace soak {

namespace F1_1 = ::vendor::kel::ims::factory::V1_1;

SoakService::SoakService() {
    // Nothing of the service's log is shown or kept: kept lines would count
    // as heap growth, and the modem's state is read from the dump instead.
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
}

SoakService::~SoakService() { stop(); }

bool SoakService::start(const rcsservice::HostModem& modem) {
    mService = std::make_unique<rcsservice::WorkstationService>(modem, mLog);
    if (!mService->start()) {
        fprintf(stderr, "rcs-soak: the service did not start\n");
        return false;
    }
    mFactory = F1_1::IImsFactory::getService();
    if (mFactory == nullptr) {
        fprintf(stderr, "rcs-soak: the service's factory is not registered\n");
        return false;
    }
    return true;
}

void SoakService::stop() {
    mFactory = nullptr;
    if (mService) mService->stop();
}

std::string SoakService::ask(const std::vector<std::string>& words) {
    std::string text, error;
    if (mFactory == nullptr || !clientkit::callDebug(mFactory, words, &text, &error)) return std::string();
    return text;
}

void SoakService::waitUntilIdle() { ask({"wait-idle"}); }

std::string SoakService::dump() { return ask({}); }

int64_t SoakService::heapInUse() { return strtoll(ask({"heap"}).c_str(), nullptr, 10); }

// The answer is the modem's status on a line of its own, then its reply.
bool SoakService::modemControl(const std::string& command, std::string* reply) {
    std::vector<std::string> words{"modem"};
    std::istringstream in(command);
    for (std::string word; in >> word;) words.push_back(word);
    std::string text = ask(words);
    size_t eol = text.find('\n');
    if (eol == std::string::npos) return false;
    *reply = text.substr(eol + 1);
    return text.compare(0, eol, "0") == 0;
}

std::map<std::string, int64_t> SoakService::retainedSizes() {
    std::map<std::string, int64_t> sizes;
    std::istringstream in(ask({"retained-sizes"}));
    std::string kind;
    int64_t bytes;
    while (in >> kind >> bytes) sizes[kind] = bytes;
    return sizes;
}

bool SoakService::waitModem(bool up, int timeoutMs) {
    using Clock = std::chrono::steady_clock;
    const char* want = up ? "modem up: yes, carrier configuration accepted: yes" : "modem up: no";
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (Clock::now() < deadline) {
        waitUntilIdle();
        if (dump().find(want) != std::string::npos) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

}  // namespace soak
