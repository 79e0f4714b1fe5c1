// Replays files (or every file of a folder) through a fuzz target, for builds without libFuzzer.
#include "fuzz/fuzz_target.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

int RunFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return 1;
    }
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    int failures = 0;
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        std::filesystem::path p(argv[i]);
        if (std::filesystem::is_directory(p)) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(p)) {
                if (entry.is_regular_file()) {
                    failures += RunFile(entry.path());
                    ++count;
                }
            }
        } else {
            failures += RunFile(p);
            ++count;
        }
    }
    std::printf("replayed %d inputs\n", count);
    return failures == 0 && count > 0 ? 0 : 1;
}
