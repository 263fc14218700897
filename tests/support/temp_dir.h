// An empty directory that a test works in; it becomes the working directory and goes with the object.
#ifndef ZELVANE_TESTS_SUPPORT_TEMP_DIR_H
#define ZELVANE_TESTS_SUPPORT_TEMP_DIR_H

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class TempDir {
 public:
    TempDir() {
        std::string strName = (std::filesystem::temp_directory_path() / "zelvaneXXXXXX").string();
        m_stPath = mkdtemp(strName.data());
        std::filesystem::current_path(m_stPath);
    }
    ~TempDir() {
        std::filesystem::current_path(m_stBefore);
        std::filesystem::remove_all(m_stPath);
    }
    std::string At(const std::string &strName) const { return (m_stPath / strName).string(); }

 private:
    std::filesystem::path m_stBefore = std::filesystem::current_path();
    std::filesystem::path m_stPath;
};

inline std::string ReadText(const std::string &strPath) {
    std::ifstream stFile(strPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(stFile), std::istreambuf_iterator<char>()};
}

inline void WriteFile(const std::string &strPath, const std::string &strContent) {
    std::ofstream(strPath, std::ios::binary) << strContent;
}

#endif
