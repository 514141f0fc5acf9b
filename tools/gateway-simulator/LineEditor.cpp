#include "tools/gateway-simulator/LineEditor.h"

#include <algorithm>
#include <utility>

namespace Simulator {

std::optional<std::string> LineEditor::Take(const KeyPress& press) {
    switch (press.key) {
        case Key::kEnter:
            return Finish();
        case Key::kCharacter:
            Insert(press.character);
            break;
        case Key::kBackspace:
            if (cursor_ > 0) {
                Erase(--cursor_);
            }
            break;
        case Key::kDelete:
            Erase(cursor_);
            break;
        case Key::kLeft:
            MoveTo(cursor_ - std::min<std::size_t>(cursor_, 1));
            break;
        case Key::kRight:
            MoveTo(std::min(cursor_ + 1, text_.size()));
            break;
        case Key::kHome:
            MoveTo(0);
            break;
        case Key::kEnd:
            MoveTo(text_.size());
            break;
        case Key::kUp:
            Recall(recalled_ - std::min<std::size_t>(recalled_, 1));
            break;
        case Key::kDown:
            Recall(std::min(recalled_ + 1, history_.size()));
            break;
        case Key::kClearLine:
            Recall(history_.size());
            break;
        case Key::kPageUp:
        case Key::kPageDown:
        case Key::kRedraw:
        case Key::kOther:
            break;
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

void LineEditor::Erase(std::size_t position) {
    if (position < text_.size()) {
        text_.erase(position, 1);
    }
}

void LineEditor::Recall(std::size_t index) {
    recalled_ = index;
    text_ = index < history_.size() ? history_.at(index) : "";
    cursor_ = text_.size();
}

}  // namespace Simulator
