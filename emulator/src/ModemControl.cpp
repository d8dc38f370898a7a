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

// A SIM slot as the user counts it, 1 to kSubscriptionCount, into the
// modem's 0-based subscription; false with the reason in *reply.
bool parseSlot(const std::string& text, int32_t* sub, std::string* reply) {
    long slot = 0;
    if (!parseNumber(text, &slot)) return false;
    if (slot < 1 || slot > kSubscriptionCount) {
        *reply = "no slot " + text + " (the modem has " + std::to_string(kSubscriptionCount) +
                 " slots, counted from 1)";
        return false;
    }
    *sub = static_cast<int32_t>(slot - 1);
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

bool fail(ModemEmulator& modem, const Command& c, std::string*) {
    uint32_t svc = 0;
    long msg = 0;
    if (!parseService(c.word(1), &svc) || !c.number(2, &msg)) return false;
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
        return false;
    }
    int count = 1;
    if (!c.count(countAt, &count)) return false;
    modem.failMessage(svc, static_cast<uint32_t>(msg), f, count);
    return true;
}

// Each handler answers false when its arguments do not parse; the caller
// then replies with the command's usage.
using Handler = bool (*)(ModemEmulator&, const Command&, std::string*);

struct Control {
    ControlCommand about;
    Handler run;
};

bool onOff(const std::string& word) { return word == "on" || word == "off"; }

