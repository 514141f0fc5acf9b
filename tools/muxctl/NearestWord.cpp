#include "tools/muxctl/NearestWord.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace Muxctl {
namespace {

// Of a word of this many characters one may be wrong.
constexpr std::size_t kCharactersPerMistake = 3;
// One letter begins too many words.
constexpr std::size_t kShortestBeginning = 2;

char LowerCase(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

bool IsSame(char first, char second) {
    return LowerCase(first) == LowerCase(second);
}

// The number of changes from one word to another, computed row by row: row i holds the distances of the first i
// characters of `word` to every beginning of `known`.
class WordDistance {
  public:
    WordDistance(std::string_view word, std::string_view known)
        : word_(word), known_(known), rowBefore_(known.size() + 1), row_(known.size() + 1), next_(known.size() + 1) {}

    std::size_t Count() {
        std::iota(row_.begin(), row_.end(), std::size_t{0});
        for (std::size_t index = 1; index <= word_.size(); ++index) {
            ComputeRow(index);
        }
        return row_.back();
    }

  private:
    void ComputeRow(std::size_t index) {
        next_[0] = index;
        for (std::size_t column = 1; column <= known_.size(); ++column) {
            const std::size_t replaced = row_[column - 1] + (IsSame(word_[index - 1], known_[column - 1]) ? 0 : 1);
            const std::size_t nearest = std::min({replaced, row_[column] + 1, next_[column - 1] + 1});
            next_[column] = IsSwapped(index, column) ? std::min(nearest, rowBefore_[column - 2] + 1) : nearest;
        }
        rowBefore_.swap(row_);
        row_.swap(next_);
    }

    // Whether the two characters before these positions are the same in reverse order.
    bool IsSwapped(std::size_t index, std::size_t column) const {
        return index > 1 && column > 1 && IsSame(word_[index - 1], known_[column - 2]) &&
               IsSame(word_[index - 2], known_[column - 1]);
    }

    std::string_view word_;
    std::string_view known_;
    std::vector<std::size_t> rowBefore_;
    std::vector<std::size_t> row_;
    std::vector<std::size_t> next_;
};

// How many changes a misspelling of `known` may have.
std::size_t AllowedDistance(std::string_view known) {
    return known.size() / kCharactersPerMistake;
}

// A word of megabytes is not compared.
bool IsLengthNear(std::string_view word, std::string_view known) {
    const auto [shorter, longer] = std::minmax({word.size(), known.size()});
    return longer - shorter <= AllowedDistance(known);
}

bool IsBeginning(std::string_view word, std::string_view known) {
    return word.size() >= kShortestBeginning && word.size() <= known.size() &&
           std::equal(word.begin(), word.end(), known.begin(), IsSame);
}

std::string_view NearestSpelling(std::string_view word, const std::vector<std::string_view>& known) {
    std::string_view nearest;
    std::size_t shortest = 0;
    for (const std::string_view candidate : known) {
        if (!IsLengthNear(word, candidate)) {
            continue;
        }
        const std::size_t distance = WordDistance(word, candidate).Count();
        if (distance <= AllowedDistance(candidate) && (nearest.empty() || distance < shortest)) {
            nearest = candidate;
            shortest = distance;
        }
    }
    return nearest;
}

}  // namespace

std::string_view NearestWord(std::string_view word, const std::vector<std::string_view>& known) {
    const std::string_view nearest = NearestSpelling(word, known);
    if (!nearest.empty()) {
        return nearest;
    }
    const auto begun = std::find_if(known.begin(), known.end(),
                                    [&](std::string_view candidate) { return IsBeginning(word, candidate); });
    return begun == known.end() ? std::string_view() : *begun;
}

}  // namespace Muxctl
