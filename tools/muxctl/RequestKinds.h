#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/client/Request.h"

namespace Muxctl {

// The request options of the command line; each kind of request takes only some of them.
struct RequestOptions {
    // All that the request is for, and the one of them that it is built for.
    std::vector<MuxClient::LockAddress> locks;
    MuxClient::LockAddress lock;
    std::uint32_t duration = 5;
    bool answersEvent = false;
    MuxClient::Card card;
};

// One request that can be given by name.
struct RequestKind {
    // Empty, or the command that it belongs to.
    const char* group;
    const char* name;
    const char* help;
    bool takesDuration;
    // Whether there is a form of it that answers a card-reader event.
    bool canAnswerEvent;
    bool takesCard;
    MuxClient::Request (*build)(const RequestOptions& options);

    // "whitelist add", or just "open".
    std::string FullName() const;
};

// All of them, those without a group first.
const std::vector<RequestKind>& RequestKinds();

}  // namespace Muxctl
