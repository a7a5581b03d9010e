#pragma once

#include <boost/filesystem.hpp>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

/// A folder of its own for a test, gone with all it holds when the test ends.
class ScopedFolder {
  public:
    ScopedFolder() {
        if (mkdtemp(mPath.data()) == nullptr) {
            throw std::runtime_error("cannot make " + mPath);
        }
    }
    ~ScopedFolder() {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(mPath, ignored);
    }
    ScopedFolder(const ScopedFolder&) = delete;
    ScopedFolder& operator=(const ScopedFolder&) = delete;

    const std::string& Path() const { return mPath; }
    std::string operator/(const std::string& name) const { return mPath + "/" + name; }

  private:
    std::string mPath = (boost::filesystem::temp_directory_path() / "brindlet-XXXXXX").string();
};

inline std::string ContentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}
