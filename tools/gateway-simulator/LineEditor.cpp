#include "tools/gateway-simulator/LineEditor.h"

#include <algorithm>
#include <utility>

namespace Simulator {

struct LineEditor::EditingKey {
    Key key;
    void (LineEditor::*edit)();
};

const std::array<LineEditor::EditingKey, 9> LineEditor::kEditingKeys = {{
    {Key::kBackspace, &LineEditor::EraseBefore},
    {Key::kDelete, &LineEditor::EraseAt},
    {Key::kLeft, &LineEditor::MoveLeft},
    {Key::kRight, &LineEditor::MoveRight},
    {Key::kHome, &LineEditor::MoveToStart},
    {Key::kEnd, &LineEditor::MoveToEnd},
    {Key::kUp, &LineEditor::RecallEarlier},
    {Key::kDown, &LineEditor::RecallLater},
    {Key::kClearLine, &LineEditor::Clear},
}};

std::optional<std::string> LineEditor::Take(const KeyPress& press) {
    if (press.key == Key::kEnter) {
        return Finish();
    }
    if (press.key == Key::kCharacter) {
        Insert(press.character);
    }
    for (const EditingKey& editing : kEditingKeys) {
        if (editing.key == press.key) {
            (this->*editing.edit)();
        }
    }
    return std::nullopt;
}

std::string LineEditor::Finish() {
    const bool isNew = history_.empty() || history_.back() != text_;
    if (isNew && !text_.empty()) {
        history_.push_back(text_);
    }
    recalled_ = history_.size();
    cursor_ = 0;
    return std::exchange(text_, {});
}

void LineEditor::Insert(char character) {
    text_.insert(cursor_, 1, character);
    ++cursor_;
}

void LineEditor::EraseBefore() {
    if (cursor_ > 0) {
        MoveLeft();
        EraseAt();
    }
}

void LineEditor::EraseAt() {
    if (cursor_ < text_.size()) {
        text_.erase(cursor_, 1);
    }
}

void LineEditor::MoveLeft() {
    cursor_ -= std::min<std::size_t>(cursor_, 1);
}

void LineEditor::MoveRight() {
    cursor_ = std::min(cursor_ + 1, text_.size());
}

void LineEditor::RecallEarlier() {
    Recall(recalled_ - std::min<std::size_t>(recalled_, 1));
}

void LineEditor::RecallLater() {
    Recall(std::min(recalled_ + 1, history_.size()));
}

void LineEditor::Recall(std::size_t index) {
    recalled_ = index;
    text_ = index < history_.size() ? history_.at(index) : "";
    cursor_ = text_.size();
}

}  // namespace Simulator
