// Runs a fuzz target once over each file of the folders named.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/input_file.h"

int main(int count, char **words) {
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < count; ++i)
        for (const auto &entry : std::filesystem::directory_iterator(words[i]))
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const std::filesystem::path &file : files) {
        (void)std::fprintf(stderr, "%s\n", file.c_str());  // says which one a crash is from
        std::ifstream stream(file, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
        (void)LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    }
    return files.empty() ? 1 : 0;
}
