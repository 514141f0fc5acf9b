#include "tools/client/MessageId.h"

#include <uuid/uuid.h>

#include <array>

namespace MuxClient {

std::string NewMessageId() {
    uuid_t id = {};
    uuid_generate(id);
    std::array<char, UUID_STR_LEN> text = {};
    uuid_unparse_lower(id, text.data());
    return text.data();
}

}  // namespace MuxClient
