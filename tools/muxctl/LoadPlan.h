#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/client/Request.h"
#include "tools/muxctl/CardFile.h"

namespace Muxctl {

// One request of a whitelist load, and what came of it.
struct LoadStep {
    enum class Kind { kEnable, kDisable, kClear, kAdd };
    enum class State {
        kToDo,
        kDone,
        // Of a card: the gateway had it.
        kAlreadyListed,
        kRefused,
        // It may have been executed all the same.
        kUnanswered,
        // A step before it failed.
        kNotSent,
    };

    Kind kind = Kind::kAdd;
    MuxClient::LockAddress lock;
    // Of kAdd only.
    ListedCard card = {};
    State state = State::kToDo;
    // Why it failed.
    std::string reason = {};
    std::int32_t error = 0;

    // With a new identifier.
    MuxClient::Request Build() const;
    // What makes it this step, in one line: "add 1 5 04A1B2C3 uid 0 1".
    std::string Key() const;
    bool Succeeded() const { return state == State::kDone || state == State::kAlreadyListed; }
};

using LoadPlan = std::vector<LoadStep>;

// The steps for a file: for each lock its switch, the removal of its cards if wanted, and its cards.
LoadPlan PlanLoad(const CardFile& file, bool clears);

}  // namespace Muxctl
