#include "HostDebugCommands.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <malloc.h>

#include "DebugWaits.h"
#include "imsservice/ImsLog.h"
#include "mcx_host.h"
#include "rcsconfig/ImsMcxSettings.h"
#include "rcsconfig/RcsConfig.h"
#include "rcsconfig/RcsConfigManager.h"
#include "service/RcsServiceHost.h"
#include "service/ServiceLog.h"
#include "xvDplHost.h"

namespace rcsservice {

namespace {

// A bounded number from a client: decimal or 0x-hex, nothing after it.
bool number(const std::string& text, unsigned long max, unsigned long* out) {
    if (text.empty() || text.size() > 20) return false;
    char* end = nullptr;
    errno = 0;
    unsigned long v = std::strtoul(text.c_str(), &end, 0);
    if (errno != 0 || end == nullptr || *end != '\0' || v > max || text[0] == '-') return false;
    *out = v;
    return true;
}

std::string hex(uint32_t v) {
    char buf[16];
    std::snprintf(buf, sizeof(buf), "0x%x\n", v);
    return buf;
}

// The objects the service keeps by design for as long as it runs (the dump
// counts them), with their sizes in this build: a soak needs them to tell the
// heap they hold from a leak.
std::string retainedSizes() {
    std::string out;
    auto line = [&out](const char* kind, size_t bytes) {
        out += std::string(kind) + " " + std::to_string(bytes) + "\n";
    };
    line("service-object", sizeof(RcsConfig));
    line("callback-recipient", sizeof(RcsConfig::DeathRecipientListener));
    line("manager-recipient", sizeof(RcsConfigManager::DeathRecipientListener));
    line("callback-wrapper", sizeof(RcsConfig::GetConfigListenerWrapper));
    line("settings-client", sizeof(ImsMcxSettings::imssClient));
    return out;
}

constexpr unsigned long kMaxWaitMs = 3600UL * 1000UL;
// How long the loop barrier waits for the loop to run out of work.
constexpr std::chrono::seconds kIdleTimeout(10);

}  // namespace

bool HostDebugCommands::startWait(const std::vector<std::string>& options, int fd, DebugWaits& waits) {
    const std::string& verb = options[0];
    const size_t args = options.size() - 1;
    unsigned long a = 0, b = 0;
    const RcsServiceHost& host = mHost;
    ServiceLog& log = mLog;
    if (verb == "wait-idle" && args == 0) {
        waits.start(fd, [&host](const std::function<bool()>& stopping) {
            const bool idle = DebugWaits::inSlices(kIdleTimeout, stopping, [&host](std::chrono::milliseconds slice) {
                return host.waitUntilIdle(slice);
            });
            if (!idle && !stopping()) {
                IMS_LOG("RcsServiceHost: the loop did not become idle within %d s",
                        static_cast<int>(kIdleTimeout.count()));
            }
            return std::string("idle\n");
        });
    } else if (verb == "wait-ready" && args == 1 && number(options[1], kMaxWaitMs, &a)) {
        waits.start(fd, [&log, a](const std::function<bool()>& stopping) {
            return DebugWaits::inSlices(std::chrono::milliseconds(a), stopping,
                                        [&log](std::chrono::milliseconds slice) { return log.waitForModemUp(slice); })
                           ? std::string("ready\n")
                           : std::string("not ready\n");
        });
    } else if (verb == "wait-registrations" && args == 2 && number(options[1], ~0UL, &a) &&
               number(options[2], kMaxWaitMs, &b)) {
        waits.start(fd, [&log, a, b](const std::function<bool()>& stopping) {
            return DebugWaits::inSlices(std::chrono::milliseconds(b), stopping,
                                        [&log, a](std::chrono::milliseconds slice) {
                                            return log.waitForRegistrations(a, slice);
                                        })
                           ? std::string("sent\n")
                           : std::string("not sent\n");
        });
    } else {
        return false;
    }
    return true;
}

bool HostDebugCommands::run(const std::vector<std::string>& options, std::string* text) {
    const std::string& verb = options[0];
    const size_t args = options.size() - 1;
    unsigned long a = 0;
    if (verb == "registrations" && args == 0) {
        *text = std::to_string(mLog.registrationsSent()) + "\n";
    } else if (verb == "platform-mask" && args <= 1) {
        if (args == 1) {
            if (!number(options[1], 0xffffffffUL, &a)) {
                *text = "error: bad mask '" + options[1] + "'\n";
                return true;
            }
            xvDplHostSetSupportedRcsServiceMask(static_cast<uint32_t>(a));
        }
        *text = hex(xvDplHostGetSupportedRcsServiceMask());
    } else if (verb == "modem" && args >= 1) {
        std::string command;
        for (size_t i = 1; i < options.size(); ++i) command += (i > 1 ? " " : "") + options[i];
        char reply[8192] = {0};
        mcx_client_error_type rc = mcx_host_modem_control(command.c_str(), reply, sizeof(reply));
        *text = std::to_string(static_cast<int>(rc)) + "\n" + std::string(reply, strnlen(reply, sizeof(reply)));
    } else if (verb == "heap" && args == 0) {
        // What a soak of client processes needs to tell growth the service
        // keeps by design from a leak: RSS alone mixes in the allocator.
        struct mallinfo2 info = mallinfo2();
        *text = std::to_string(info.uordblks + info.hblkhd) + "\n";
    } else if (verb == "dump-json" && args == 0) {
        *text = mHost.dumpJson() + "\n";
    } else if (verb == "retained-sizes" && args == 0) {
        *text = retainedSizes();
    } else if (verb == "logcat" && args == 1 && number(options[1], ~0UL, &a)) {
        uint64_t next = 0;
        std::vector<std::string> lines = mLog.linesAfter(a, &next);
        *text = std::to_string(next) + "\n";
        for (const auto& line : lines) *text += line;
    } else if (verb == "wait-idle" || verb == "wait-ready" || verb == "registrations" ||
               verb == "wait-registrations" || verb == "platform-mask" || verb == "modem" || verb == "heap" ||
               verb == "retained-sizes" || verb == "logcat" || verb == "dump-json") {
        *text = "error: bad arguments for '" + verb + "'\n";
    } else {
        return false;
    }
    return true;
}

}  // namespace rcsservice
