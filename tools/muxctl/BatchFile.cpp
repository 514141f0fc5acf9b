#include "tools/muxctl/BatchFile.h"

#include <algorithm>
#include <sstream>

#include "tools/muxctl/CommandLine.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

constexpr const char* kBlanks = " \t\r";

// Cuts a line into words.
class WordCutter {
  public:
    explicit WordCutter(const std::string& line) : line_(line) {}

    // Throws UsageError if a quote has no end.
    std::vector<std::string> Words() {
        std::vector<std::string> words;
        SkipBlanks();
        while (position_ < line_.size() && line_.at(position_) != '#') {
            words.push_back(Word());
            SkipBlanks();
        }
        return words;
    }

  private:
    void SkipBlanks() { position_ = std::min(line_.find_first_not_of(kBlanks, position_), line_.size()); }

    std::string Word() {
        std::string word;
        while (position_ < line_.size() && std::string(kBlanks).find(line_.at(position_)) == std::string::npos) {
            const char character = line_.at(position_++);
            word += character == '"' || character == '\'' ? Quoted(character) : std::string(1, character);
        }
        return word;
    }

    std::string Quoted(char quote) {
        const std::size_t end = line_.find(quote, position_);
        if (end == std::string::npos) {
            throw UsageError(std::string("the quote ") + quote + " has no end");
        }
        std::string text = line_.substr(position_, end - position_);
        position_ = end + 1;
        return text;
    }

    const std::string& line_;
    std::size_t position_ = 0;
};

}  // namespace

Batch ReadBatch(const std::string& file, const std::string& text, const Options& common) {
    Batch batch;
    std::istringstream lines(text);
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        const std::string place = file + ":" + std::to_string(++number);
        try {
            const std::vector<std::string> words = WordCutter(line).Words();
            for (RequestStep& step : words.empty() ? std::vector<RequestStep>() : ParseRequest(words, common)) {
                step.place = place;
                batch.steps.push_back(step);
            }
        } catch (const UsageError& error) {
            batch.faults.push_back(place + ": " + error.what());
        }
    }
    return batch;
}

}  // namespace Muxctl
