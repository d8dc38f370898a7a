/*
 * A scratch folder for the client's tests, removed with the object, and
 * the files in it.
 */
#ifndef TESTS_TOOLS_TEMP_DIR_H
#define TESTS_TOOLS_TEMP_DIR_H

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace tooltest {

class TempDir {
public:
    TempDir() {
        char dir[] = "/tmp/rcsconfigctl_test_XXXXXX";
        if (mkdtemp(dir) != nullptr) mPath = dir;
    }
    ~TempDir() {
        if (!mPath.empty()) (void)!std::system(("rm -rf '" + mPath + "'").c_str());
    }
    const std::string& path() const { return mPath; }
    // Writes `bytes` into a file of this folder and returns its path.
    std::string write(const std::string& name, const std::string& bytes) const {
        std::string path = mPath + "/" + name;
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

private:
    std::string mPath;
};

// What the file at `path` holds, "" when it cannot be read.
inline std::string contentOf(const std::string& path) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

}  // namespace tooltest

#endif  // TESTS_TOOLS_TEMP_DIR_H
