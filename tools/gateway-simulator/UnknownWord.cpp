#include "tools/gateway-simulator/UnknownWord.h"

#include "tools/muxctl/NearestWord.h"

namespace Simulator {

CommandError UnknownWord(const char* kind, const std::string& word, const std::vector<std::string_view>& known) {
    const std::string nearest(Muxctl::NearestWord(word, known));
    const std::string hint = nearest.empty() ? "try help" : "did you mean \"" + nearest + "\"?";
    return CommandError(std::string("unknown ") + kind + " \"" + word + "\"; " + hint);
}

}  // namespace Simulator
