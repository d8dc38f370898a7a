#include "service/PrivateFile.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace rcsservice {

namespace {

FILE* refuse(int fd, const std::string& reason, std::string* error) {
    *error = reason;
    if (fd >= 0) close(fd);
    return nullptr;
}

}  // namespace

FILE* openPrivateFile(const std::string& path, PrivateFileStart start, std::string* error) {
    const std::string quoted = "'" + path + "'";
    // O_NOFOLLOW: a symbolic link as the last component fails with ELOOP
    // instead of sending the text wherever it points. O_NONBLOCK: a fifo put
    // in the file's place fails instead of blocking until someone reads it.
    // Not truncated yet: a file that turns out to be someone else's is left
    // as it was.
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0600);
    if (fd < 0) {
        return refuse(-1, errno == ELOOP ? quoted + " is a symbolic link; not following it" : quoted + ": " + strerror(errno),
                      error);
    }
    struct stat st;
    if (fstat(fd, &st) != 0) return refuse(fd, quoted + ": " + strerror(errno), error);
    // A device (/dev/null, a terminal) is written as it is.
    if (S_ISREG(st.st_mode)) {
        if (st.st_uid != geteuid()) {
            return refuse(fd, quoted + " belongs to user id " + std::to_string(st.st_uid) + "; not writing into it",
                          error);
        }
        if (fchmod(fd, 0600) != 0) return refuse(fd, quoted + ": " + strerror(errno), error);
        if (start == PrivateFileStart::kEmpty && ftruncate(fd, 0) != 0) {
            return refuse(fd, quoted + ": " + strerror(errno), error);
        }
    }
    // Blocking again from here on, as a log's writes expect.
    const int flags = start == PrivateFileStart::kAppend ? O_APPEND : 0;
    if (fcntl(fd, F_SETFL, flags) != 0) return refuse(fd, quoted + ": " + strerror(errno), error);
    FILE* file = fdopen(fd, start == PrivateFileStart::kAppend ? "a" : "w");
    if (file == nullptr) return refuse(fd, quoted + ": " + strerror(errno), error);
    return file;
}

}  // namespace rcsservice
