/*
 * HostDebugCommands: what a workstation client attached to the service
 * process asks through the factory's debug() besides the state dump. On a
 * workstation the client cannot see the service's loop, log, modem emulator
 * or platform stand-in, so the service answers for them:
 *
 *   wait-idle                    waits until the loop has handled everything posted  -> "idle"
 *   wait-ready MS                waits until the modem's services are up             -> "ready" | "not ready"
 *   registrations                change registrations sent to the modem so far      -> "<n>"
 *   wait-registrations N MS      waits until N registrations were sent              -> "sent" | "not sent"
 *   platform-mask [HEX]          sets (or reads) the platform's RCS service mask     -> "0x<mask>"
 *   modem WORDS...               a modem control command (emulator or mcx-modemd)   -> "<rc>" line, then the reply
 *   heap                         heap bytes the process has in use (0 under a sanitizer) -> "<n>"
 *   retained-sizes               the size of each kind of object the service keeps by design,
 *                                one "<kind> <bytes>" line each: service-object, callback-recipient,
 *                                manager-recipient, callback-wrapper, settings-client
 *   logcat AFTER                 the kept log lines after line number AFTER (0: all)  -> "<last>" line,
 *                                then the lines in logcat's threadtime layout
 *
 * Every answer ends with a newline. Unknown words are not a command (the
 * caller writes the dump instead); bad arguments answer "error: ...".
 *
 * The three waits are answered from threads of their own (DebugWaits), so
 * that a client waiting never holds the thread serving the other clients.
 */
#ifndef SERVICE_HOST_DEBUG_COMMANDS_H
#define SERVICE_HOST_DEBUG_COMMANDS_H

#include <string>
#include <vector>

namespace rcsservice {

class DebugWaits;
class RcsServiceHost;
class ServiceLog;

class HostDebugCommands {
public:
    // Both must outlive this object.
    HostDebugCommands(const RcsServiceHost& host, ServiceLog& log) : mHost(host), mLog(log) {}

    // Runs the command named by `options`; false when they name none. Any
    // thread but the service's loop thread (the waits need the loop).
    bool run(const std::vector<std::string>& options, std::string* text);

    // Starts the wait named by `options` on `waits`, which answers to `fd`
    // later; false when they name no wait with good arguments (run() answers
    // those). `waits` must be stopped before the host and the log go. Any
    // thread.
    bool startWait(const std::vector<std::string>& options, int fd, DebugWaits& waits);

private:
    const RcsServiceHost& mHost;
    ServiceLog& mLog;
};

}  // namespace rcsservice

#endif  // SERVICE_HOST_DEBUG_COMMANDS_H
