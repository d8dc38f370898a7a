#include "DebuggableImsFactory.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <android/log.h>
#include <cutils/native_handle.h>

using android::hardware::hidl_handle;
using android::hardware::hidl_string;
using android::hardware::hidl_vec;

namespace rcsservice {

namespace {

// Writes the whole of `data` to `fd`, which is non-blocking; false with
// errno set on an error or when the reader takes nothing for the stall time.
bool writeAllNonBlocking(int fd, const char* data, size_t size) {
    size_t done = 0;
    while (done < size) {
        ssize_t n = write(fd, data + done, size - done);
        if (n > 0) {
            done += static_cast<size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno != EAGAIN) return false;
        pollfd writable = {fd, POLLOUT, 0};
        int ready;
        while ((ready = poll(&writable, 1, kDebugWriteStallMs)) < 0 && errno == EINTR) {
        }
        if (ready == 0) errno = ETIMEDOUT;
        if (ready <= 0) return false;
    }
    return true;
}

}  // namespace

// The descriptor comes from whoever called debug(): `lshal debug` hands a
// pipe, and its user may interrupt it or stop it with the reading end still
// open. Neither may cost more than this dump.
//
// A write into a pipe whose reading end is closed raises SIGPIPE, whose
// default action ends the process. The factory does not own the process's
// signal dispositions (the process that hosts it may rely on them), so
// SIGPIPE is blocked on this thread for the writes, and a SIGPIPE they raised
// is taken off the thread before its mask is restored: the write fails with
// EPIPE and nothing else sees the signal. A reader that stops reading would
// block a plain write for ever, holding the thread that serves every
// client's calls; the writes are non-blocking and give up after a stall.
bool writeDebugText(int fd, const std::string& text) {
    sigset_t pipeOnly, previous, pending;
    sigemptyset(&pipeOnly);
    sigaddset(&pipeOnly, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeOnly, &previous);
    // A SIGPIPE that was already waiting was not raised here: left alone.
    sigemptyset(&pending);
    sigpending(&pending);
    const bool alreadyPending = sigismember(&pending, SIGPIPE) == 1;

    // The flags belong to the open file the caller shares with us; they are
    // put back once the text is written.
    const int flags = fcntl(fd, F_GETFL);
    const bool madeNonBlocking = flags >= 0 && (flags & O_NONBLOCK) == 0 &&
                                 fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0;
    const bool ok = writeAllNonBlocking(fd, text.data(), text.size());
    const int writeErrno = errno;
    if (madeNonBlocking) fcntl(fd, F_SETFL, flags);

    if (!ok && writeErrno == EPIPE && !alreadyPending) {
        const struct timespec now = {0, 0};
        while (sigtimedwait(&pipeOnly, nullptr, &now) < 0 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    errno = writeErrno;
    return ok;
}

bool writeDebugDump(const hidl_handle& handle, const hidl_vec<hidl_string>& options,
                    const DumpFunction& dump, const DeferFunction& defer) {
    const native_handle_t* native = handle.getNativeHandle();
    if (native == nullptr || native->numFds < 1 || native->data[0] < 0) {
        __android_log_print(ANDROID_LOG_ERROR, nullptr, "ImsFactory debug: no file descriptor to write to");
        return false;
    }
    std::vector<std::string> args;
    for (const auto& option : options) args.emplace_back(option.c_str(), option.size());
    if (defer && defer(args, native->data[0])) return true;
    const std::string text = dump ? dump(args) : std::string("no state available\n");
    if (!writeDebugText(native->data[0], text)) {
        __android_log_print(ANDROID_LOG_ERROR, nullptr, "ImsFactory debug: write failed: %s",
                            strerror(errno));
        return false;
    }
    return true;
}

}  // namespace rcsservice
