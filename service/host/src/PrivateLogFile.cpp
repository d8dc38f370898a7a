#include "service/PrivateLogFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace rcsservice {

FILE* openPrivateLogFile(const std::string& path, std::string* error) {
    // O_NOFOLLOW: a symbolic link as the last component fails with ELOOP
    // instead of sending the log wherever it points. O_NONBLOCK: a pipe put
    // in the file's place fails instead of blocking until someone reads it.
    const int fd = ::open(path.c_str(),
                          O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY,
                          S_IRUSR | S_IWUSR);
    if (fd < 0) {
        const int err = errno;
        *error = "cannot write log file '" + path + "': " +
                 (err == ELOOP ? std::string("it is a symbolic link") : std::strerror(err));
        return nullptr;
    }
    struct stat st;
    const char* refused = nullptr;
    if (::fstat(fd, &st) != 0) {
        refused = std::strerror(errno);
    } else if (S_ISREG(st.st_mode) && st.st_uid != ::geteuid()) {
        // Prepared by someone who could read what is written to it.
        refused = "the file belongs to another user";
    } else if (::fcntl(fd, F_SETFL, O_APPEND) != 0) {
        refused = std::strerror(errno);
    }
    FILE* file = refused == nullptr ? ::fdopen(fd, "a") : nullptr;
    if (file == nullptr) {
        *error = "cannot write log file '" + path + "': " + (refused != nullptr ? refused : std::strerror(errno));
        ::close(fd);
    }
    return file;
}

}  // namespace rcsservice
