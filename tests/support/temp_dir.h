// Empty folders of tests, gone with their objects.
#ifndef ZELVANE_TESTS_SUPPORT_TEMP_DIR_H
#define ZELVANE_TESTS_SUPPORT_TEMP_DIR_H

#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>

inline std::string ReadText(const std::string &strPath) {
    std::ifstream stFile(strPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(stFile), std::istreambuf_iterator<char>()};
}

inline void WriteFile(const std::string &strPath, const std::string &strContent) {
    std::ofstream(strPath, std::ios::binary) << strContent;
}

class Scratch {
 public:
    Scratch() {
        std::string strName = (std::filesystem::temp_directory_path() / "zelvaneXXXXXX").string();
        m_strPath = mkdtemp(strName.data());
    }
    ~Scratch() { std::filesystem::remove_all(m_strPath); }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;

    const std::string &Path() const { return m_strPath; }
    std::string At(const std::string &strName) const { return m_strPath + "/" + strName; }
    /** @return the new file's path */
    std::string Write(const std::string &strName, std::span<const uint8_t> stData) const {
        WriteFile(At(strName), std::string(stData.begin(), stData.end()));
        return At(strName);
    }

 private:
    std::string m_strPath;
};

/** One that is the working directory meanwhile. */
class TempDir : public Scratch {
 public:
    TempDir() { std::filesystem::current_path(Path()); }
    ~TempDir() { std::filesystem::current_path(m_stBefore); }

 private:
    std::filesystem::path m_stBefore = std::filesystem::current_path();
};

#endif
