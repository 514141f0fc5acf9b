#include "tools/gateway-simulator/LabelledOutput.h"

#include <utility>

namespace Simulator {

LabelledOutput::LabelledOutput(LineOutput& target, std::string label) : target_(target), label_(std::move(label)) {}

void LabelledOutput::Write(const std::string& text) {
    std::string labelled;
    for (const char character : text) {
        labelled += character;
        labelled += character == '\n' ? label_ : "";
    }
    target_.Write(label_ + labelled);
}

}  // namespace Simulator
