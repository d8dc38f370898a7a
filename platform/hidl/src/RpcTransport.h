/*
 * The process-wide side of host HIDL between processes: the registry folder,
 * the listening socket of a process that publishes services, and the
 * connections this process opened to services of other processes.
 */
#ifndef HIDL_RPCTRANSPORT_H
#define HIDL_RPCTRANSPORT_H

#include <chrono>
#include <string>
#include <vector>

#include <hidl/HidlHostRpc.h>

namespace android {
namespace hardware {
namespace details {

class RpcConnection;

// Publishes the process's service `name` under every descriptor of `chain`
// when the transport is on; OK and nothing else when it is off. Any thread.
status_t rpcPublishService(const std::vector<std::string>& chain, const std::string& name);

// How long a two-way call may wait for its reply (0: no limit): on a
// connection a client opened to this process when `peerIsClient`, else on one
// this process opened. See host::setCallTimeout. Any thread.
std::chrono::milliseconds rpcCallLimit(bool peerIsClient);

// Tells the transport that `connection` closed. Its reader thread.
void rpcConnectionClosed(RpcConnection* connection);
// Removes the registry entry at `entry` if it names the dead process `pid`
// (an entry a new registration has put there is kept), and `pid`'s socket.
// Any thread.
void removeStaleEntry(const std::string& dir, const std::string& entry, pid_t pid);

}  // namespace details
}  // namespace hardware
}  // namespace android

#endif  // HIDL_RPCTRANSPORT_H
