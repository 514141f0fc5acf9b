#pragma once

#include <string>
#include <vector>

namespace Documents {

// A worked example: a fenced block of a book with its mark, "```json request open".
struct Example {
    std::string language;  // "json"
    std::string kind;      // "request"; empty for a block without a mark, which is no example
    std::string name;      // "open": what belongs together has one name
    std::string text;      // without the line end of the last line
};

// A protocol book of docs/, cut into what a test can check.
class Book {
  public:
    // Reads docs/FILE. Throws std::runtime_error when it cannot be read, a block is not closed, or two examples have
    // the same kind and name.
    explicit Book(const std::string& file);

    // All fenced blocks, in their order.
    const std::vector<Example>& Blocks() const { return blocks_; }

    // The examples of a kind, in their order.
    std::vector<Example> OfKind(const std::string& kind) const;

    // Null when there is none.
    const Example* Find(const std::string& kind, const std::string& name) const;

    // The cells of the table behind the line "<!-- table NAME -->", without its two head lines; blanks around a cell
    // and `code` marks are taken off. Empty when there is no such table.
    std::vector<std::vector<std::string>> Table(const std::string& name) const;

  private:
    void ReadBlocks();
    void Add(const Example& block);

    std::vector<std::string> lines_;
    std::vector<Example> blocks_;
};

}  // namespace Documents
