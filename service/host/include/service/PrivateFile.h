/*
 * openPrivateFile: how the workstation's programs open a file a user names
 * for them to write (a log holds settings values in clear). The file is
 * private to the user (mode 0600, also when it existed with a wider mode),
 * and a symbolic link at that path is refused rather than followed: in a
 * shared folder such as /tmp another user could have planted it to point at
 * a file of ours, or to read what we write.
 */
#ifndef SERVICE_PRIVATE_FILE_H
#define SERVICE_PRIVATE_FILE_H

#include <cstdio>
#include <string>

namespace rcsservice {

// Opens `path` for writing from its start, created with mode 0600 when
// missing. Null with a one-line reason in *error when it is a symbolic link
// or cannot be opened. Any thread.
FILE* openPrivateFile(const std::string& path, std::string* error);

}  // namespace rcsservice

#endif  // SERVICE_PRIVATE_FILE_H
