#include "tools/muxctl/InputFile.h"

#include <fstream>
#include <iostream>
#include <iterator>

namespace Muxctl {
namespace {

std::optional<std::string> ReadAll(std::istream& stream) {
    std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    return stream.bad() ? std::nullopt : std::make_optional(std::move(text));
}

}  // namespace

std::optional<std::string> ReadInputFile(const std::string& path) {
    if (path == "-") {
        return ReadAll(std::cin);
    }
    std::ifstream file(path, std::ios::binary);
    // A folder can be opened but not read.
    return file && file.peek() != std::ifstream::traits_type::eof() ? ReadAll(file)
           : file.is_open() && !file.bad()                          ? std::make_optional(std::string())
                                                                    : std::nullopt;
}

}  // namespace Muxctl
