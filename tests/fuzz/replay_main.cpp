// Runs a fuzz target over files and folders of inputs, for compilers that have no fuzzer: replay PATH...
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_daemon.h"

int main(int count, char **arguments)
{
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < count; i++) {
        if (std::filesystem::is_directory(arguments[i])) {
            for (const auto &entry : std::filesystem::directory_iterator(arguments[i]))
                inputs.push_back(entry.path());
        } else {
            inputs.emplace_back(arguments[i]);
        }
    }
    std::sort(inputs.begin(), inputs.end());
    for (const auto &path : inputs) {
        std::ifstream file(path, std::ios::binary);
        const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        printf("%s\n", path.c_str());
        fflush(stdout);
        const std::vector<uint8_t> bytes(text.begin(), text.end());
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    printf("%zu inputs ran.\n", inputs.size());
    return inputs.empty() ? 1 : 0;
}
