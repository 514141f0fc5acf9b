#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Simulator {

enum class Key {
    kCharacter,
    kEnter,
    kBackspace,
    kDelete,
    kLeft,
    kRight,
    kHome,
    kEnd,
    kUp,
    kDown,
    kPageUp,
    kPageDown,
    kClearLine,
    kRedraw,
    kOther,
};

struct KeyPress {
    Key key = Key::kOther;
    // Of kCharacter: printable ASCII, which is all that commands are made of.
    char character = '\0';
};

// The line that a person types, with those typed before.
//
// Not thread-safe.
class LineEditor {
  public:
    // Gives the line when it is finished, empty or not. Keys that have nothing to do with the line change nothing.
    std::optional<std::string> Take(const KeyPress& press);

    const std::string& Text() const { return text_; }
    // Where the next character goes, as an offset.
    std::size_t Cursor() const { return cursor_; }

  private:
    struct EditingKey;
    static const std::array<EditingKey, 9> kEditingKeys;

    std::string Finish();
    void Insert(char character);
    void EraseBefore();
    void EraseAt();
    void MoveLeft();
    void MoveRight();
    void MoveToStart() { cursor_ = 0; }
    void MoveToEnd() { cursor_ = text_.size(); }
    void RecallEarlier();
    void RecallLater();
    void Clear() { Recall(history_.size()); }
    void Recall(std::size_t index);

    std::string text_;
    std::size_t cursor_ = 0;
    std::vector<std::string> history_;
    // Which line of the history is shown; its size for none.
    std::size_t recalled_ = 0;
};

}  // namespace Simulator
