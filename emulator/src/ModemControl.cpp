#include "emulator/ModemControl.h"

#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <vector>

#include "ims_application_service_v01.h"
#include "ims_settings_service_v01.h"

namespace mcxemu {

namespace {

bool parseNumber(const std::string& text, long* out) {
    if (text.empty()) return false;
    errno = 0;
    char* end = nullptr;
    long v = std::strtol(text.c_str(), &end, 0);
    if (errno != 0 || end == nullptr || *end != '\0') return false;
    *out = v;
    return true;
}

bool parseService(const std::string& text, uint32_t* out) {
    if (text == "imss") *out = IMSS_SERVICE_ID_V01;
    else if (text == "imsa") *out = IMSA_SERVICE_ID_V01;
    else return false;
    return true;
}

class Command {
public:
    explicit Command(const std::string& line) {
        std::istringstream in(line);
        std::string word;
        while (in >> word) mWords.push_back(word);
    }
    size_t size() const { return mWords.size(); }
    const std::string& word(size_t i) const {
        static const std::string kEmpty;
        return i < mWords.size() ? mWords[i] : kEmpty;
    }
    bool number(size_t i, long* out) const { return parseNumber(word(i), out); }
    // Optional trailing count at index i (default 1).
    bool count(size_t i, int* out) const {
        long v = 1;
        if (i < mWords.size() && (!number(i, &v) || i + 1 != mWords.size())) return false;
        if (i > mWords.size()) return false;
        *out = static_cast<int>(v);
        return true;
    }

private:
    std::vector<std::string> mWords;
};

bool fail(ModemEmulator& modem, const Command& c, std::string* reply) {
    uint32_t svc = 0;
    long msg = 0;
    if (!parseService(c.word(1), &svc) || !c.number(2, &msg)) {
        *reply = "usage: fail <imss|imsa> <msg> <kind> ...";
        return false;
    }
    MessageFault f;
    size_t countAt = 4;
    long a = 0, b = 0;
    const std::string& kind = c.word(3);
    if (kind == "transport") {
        f.kind = MessageFault::Kind::Transport;
    } else if (kind == "result" && c.number(4, &a) && c.number(5, &b)) {
        f.kind = MessageFault::Kind::ResponseHeader;
        f.result = static_cast<int32_t>(a);
        f.error = static_cast<int32_t>(b);
        countAt = 6;
    } else if (kind == "seg-status" && c.number(4, &a)) {
        f.kind = MessageFault::Kind::SegStatus;
        f.segStatus = static_cast<uint32_t>(a);
        countAt = 5;
    } else if (kind == "delay" && c.number(4, &a) && a >= 0) {
        f.kind = MessageFault::Kind::Delay;
        f.delayMs = static_cast<uint32_t>(a);
        countAt = 5;
    } else {
        *reply = "unknown fault: " + kind;
        return false;
    }
    int count = 1;
    if (!c.count(countAt, &count)) {
        *reply = "bad count";
        return false;
    }
    modem.failMessage(svc, static_cast<uint32_t>(msg), f, count);
    return true;
}

}  // namespace

bool runControlCommand(ModemEmulator& modem, const std::string& line, std::string* reply) {
    Command c(line);
    reply->clear();
    const std::string& verb = c.word(0);
    uint32_t svc = 0;
    long a = 0, b = 0, d = 0, e = 0;
    int count = 1;
    bool ok = true;
    if (verb == "ping" && c.size() == 1) {
        *reply = "pong";
    } else if (verb == "service" && c.size() == 3 && parseService(c.word(1), &svc) &&
               (c.word(2) == "up" || c.word(2) == "down")) {
        modem.setServiceUp(svc, c.word(2) == "up");
    } else if (verb == "restart" && c.size() == 1) {
        modem.restart();
    } else if (verb == "reset" && c.size() == 1) {
        modem.reset();
    } else if (verb == "carrier-config" && c.size() == 2 &&
               (c.word(1) == "on" || c.word(1) == "off")) {
        modem.setCarrierConfigSupported(c.word(1) == "on");
    } else if (verb == "fail") {
        ok = fail(modem, c, reply);
    } else if (verb == "drop-ind" && parseService(c.word(1), &svc) && c.number(2, &a) &&
               c.count(3, &count)) {
        modem.dropIndication(svc, static_cast<uint32_t>(a), count);
    } else if (verb == "ind-length" && parseService(c.word(1), &svc) && c.number(2, &a) &&
               c.number(3, &b) && b >= 0 && b <= 65536 && c.count(4, &count)) {
        modem.setIndicationLength(svc, static_cast<uint32_t>(a), static_cast<uint32_t>(b), count);
    } else if (verb == "clear-faults" && c.size() == 1) {
        modem.clearFaults();
    } else if (verb == "token-request" && (c.size() == 4 || c.size() == 5) && c.number(1, &a) &&
               c.number(2, &b) && c.number(3, &d) && (c.size() == 4 || c.number(4, &e))) {
        int sent = modem.sendTokenRequest(static_cast<int32_t>(a), static_cast<int32_t>(b),
                                          static_cast<int32_t>(d), c.size() == 5,
                                          static_cast<int32_t>(e));
        *reply = "sent " + std::to_string(sent);
    } else if (verb == "count" && c.size() == 3 && parseService(c.word(1), &svc) &&
               c.number(2, &a)) {
        *reply = std::to_string(modem.requestCount(svc, static_cast<uint32_t>(a)));
    } else if (verb == "connections" && c.size() == 2 && parseService(c.word(1), &svc)) {
        *reply = std::to_string(modem.connectionCount(svc));
    } else if (verb == "configs" && c.size() == 2 && c.number(1, &a)) {
        auto configs = modem.receivedConfigs(static_cast<int32_t>(a));
        std::ostringstream out;
        out << modem.receivedConfigCount(static_cast<int32_t>(a));
        for (const auto& cfg : configs) {
            out << "\ntoken=" << unsigned(cfg.token) << " gzip=" << (cfg.gzipped ? 1 : 0)
                << " len=" << cfg.document.size();
        }
        *reply = out.str();
    } else if (verb == "token" && c.size() == 2 && c.number(1, &a)) {
        auto token = modem.acsToken(static_cast<int32_t>(a));
        reply->assign(token.begin(), token.end());
    } else if (verb == "clear-requests" && c.size() == 1) {
        modem.clearRequests();
    } else {
        *reply = "unknown command: " + line;
        ok = false;
    }
    return ok;
}

}  // namespace mcxemu
