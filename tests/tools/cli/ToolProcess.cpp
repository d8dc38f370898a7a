#include "ToolProcess.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <sstream>

namespace clitest {

size_t ToolResult::count(const std::string& needle) const {
    std::istringstream lines(out);
    std::string line;
    size_t n = 0;
    while (std::getline(lines, line)) n += line.find(needle) != std::string::npos;
    return n;
}

ToolResult runTool(const std::vector<std::string>& args, const std::string& input) {
    return runProgram(RCSCONFIGCTL_PATH, args, input);
}

ToolResult runProgram(const std::string& binary, const std::vector<std::string>& args, const std::string& input) {
    BackgroundTool child(args, binary, true);
    child.write(input);
    return child.stop(0);
}

BackgroundTool::BackgroundTool(const std::vector<std::string>& args, const std::string& binary, bool interactive) {
    int in[2] = {-1, -1}, out[2], err[2];
    // Close-on-exec, so that later children do not keep these pipes open.
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) return;
    if (interactive && pipe2(in, O_CLOEXEC) != 0) return;
    mPid = fork();
    if (mPid == 0) {
        int input = interactive ? in[0] : open("/dev/null", O_RDONLY);
        dup2(input, STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        for (int fd : {out[0], out[1], err[0], err[1], input}) close(fd);
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>(binary.c_str()));
        for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(binary.c_str(), argv.data());
        _exit(127);
    }
    close(out[1]);
    close(err[1]);
    if (interactive) {
        close(in[0]);
        mIn = in[1];
    }
    mOut = out[0];
    mErr = err[0];
    mReader = std::thread([this] { readAll(); });
}

bool BackgroundTool::write(const std::string& text) {
    size_t done = 0;
    while (mIn >= 0 && done < text.size()) {
        ssize_t n = ::write(mIn, text.data() + done, text.size() - done);
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return mIn >= 0;
}

BackgroundTool::~BackgroundTool() {
    if (mPid > 0) ::kill(mPid, SIGKILL);
    if (mReader.joinable()) mReader.join();
    if (mPid > 0) waitpid(mPid, nullptr, 0);
    if (mIn >= 0) close(mIn);
}

void BackgroundTool::readAll() {
    // Drains both streams as the child writes, so a chatty child (a service
    // logging every request) never blocks on a full pipe.
    pollfd fds[2] = {{mOut, POLLIN, 0}, {mErr, POLLIN, 0}};
    int open = 2;
    while (open > 0) {
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0) continue;
            char buf[4096];
            ssize_t n = read(fds[i].fd, buf, sizeof(buf));
            hostsync::MutexLock lock(mLock);
            if (n > 0) {
                (i == 0 ? mResult.out : mResult.err).append(buf, static_cast<size_t>(n));
            } else {
                close(fds[i].fd);
                fds[i].fd = -1;
                --open;
            }
            mChanged.notifyAll();
        }
    }
    hostsync::MutexLock lock(mLock);
    mEnded = true;
    mChanged.notifyAll();
}

bool BackgroundTool::waitFor(const std::string& needle, int timeoutMs, size_t count, bool onStderr) {
    hostsync::MutexLock lock(mLock);
    const std::string& text = onStderr ? mResult.err : mResult.out;
    auto seen = [&] {
        size_t n = 0;
        for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) ++n;
        return n >= count;
    };
    mChanged.waitFor(mLock, std::chrono::milliseconds(timeoutMs), [&]() REQUIRES(mLock) { return seen() || mEnded; });
    return seen();
}

ToolResult BackgroundTool::sofar() const {
    hostsync::MutexLock lock(mLock);
    return mResult;
}

ToolResult BackgroundTool::stop(int signal) {
    if (mIn >= 0) close(mIn);
    mIn = -1;
    if (mPid > 0) ::kill(mPid, signal);
    if (mReader.joinable()) mReader.join();
    int status = 0;
    hostsync::MutexLock lock(mLock);
    pid_t waited = -1;
    while (mPid > 0 && (waited = waitpid(mPid, &status, 0)) < 0 && errno == EINTR) {
    }
    if (mPid > 0 && waited == mPid) {
        mResult.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    mPid = -1;
    return mResult;
}

std::string modemControl(const std::string& socket, const std::string& command) {
    return runProgram(MCX_MODEMD_PATH, {"--socket", socket, "--control", command}).out;
}

}  // namespace clitest
