// Runs a fuzz target over stored inputs where no fuzzer is built in: replay FOLDER...
//
// Ends with 0 when the target came through all of them, with 1 when a folder holds none.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/FuzzTarget.h"

namespace {

// How many inputs the folder holds.
int Replay(const std::filesystem::path& folder) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string input{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        std::cout << entry.path().filename().string() << '\n' << std::flush;
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
        ++count;
    }
    return count;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> folders(argv + 1, argv + argc);
    for (const std::string& folder : folders) {
        if (Replay(folder) == 0) {
            std::cerr << folder << " holds no input\n";
            return 1;
        }
    }
    return 0;
}
