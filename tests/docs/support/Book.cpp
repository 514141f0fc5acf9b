#include "tests/docs/support/Book.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "tests/docs/support/DocumentFile.h"

namespace Documents {
namespace {

constexpr const char* kFence = "```";

// A block within a list is indented.
std::size_t IndentOf(const std::string& line) {
    return std::min(line.find_first_not_of(' '), line.size());
}

bool IsFence(const std::string& line) {
    return line.compare(IndentOf(line), std::string(kFence).size(), kFence) == 0;
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

Example BlockWithMark(const std::string& fence) {
    std::istringstream words(fence.substr(IndentOf(fence) + std::string(kFence).size()));
    Example block;
    words >> block.language >> block.kind >> block.name;
    return block;
}

std::string Trimmed(const std::string& cell) {
    constexpr const char* kFrame = " `";
    const std::size_t first = cell.find_first_not_of(kFrame);
    return first == std::string::npos ? "" : cell.substr(first, cell.find_last_not_of(kFrame) - first + 1);
}

std::vector<std::string> CellsOf(const std::string& line) {
    std::istringstream stream(line.substr(1));
    std::vector<std::string> cells;
    for (std::string cell; std::getline(stream, cell, '|');) {
        cells.push_back(Trimmed(cell));
    }
    return cells;
}

bool IsRow(const std::string& line) {
    return line.rfind('|', 0) == 0;
}

}  // namespace

Book::Book(const std::string& file) : lines_(LinesOf(ReadDocument(file))) {
    ReadBlocks();
}

void Book::ReadBlocks() {
    for (auto line = lines_.begin(); line != lines_.end(); ++line) {
        if (!IsFence(*line)) {
            continue;
        }
        Example block = BlockWithMark(*line);
        const std::size_t indent = IndentOf(*line);
        for (++line; line != lines_.end() && !IsFence(*line); ++line) {
            block.text += (block.text.empty() ? "" : "\n") + line->substr(std::min(indent, line->size()));
        }
        if (line == lines_.end()) {
            throw std::runtime_error("a block is not closed: " + block.text);
        }
        Add(block);
    }
}

void Book::Add(const Example& block) {
    if (!block.kind.empty() && Find(block.kind, block.name) != nullptr) {
        throw std::runtime_error("there are two examples " + block.kind + " " + block.name);
    }
    blocks_.push_back(block);
}

std::vector<Example> Book::OfKind(const std::string& kind) const {
    std::vector<Example> examples;
    std::copy_if(blocks_.begin(), blocks_.end(), std::back_inserter(examples),
                 [&](const Example& block) { return block.kind == kind; });
    return examples;
}

const Example* Book::Find(const std::string& kind, const std::string& name) const {
    const auto found = std::find_if(blocks_.begin(), blocks_.end(),
                                    [&](const Example& block) { return block.kind == kind && block.name == name; });
    return found == blocks_.end() ? nullptr : &*found;
}

std::vector<std::vector<std::string>> Book::Table(const std::string& name) const {
    constexpr std::ptrdiff_t kHeadLines = 2;
    std::vector<std::vector<std::string>> rows;
    const auto mark = std::find(lines_.begin(), lines_.end(), "<!-- table " + name + " -->");
    const auto first = std::find_if(mark, lines_.end(), IsRow);
    const auto end = std::find_if_not(first, lines_.end(), IsRow);
    if (end - first > kHeadLines) {
        std::transform(first + kHeadLines, end, std::back_inserter(rows), CellsOf);
    }
    return rows;
}

}  // namespace Documents
