// Runs a fuzz target on every file of a folder, so that seeds and inputs that once failed are
// ordinary tests.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 64;
    }
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        ++files;
    }
    std::printf("%d inputs replayed\n", files);
    return files > 0 ? 0 : 1;
}
