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
 * Used by service.cpp (the daemon main), by the command-line client, which
 * runs the service inside its own process, and by end-to-end tests.
 */
#ifndef SERVICE_RCS_SERVICE_HOST_H
#define SERVICE_RCS_SERVICE_HOST_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace rcsservice {

struct RcsServiceHostOptions {
    enum class Modem {
        Embedded,  // the modem emulator inside this process
        Daemon     // an mcx-modemd daemon reached on daemonSocket
    };
    Modem modem = Modem::Embedded;
    std::string daemonSocket;
    bool startFactory_1_0 = true;
    bool startFactory_1_1 = true;
    // Answers a factory debug() call whose options name a command of the
    // process hosting the service (a client's barrier, a readiness wait);
    // returns false when the options are no such command, and the state dump
    // is written instead. Runs on the thread serving the debug() call.
    std::function<bool(const std::vector<std::string>& options, std::string* text)> debugCommands;
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

    // Blocks until every event posted so far has been handled by the loop
    // thread. For tools and tests that need a quiet point. Any thread but the loop.
    void waitUntilIdle() const;

private:
    struct State;
    std::unique_ptr<State> mState;
};

}  // namespace rcsservice

#endif  // SERVICE_RCS_SERVICE_HOST_H
