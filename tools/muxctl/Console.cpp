#include "tools/muxctl/Console.h"

#include <cerrno>
#include <system_error>

namespace Muxctl {

void Console::Print(const std::string& text) const {
    // Of an output that is broken already, errno has the reason.
    if (output) {
        errno = 0;
    }
    output << text << std::flush;
    if (!output) {
        throw std::system_error(errno, std::generic_category(), "cannot write the output");
    }
}

}  // namespace Muxctl
