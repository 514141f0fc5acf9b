// The words of a command line. Input: the words behind the program's name, each ended by a NUL.

#include "mux/CommandLine.h"

#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/FuzzTarget.h"

namespace {

std::vector<std::string> SplitWords(const std::string& text) {
    std::vector<std::string> words = {"mux"};
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\0', begin), text.size());
        words.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return words;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::string> words = SplitWords(std::string(data, data + size));
    std::vector<const char*> pointers;
    pointers.reserve(words.size() + 1);
    for (const std::string& word : words) {
        pointers.push_back(word.c_str());
    }
    pointers.push_back(nullptr);

    const Mux::CommandLine options = Mux::ParseCommandLine(static_cast<int>(words.size()), pointers.data());
    FUZZ_CHECK(options.severity >= plog::none && options.severity <= plog::verbose);
    FUZZ_CHECK(options.action >= Mux::CommandLineAction::kShowUsage && options.action <= Mux::CommandLineAction::kRun);
    return 0;
}
