#include "clientkit/DebugCall.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include <cutils/native_handle.h>
#include <hostsync/Mutex.h>

namespace clientkit {

using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;

namespace {

constexpr int kPollMs = 50;

// Reads the pipe's reading end on a thread of its own until end of file or
// until told to quit, so that the service never blocks on a full pipe while
// the call runs.
class AnswerReader {
public:
    explicit AnswerReader(int fd) : mFd(fd), mThread([this] { run(); }) {}
    ~AnswerReader() {
        mQuit = true;
        mThread.join();
    }
    // Waits up to `timeout` for the end of file; true once it came.
    bool waitForEnd(std::chrono::milliseconds timeout) {
        hostsync::MutexLock lock(mLock);
        return mChanged.waitFor(mLock, timeout, [this]() REQUIRES(mLock) { return mEnded; });
    }
    // Only once waitForEnd() returned true.
    const std::string& text() const { return mText; }
    void quit() { mQuit = true; }

private:
    void run() {
        char buf[4096];
        while (!mQuit.load()) {
            pollfd p = {mFd, POLLIN, 0};
            if (poll(&p, 1, kPollMs) <= 0) continue;
            ssize_t n = read(mFd, buf, sizeof(buf));
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            mText.append(buf, static_cast<size_t>(n));
        }
        hostsync::MutexLock lock(mLock);
        mEnded = true;
        mChanged.notifyAll();
    }

    const int mFd;
    std::string mText;
    std::atomic<bool> mQuit{false};
    hostsync::Mutex mLock;
    hostsync::CondVar mChanged;
    bool mEnded GUARDED_BY(mLock) = false;
    std::thread mThread;
};

}  // namespace

bool callDebug(const ::android::sp<::android::hidl::base::V1_0::IBase>& target,
               const std::vector<std::string>& words, std::string* text, std::string* error,
               ::android::hardware::Status* status, const DebugCallLimits& limits) {
    text->clear();
    if (status != nullptr) *status = ::android::hardware::Status::ok();
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        *error = "cannot create a pipe for the service's answer";
        return false;
    }
    bool ok = false;
    {
        AnswerReader reader(ends[0]);
        native_handle_t* native = native_handle_create(1, 0);
        native->data[0] = ends[1];
        hidl_vec<hidl_string> args;
        args.resize(words.size());
        for (size_t i = 0; i < words.size(); ++i) args[i] = words[i];
        Return<void> ret = target->debug(hidl_handle(native), args);
        native_handle_delete(native);
        // From here on only the service's copies keep the pipe open.
        close(ends[1]);
        if (!ret.isOk()) {
            *error = "the service's debug call failed: " + ret.description();
            if (status != nullptr) *status = ret.getStatus();
            reader.quit();
        } else {
            const auto deadline = std::chrono::steady_clock::now() + limits.answerTimeout;
            while (!(ok = reader.waitForEnd(std::chrono::milliseconds(kPollMs))) &&
                   std::chrono::steady_clock::now() < deadline && !(limits.stopped && limits.stopped())) {
            }
            if (ok) {
                *text = reader.text();
            } else {
                *error = limits.stopped && limits.stopped() ? "interrupted while waiting for the service's answer"
                                                            : "the service's answer did not end within " +
                                                                      std::to_string(limits.answerTimeout.count() /
                                                                                     1000) +
                                                                      " s";
            }
        }
    }
    close(ends[0]);
    return ok;
}

}  // namespace clientkit
