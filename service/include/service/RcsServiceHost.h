/*
 * RcsServiceHost: brings the RCS configuration HAL up inside the calling
 * process and takes it down again, in the order a vendor service process
 * uses on a device:
 *
 *   start: ImsCom::getInstance(), one ImsTimer whose monitor wakes the loop,
 *          ImsMcxSettings and ImsMcxApplication, the RcsConfigManager, the
 *          factories with start(), then the one event-loop thread calling
 *          processEvents(timer.timeUntilNextEvent(), timer);
 *   stop:  the same in reverse.
 *
 * An exception escaping a handler on the loop thread is caught and logged
 * there, and the loop goes on serving.
 *
 * Used by service.cpp (the device's service main), by the workstation's
 * service process and command-line client (service/host/), and by end-to-end
 * tests. How the modem is reached is the process's business: a device's
 * messaging library has its one modem, a workstation chooses one before the
 * start sequence through `connectModem`.
 */
#ifndef SERVICE_RCS_SERVICE_HOST_H
#define SERVICE_RCS_SERVICE_HOST_H

#include <chrono>
#include <functional>
#include <memory>

#include <android/hidl/base/1.0/IBase.h>
#include <string>
#include <vector>

namespace rcsservice {

struct RcsServiceHostOptions {
    // Runs first in start(), on the starting thread: makes the modem
    // reachable through the messaging library. False (after its own log
    // line) stops the start. Empty: the library reaches its one modem.
    std::function<bool()> connectModem;
    // How the modem is reached, for the log and the dump.
    std::string modemName = "modem messaging library";
    bool startFactory_1_0 = true;
    bool startFactory_1_1 = true;
    // Answers a factory debug() call whose options name a command of the
    // process hosting the service (a client's barrier, a readiness wait);
    // returns false when the options are no such command, and the state dump
    // is written instead. Runs on the thread serving the debug() call.
    std::function<bool(const std::vector<std::string>& options, std::string* text)> debugCommands;
    // Takes a debug() call whose options name a command the hosting process
    // answers later, from a thread of its own (a wait, which must not hold
    // the thread serving calls): it gets the call's descriptor and writes
    // the answer to a copy of it, since the caller's is closed when debug()
    // returns. False when the options are no such command. Consulted before
    // `debugCommands`, on the thread serving the debug() call.
    std::function<bool(const std::vector<std::string>& options, int fd)> deferredCommands;
    // Sections the hosting process appends to the state dump (facts only it
    // knows, such as a workstation's service registry); each line ends in a
    // newline. Runs on the thread serving the debug() call.
    std::function<std::string()> extraDump;
    // The process behind a client's object, for the dump's listener lines;
    // 0 when not known. Empty: no process is named (a device's dump).
    std::function<int(const ::android::sp<::android::hidl::base::V1_0::IBase>& object)> clientPid;
};

class RcsServiceHost {
public:
    explicit RcsServiceHost(RcsServiceHostOptions options = {});
    // Runs the stop sequence if the host is still started.
    ~RcsServiceHost();
    RcsServiceHost(const RcsServiceHost&) = delete;
    RcsServiceHost& operator=(const RcsServiceHost&) = delete;

    // Runs the start sequence; false (with a log line) if the modem transport
    // cannot be chosen or a factory cannot be registered. Call once, from the
    // thread that owns the host.
    bool start();

    // Runs the stop sequence and joins the loop thread. Any thread but the
    // loop thread; idempotent.
    void stop();

    // The readable state dump that the factory's debug() writes (modem flags,
    // subscribed slots, listeners, service objects, pending requests per kind).
    // Any thread.
    std::string dump() const;
    // The same facts as one JSON object: numbers as numbers, flags as
    // booleans, each listener's client process as a field. Any thread.
    std::string dumpJson() const;

    // Blocks until every event posted so far has been handled by the loop
    // thread. For tools and tests that need a quiet point. Any thread but the loop.
    void waitUntilIdle() const;
    // The same, giving up after `timeout`: true once the loop was idle, false
    // on time-out or when the host is not started. Any thread but the loop.
    bool waitUntilIdle(std::chrono::milliseconds timeout) const;

private:
    struct State;
    std::unique_ptr<State> mState;
};

}  // namespace rcsservice

#endif  // SERVICE_RCS_SERVICE_HOST_H
