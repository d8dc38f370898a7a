/*
 * PrivateLogFile: opens the file a process writes its log to when asked
 * (`--log FILE`). A log holds the configuration a user pushes and the
 * tokens the modem hands over, so the file is created readable by its owner
 * only, and a path that someone else could have prepared (a symbolic link,
 * a file of another user) is refused rather than written through. A device
 * such as /dev/null is taken as it is.
 */
#ifndef SERVICE_PRIVATE_LOG_FILE_H
#define SERVICE_PRIVATE_LOG_FILE_H

#include <cstdio>
#include <string>

namespace rcsservice {

// Opens `path` for appending (as `logcat -f` does), creating it with mode
// 0600 when missing. Null, with a one-line reason naming the path in
// *error, when it cannot be opened, is a symbolic link or is a file of
// another user. The caller closes the stream. Any thread.
FILE* openPrivateLogFile(const std::string& path, std::string* error);

}  // namespace rcsservice

#endif  // SERVICE_PRIVATE_LOG_FILE_H
