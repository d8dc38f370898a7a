#include "service/PrivateFile.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace rcsservice {

FILE* openPrivateFile(const std::string& path, std::string* error) {
    // Not truncated yet: a file that turns out to be someone else's is left
    // as it was.
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        *error = errno == ELOOP ? "'" + path + "' is a symbolic link; not following it"
                                : "'" + path + "': " + strerror(errno);
        return nullptr;
    }
    struct stat st;
    if (fstat(fd, &st) != 0) {
        *error = "'" + path + "': " + strerror(errno);
        close(fd);
        return nullptr;
    }
    // A device (/dev/null, a terminal) is written as it is.
    if (S_ISREG(st.st_mode)) {
        if (st.st_uid != geteuid()) {
            *error = "'" + path + "' belongs to user id " + std::to_string(st.st_uid) + "; not writing into it";
            close(fd);
            return nullptr;
        }
        if (fchmod(fd, 0600) != 0 || ftruncate(fd, 0) != 0) {
            *error = "'" + path + "': " + strerror(errno);
            close(fd);
            return nullptr;
        }
    }
    FILE* file = fdopen(fd, "w");
    if (file == nullptr) {
        *error = "'" + path + "': " + strerror(errno);
        close(fd);
    }
    return file;
}

}  // namespace rcsservice
