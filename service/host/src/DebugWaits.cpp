#include "DebugWaits.h"

#include <algorithm>

#include <fcntl.h>
#include <unistd.h>

#include "DebuggableImsFactory.h"

namespace rcsservice {

DebugWaits::~DebugWaits() { stop(); }

void DebugWaits::start(int fd, Wait wait) {
    hostsync::MutexLock lock(mLock);
    reapDone();
    const char* refusal = nullptr;
    int copy = -1;
    if (mStopping) {
        refusal = "error: the service is stopping\n";
    } else if (mRunning.size() >= kMaxWaits) {
        refusal = "error: too many waits in progress\n";
    } else if ((copy = fcntl(fd, F_DUPFD_CLOEXEC, 0)) < 0) {
        refusal = "error: cannot keep the descriptor for the answer\n";
    }
    if (refusal != nullptr) {
        writeDebugText(fd, refusal);
        return;
    }
    mRunning.push_back(std::make_unique<Running>());
    Running* running = mRunning.back().get();
    running->thread = std::thread([this, running, copy, wait = std::move(wait)] {
        const std::string answer = wait([this] {
            hostsync::MutexLock stopLock(mLock);
            return mStopping;
        });
        writeDebugText(copy, answer);
        close(copy);
        hostsync::MutexLock doneLock(mLock);
        running->done = true;
    });
}

void DebugWaits::stop() {
    std::list<std::unique_ptr<Running>> running;
    {
        hostsync::MutexLock lock(mLock);
        mStopping = true;
        running.swap(mRunning);
    }
    for (auto& r : running) r->thread.join();
}

void DebugWaits::reapDone() {
    for (auto it = mRunning.begin(); it != mRunning.end();) {
        if ((*it)->done) {
            (*it)->thread.join();  // it has nothing left to do but return
            it = mRunning.erase(it);
        } else {
            ++it;
        }
    }
}

bool DebugWaits::inSlices(std::chrono::milliseconds timeout, const std::function<bool()>& stopping,
                          const std::function<bool(std::chrono::milliseconds slice)>& until) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline -
                                                                                std::chrono::steady_clock::now());
        if (until(std::max(std::chrono::milliseconds(0), std::min(left, kSlice)))) return true;
        if (stopping() || std::chrono::steady_clock::now() >= deadline) return false;
    }
}

}  // namespace rcsservice
