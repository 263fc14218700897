// Runs a fuzz target over the files and folders given: how the corpus takes part in the normal tests.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize);

namespace {

unsigned long ReplayFile(const std::filesystem::path &oPath) {
    std::ifstream oFile(oPath, std::ios::binary);
    std::vector<char> oBytes((std::istreambuf_iterator<char>(oFile)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(oBytes.data()), oBytes.size());
    return 1;
}

unsigned long ReplayPath(const std::filesystem::path &oPath) {
    if (!std::filesystem::is_directory(oPath)) {
        return std::filesystem::exists(oPath) ? ReplayFile(oPath) : 0;
    }
    unsigned long ulCount = 0;
    for (const auto &oEntry : std::filesystem::recursive_directory_iterator(oPath)) {
        ulCount += oEntry.is_regular_file() ? ReplayFile(oEntry.path()) : 0;
    }
    return ulCount;
}

}  // namespace

int main(int argc, char **argv) {
    unsigned long ulCount = 0;
    for (int i = 1; i < argc; i++) {
        ulCount += ReplayPath(argv[i]);
    }
    std::printf("%lu inputs replayed\n", ulCount);
    return ulCount != 0 ? 0 : 1;
}
