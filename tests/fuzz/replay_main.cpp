// Replays the inputs that are kept in folders, each once.
#include "fuzz/target.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <span>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    std::size_t replayed = 0;
    for (const std::string folder : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string input{std::istreambuf_iterator<char>(file), {}};
            // A copy without room behind it, so that a read beyond the end is seen.
            const std::vector<char> exact(input.begin(), input.end());
            fuzz_one({exact.data(), exact.size()});
            ++replayed;
        }
    }
    std::cout << replayed << " inputs replayed\n";
    return replayed > 0 ? 0 : 1;
}
