/*
 * startDetachedThread: runs `body` on a thread that is detached from the
 * moment it exists. std::thread(...).detach() leaves a window in which a
 * thread that has already finished is not yet detached; a process ending in
 * that window has a thread nobody will ever join (ThreadSanitizer reports it
 * as a leak). Connections and the accept loop come and go at any time, so
 * their threads are made this way.
 */
#ifndef HIDL_DETACHED_THREAD_H
#define HIDL_DETACHED_THREAD_H

#include <pthread.h>

#include <functional>
#include <memory>

namespace android {
namespace hardware {
namespace details {

// False when no thread could be made (`body` is then dropped). Any thread.
inline bool startDetachedThread(std::function<void()> body) {
    auto owned = std::make_unique<std::function<void()>>(std::move(body));
    pthread_attr_t attr;
    if (pthread_attr_init(&attr) != 0) return false;
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const int rc = pthread_create(
            &thread, &attr,
            [](void* arg) -> void* {
                std::unique_ptr<std::function<void()>> run(static_cast<std::function<void()>*>(arg));
                (*run)();
                return nullptr;
            },
            owned.get());
    pthread_attr_destroy(&attr);
    if (rc != 0) return false;
    owned.release();  // the thread owns it now
    return true;
}

}  // namespace details
}  // namespace hardware
}  // namespace android

#endif  // HIDL_DETACHED_THREAD_H
