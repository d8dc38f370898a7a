/*
 * openPrivateFile: how the workstation's programs open a file a user names
 * for them to write, such as a log (`--log FILE`). A log holds the
 * configuration a user pushes, settings values and the tokens the modem hands
 * over, so the file is private to its owner (mode 0600, also when it existed
 * with a wider mode), and a path someone else could have prepared in a shared
 * folder such as /tmp (a symbolic link, a file of another user) is refused
 * rather than written through. A device such as /dev/null is taken as it is.
 */
#ifndef SERVICE_PRIVATE_FILE_H
#define SERVICE_PRIVATE_FILE_H

#include <cstdio>
#include <string>

namespace rcsservice {

enum class PrivateFileStart {
    kEmpty,   // written from its start, as a tool's one-run log is
    kAppend,  // appended to, as `logcat -f` does with a long-running log
};

// Opens `path` for writing, created with mode 0600 when missing. Null, with
// a one-line reason naming the path in *error, when it cannot be opened, is a
// symbolic link or is a file of another user. The caller closes the stream.
// Any thread.
FILE* openPrivateFile(const std::string& path, PrivateFileStart start, std::string* error);

}  // namespace rcsservice

#endif  // SERVICE_PRIVATE_FILE_H