const std::vector<Control>& controls() {
    static const std::vector<Control> kControls = {
        {{"ping", "", "answers \"pong\"", "ping"},
         [](ModemEmulator&, const Command& c, std::string* reply) {
             if (c.size() != 1) return false;
             *reply = "pong";
             return true;
         }},
        {{"service", "<imss|imsa> <up|down>", "brings one modem service up or down", "service imss down"},
         [](ModemEmulator& modem, const Command& c, std::string*) {
             uint32_t svc = 0;
             if (c.size() != 3 || !parseService(c.word(1), &svc) || (c.word(2) != "up" && c.word(2) != "down")) {
                 return false;
             }
             modem.setServiceUp(svc, c.word(2) == "up");
             return true;
         }},
        {{"restart", "", "modem restart: both services down, then up", "restart"},
         [](ModemEmulator& modem, const Command& c, std::string*) {
             if (c.size() != 1) return false;
             modem.restart();
             return true;
         }},
        {{"reset", "", "forgets all state, faults and the request log", "reset"},
         [](ModemEmulator& modem, const Command& c, std::string*) {
             if (c.size() != 1) return false;
             modem.reset();
             return true;
         }},
        {{"carrier-config", "<on|off>", "whether the modem supports the carrier configuration message (0x9C)",
          "carrier-config off"},
         [](ModemEmulator& modem, const Command& c, std::string*) {
             if (c.size() != 2 || !onOff(c.word(1))) return false;
             modem.setCarrierConfigSupported(c.word(1) == "on");
             return true;
         }},
        {{"fail",
          "<svc> <msg> transport|result <result> <error>|seg-status <value>|delay <ms> [count]",
          "the next [count] requests <msg> fail that way (count 0: until clear-faults)",
          "fail imss 0x98 result 1 3 2"},
         fail},
        {{"drop-ind", "<svc> <msg> [count]", "drops the next [count] indications <msg>", "drop-ind imss 0x9d"},
         [](ModemEmulator& modem, const Command& c, std::string*) {
             uint32_t svc = 0;
             long msg = 0;
             int count = 1;
             if (!parseService(c.word(1), &svc) || !c.number(2, &msg) || !c.count(3, &count)) return false;
             modem.dropIndication(svc, static_cast<uint32_t>(msg), count);
             return true;
         }},
        {{"ind-length", "<svc> <msg> <length> [count]",
          "sends the next [count] indications <msg> with that length (0..65536)", "ind-length imss 0x9d 3"},
         [](ModemEmulator& modem, const Command& c, std::string*) {
             uint32_t svc = 0;
             long msg = 0, length = 0;
             int count = 1;
             if (!parseService(c.word(1), &svc) || !c.number(2, &msg) || !c.number(3, &length) || length < 0 ||
                 length > 65536 || !c.count(4, &count)) {
                 return false;
             }
             modem.setIndicationLength(svc, static_cast<uint32_t>(msg), static_cast<uint32_t>(length), count);
             return true;
         }},
        {{"clear-faults", "", "ends every fail, drop-ind and ind-length", "clear-faults"},
         [](ModemEmulator& modem, const Command& c, std::string*) {
             if (c.size() != 1) return false;
             modem.clearFaults();
             return true;
         }},
        {{"token-request", "<slot> <type> <reason> [request-id]",
          "asks the clients of <slot> for an application token; answers \"sent <n>\"", "token-request 1 1 2 5"},
         [](ModemEmulator& modem, const Command& c, std::string* reply) {
             long type = 0, reason = 0, id = 0;
             int32_t sub = 0;
             if ((c.size() != 4 && c.size() != 5) || !parseSlot(c.word(1), &sub, reply) || !c.number(2, &type) ||
                 !c.number(3, &reason) || (c.size() == 5 && !c.number(4, &id))) {
                 return false;
             }
             int sent = modem.sendTokenRequest(sub, static_cast<int32_t>(type), static_cast<int32_t>(reason),
                                               c.size() == 5, static_cast<int32_t>(id));
             *reply = "sent " + std::to_string(sent);
             return true;
         }},
        {{"count", "<svc> <msg>", "how many requests <msg> the modem received", "count imss 0x98"},
         [](ModemEmulator& modem, const Command& c, std::string* reply) {
             uint32_t svc = 0;
             long msg = 0;
             if (c.size() != 3 || !parseService(c.word(1), &svc) || !c.number(2, &msg)) return false;
             *reply = std::to_string(modem.requestCount(svc, static_cast<uint32_t>(msg)));
             return true;
         }},
        {{"connections", "<svc>", "how many clients the service has", "connections imss"},
         [](ModemEmulator& modem, const Command& c, std::string* reply) {
             uint32_t svc = 0;
             if (c.size() != 2 || !parseService(c.word(1), &svc)) return false;
             *reply = std::to_string(modem.connectionCount(svc));
             return true;
         }},
        {{"configs", "<slot>",
          "documents received so far, then \"token=<t> gzip=<0|1> len=<bytes>\" for each of the last few kept",
          "configs 1"},
         [](ModemEmulator& modem, const Command& c, std::string* reply) {
             int32_t sub = 0;
             if (c.size() != 2 || !parseSlot(c.word(1), &sub, reply)) return false;
             std::ostringstream out;
             out << modem.receivedConfigCount(sub);
             for (const auto& cfg : modem.receivedConfigs(sub)) {
                 out << "\ntoken=" << unsigned(cfg.token) << " gzip=" << (cfg.gzipped ? 1 : 0)
                     << " len=" << cfg.document.size();
             }
             *reply = out.str();
             return true;
         }},
        {{"token", "<slot>", "the application token the modem stores for <slot>", "token 1"},
         [](ModemEmulator& modem, const Command& c, std::string* reply) {
             int32_t sub = 0;
             if (c.size() != 2 || !parseSlot(c.word(1), &sub, reply)) return false;
             auto token = modem.acsToken(sub);
             reply->assign(token.begin(), token.end());
             return true;
         }},
        {{"clear-requests", "", "forgets the request log that count reads", "clear-requests"},
         [](ModemEmulator& modem, const Command& c, std::string*) {
             if (c.size() != 1) return false;
             modem.clearRequests();
             return true;
         }},
    };
    return kControls;
}

std::string usageOf(const ControlCommand& about) {
    return std::string(about.verb) + (about.arguments[0] != '\0' ? " " : "") + about.arguments;
}

std::string helpText() {
    std::string text = "modem controls (<svc> is imss or imsa; <slot> is 1 or 2; numbers are decimal or 0x-hex):";
    for (const auto& control : controls()) {
        text += "\n  " + usageOf(control.about) + "\n      " + control.about.what + "; e.g. " +
                control.about.example;
    }
    return text;
}

}  // namespace

std::vector<ControlCommand> controlCommands() {
    std::vector<ControlCommand> about;
    for (const auto& control : controls()) about.push_back(control.about);
    return about;
}

bool runControlCommand(ModemEmulator& modem, const std::string& line, std::string* reply) {
    Command c(line);
    reply->clear();
    const std::string& verb = c.word(0);
    if (verb == "help" && c.size() == 1) {
        *reply = helpText();
        return true;
    }
    for (const auto& control : controls()) {
        if (verb != control.about.verb) continue;
        if (control.run(modem, c, reply)) return true;
        // A handler that knows what is wrong has said it; otherwise the usage.
        if (reply->empty()) *reply = "usage: " + usageOf(control.about);
        return false;
    }
    *reply = "unknown command: " + line + " ('help' lists the controls)";
    return false;
}

}  // namespace mcxemu
