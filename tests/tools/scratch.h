// A folder for one test, gone with it.
#ifndef ZELVANE_TESTS_TOOLS_SCRATCH_H
#define ZELVANE_TESTS_TOOLS_SCRATCH_H

#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>

class Scratch {
 public:
    Scratch() {
        std::string name = (std::filesystem::temp_directory_path() / "zvplay_test_XXXXXX").string();
        path_ = mkdtemp(name.data());
    }
    ~Scratch() { std::filesystem::remove_all(path_); }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;

    const std::string &Path() const { return path_; }
    std::string At(const std::string &name) const { return path_ + "/" + name; }

    /** @return the new file's path */
    std::string Write(const std::string &name, std::span<const uint8_t> data) const {
        std::ofstream(At(name), std::ios::binary).write(reinterpret_cast<const char *>(data.data()), data.size());
        return At(name);
    }

    std::string Text(const std::string &name) const {
        std::ifstream file(At(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

 private:
    std::string path_;
};

#endif
