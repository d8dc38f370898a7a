#include "ToolProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
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
    int in[2], out[2], err[2];
    if (pipe(in) != 0 || pipe(out) != 0 || pipe(err) != 0) return {};
    pid_t pid = fork();
    if (pid == 0) {
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) close(fd);
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>("rcsconfigctl"));
        for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(RCSCONFIGCTL_PATH, argv.data());
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    close(err[1]);
    // The input is small; write it all and close so the child sees the end.
    size_t written = 0;
    while (written < input.size()) {
        ssize_t n = write(in[1], input.data() + written, input.size() - written);
        if (n <= 0) break;
        written += static_cast<size_t>(n);
    }
    close(in[1]);
    ToolResult result;
    pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
    std::string* sinks[2] = {&result.out, &result.err};
    int open = 2;
    while (open > 0) {
        if (poll(fds, 2, -1) < 0) break;
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0) continue;
            char buf[4096];
            ssize_t n = read(fds[i].fd, buf, sizeof(buf));
            if (n > 0) {
                sinks[i]->append(buf, static_cast<size_t>(n));
            } else {
                close(fds[i].fd);
                fds[i].fd = -1;
                --open;
            }
        }
    }
    int status = 0;
    waitpid(pid, &status, 0);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

BackgroundTool::BackgroundTool(const std::vector<std::string>& args) {
    int out[2], err[2];
    if (pipe(out) != 0 || pipe(err) != 0) return;
    mPid = fork();
    if (mPid == 0) {
        int devnull = open("/dev/null", O_RDONLY);
        dup2(devnull, STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        for (int fd : {out[0], out[1], err[0], err[1], devnull}) close(fd);
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>("rcsconfigctl"));
        for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(RCSCONFIGCTL_PATH, argv.data());
        _exit(127);
    }
    close(out[1]);
    close(err[1]);
    mOut = out[0];
    mErr = err[0];
}

BackgroundTool::~BackgroundTool() {
    if (mPid > 0) {
        ::kill(mPid, SIGKILL);
        waitpid(mPid, nullptr, 0);
    }
    if (mOut >= 0) close(mOut);
    if (mErr >= 0) close(mErr);
}

void BackgroundTool::readSome(int timeoutMs) {
    pollfd fds[2] = {{mOut, POLLIN, 0}, {mErr, POLLIN, 0}};
    if (poll(fds, 2, timeoutMs) <= 0) return;
    std::string* sinks[2] = {&mResult.out, &mResult.err};
    int* owners[2] = {&mOut, &mErr};
    for (int i = 0; i < 2; ++i) {
        if (fds[i].fd < 0 || fds[i].revents == 0) continue;
        char buf[4096];
        ssize_t n = read(fds[i].fd, buf, sizeof(buf));
        if (n > 0) {
            sinks[i]->append(buf, static_cast<size_t>(n));
        } else {
            close(*owners[i]);
            *owners[i] = -1;
        }
    }
}

bool BackgroundTool::waitForOutput(const std::string& needle, int timeoutMs) {
    // Each poll waits for output, so the loop sleeps until the child writes.
    for (int waited = 0; waited < timeoutMs && (mOut >= 0 || mErr >= 0); waited += 100) {
        if (mResult.out.find(needle) != std::string::npos) return true;
        readSome(100);
    }
    return mResult.out.find(needle) != std::string::npos;
}

ToolResult BackgroundTool::stop(int signal) {
    if (mPid > 0) ::kill(mPid, signal);
    while (mOut >= 0 || mErr >= 0) readSome(-1);
    int status = 0;
    if (mPid > 0 && waitpid(mPid, &status, 0) == mPid) {
        mResult.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    mPid = -1;
    return mResult;
}

TempDir::TempDir() {
    char dir[] = "/tmp/rcsconfigctl_test_XXXXXX";
    if (mkdtemp(dir) != nullptr) mPath = dir;
}

TempDir::~TempDir() {
    if (!mPath.empty()) {
        int rc = std::system(("rm -rf '" + mPath + "'").c_str());
        (void)rc;
    }
}

std::string TempDir::write(const std::string& name, const std::string& bytes) const {
    std::string path = mPath + "/" + name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

}  // namespace clitest
