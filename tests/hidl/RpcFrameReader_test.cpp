// How the byte stream of a connection is cut into frames: several frames in
// one read, a frame in pieces, a payload larger than the reader's buffer, and
// descriptors that must travel with the frame that names them.
#include "RpcFrameReader.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace d = ::android::hardware::details;
using Result = d::RpcFrameReader::Result;

namespace {

std::vector<uint8_t> frame(uint32_t txId, size_t length, uint32_t fdCount = 0) {
    d::FrameHeader h;
    h.kind = static_cast<uint16_t>(d::FrameKind::kReply);
    h.length = static_cast<uint32_t>(length);
    h.txId = txId;
    h.fdCount = fdCount;
    std::vector<uint8_t> bytes(sizeof(h) + length);
    memcpy(bytes.data(), &h, sizeof(h));
    for (size_t i = 0; i < length; ++i) bytes[sizeof(h) + i] = static_cast<uint8_t>(i * 7 + txId);
    return bytes;
}

// Sends `bytes` with `fds` riding on the first byte.
void sendWithFds(int socket, const std::vector<uint8_t>& bytes, const std::vector<int>& fds) {
    iovec iov{const_cast<uint8_t*>(bytes.data()), bytes.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int) * 4)];
    msghdr msg{};
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    if (!fds.empty()) {
        msg.msg_control = control;
        msg.msg_controllen = CMSG_SPACE(sizeof(int) * fds.size());
        cmsghdr* c = CMSG_FIRSTHDR(&msg);
        c->cmsg_level = SOL_SOCKET;
        c->cmsg_type = SCM_RIGHTS;
        c->cmsg_len = CMSG_LEN(sizeof(int) * fds.size());
        memcpy(CMSG_DATA(c), fds.data(), sizeof(int) * fds.size());
    }
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()), sendmsg(socket, &msg, 0));
}

class RpcFrameReaderTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, mPair)); }
    void TearDown() override {
        for (int fd : mPair) if (fd >= 0) close(fd);
    }
    Result next(d::RpcFrame* f, bool wait = true) { return mReader.next(mPair[0], wait, f, &mError); }

    int mPair[2] = {-1, -1};
    d::RpcFrameReader mReader;
    std::string mError;
};

}  // namespace

TEST_F(RpcFrameReaderTest, FramesInOneWriteOrInPieces_ComeOutWholeAndInOrder) {
    d::RpcFrame none;
    EXPECT_EQ(Result::kNothing, next(&none, false));

    const std::vector<uint8_t> small = frame(1, 5);
    std::vector<uint8_t> both = small;
    std::vector<uint8_t> second = frame(2, 40000);  // over the reader's buffer
    both.insert(both.end(), second.begin(), second.begin() + 100);
    ASSERT_EQ(static_cast<ssize_t>(both.size()), write(mPair[1], both.data(), both.size()));
    d::RpcFrame first;
    ASSERT_EQ(Result::kFrame, next(&first, false)) << mError;
    EXPECT_EQ(1u, first.header.txId);
    EXPECT_EQ(std::vector<uint8_t>(small.begin() + 32, small.end()), first.payload);
    EXPECT_TRUE(mReader.hasBuffered());

    ASSERT_EQ(static_cast<ssize_t>(second.size() - 100), write(mPair[1], second.data() + 100, second.size() - 100));
    d::RpcFrame large;
    ASSERT_EQ(Result::kFrame, next(&large)) << mError;
    EXPECT_EQ(std::vector<uint8_t>(second.begin() + 32, second.end()), large.payload);
    EXPECT_FALSE(mReader.hasBuffered());

    close(mPair[1]);
    mPair[1] = -1;
    EXPECT_EQ(Result::kClosed, next(&none));
}

TEST_F(RpcFrameReaderTest, Descriptors_GoToTheFrameThatNamesThem) {
    int pipeFds[2];
    ASSERT_EQ(0, pipe(pipeFds));
    std::vector<uint8_t> plain = frame(1, 3);
    ASSERT_EQ(static_cast<ssize_t>(plain.size()), write(mPair[1], plain.data(), plain.size()));
    sendWithFds(mPair[1], frame(2, 3, 1), {pipeFds[0]});
    close(pipeFds[0]);

    d::RpcFrame a;
    d::RpcFrame b;
    ASSERT_EQ(Result::kFrame, next(&a)) << mError;
    ASSERT_EQ(Result::kFrame, next(&b)) << mError;
    EXPECT_TRUE(a.fds.empty());
    ASSERT_EQ(1u, b.fds.size());
    // The received descriptor is the pipe's read end.
    ASSERT_EQ(1, write(pipeFds[1], "x", 1));
    char c = 0;
    EXPECT_EQ(1, read(b.fds[0], &c, 1));
    close(pipeFds[1]);
}

TEST_F(RpcFrameReaderTest, BrokenStreams_AreErrorsNotFrames) {
    int extra = open("/dev/null", O_RDONLY | O_CLOEXEC);
    std::vector<uint8_t> cut = frame(1, 30);
    cut.pop_back();
    const struct {
        const char* what;
        std::vector<uint8_t> bytes;
        std::vector<int> fds;
    } cases[] = {
            {"descriptors no frame names", frame(1, 3), {extra}},
            {"a frame naming descriptors that never came", frame(1, 3, 2), {}},
            {"a frame cut short", cut, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        int pair[2];
        ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair));
        sendWithFds(pair[1], c.bytes, c.fds);
        close(pair[1]);
        d::RpcFrameReader reader;
        d::RpcFrame f;
        std::string error;
        EXPECT_EQ(Result::kError, reader.next(pair[0], true, &f, &error));
        EXPECT_FALSE(error.empty());
        close(pair[0]);
    }
    close(extra);
}
