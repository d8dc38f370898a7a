/*
 * How long a two-way call to another process may wait for its reply. Read on
 * every call, so they are plain atomics rather than part of the transport's
 * locked state.
 */
#include <atomic>
#include <chrono>

#include <hidl/HidlHostTransport.h>

#include "RpcTransport.h"

namespace android {
namespace hardware {

namespace {

// Milliseconds; 0 waits as long as it takes.
std::atomic<long long> gServiceCallLimit{0};
std::atomic<long long> gClientCallLimit{10000};

}  // namespace

namespace details {

std::chrono::milliseconds rpcCallLimit(bool peerIsClient) {
    return std::chrono::milliseconds((peerIsClient ? gClientCallLimit : gServiceCallLimit).load(std::memory_order_relaxed));
}

}  // namespace details

namespace host {

void setCallTimeout(std::chrono::milliseconds limit) {
    gServiceCallLimit.store(limit.count() > 0 ? limit.count() : 0, std::memory_order_relaxed);
}

void setClientCallTimeout(std::chrono::milliseconds limit) {
    gClientCallLimit.store(limit.count() > 0 ? limit.count() : 0, std::memory_order_relaxed);
}

}  // namespace host
}  // namespace hardware
}  // namespace android
