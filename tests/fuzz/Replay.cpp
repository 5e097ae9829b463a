// Runs a harness on inputs that are kept: every file given, and every file in every folder given.
#include "tests/fuzz/Fuzzing.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    std::vector<std::filesystem::path> files;
    for (int index = 1; index < argc; ++index) {
        const std::filesystem::path path = std::filesystem::absolute(argv[index]);
        if (!std::filesystem::is_directory(path)) {
            files.push_back(path);
            continue;
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
            if (entry.is_regular_file()) {
                files.push_back(entry.path());
            }
        }
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
        std::printf("%s\n", file.filename().string().c_str());
        std::fflush(stdout); // the last line shows which input it was
        std::ifstream stream(file, std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        if (!stream) {
            std::printf("cannot be read\n");
            return 1;
        }
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    }
    if (files.empty()) {
        std::printf("no inputs\n");
        return 1;
    }
    return 0;
}
