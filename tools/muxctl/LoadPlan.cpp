#include "tools/muxctl/LoadPlan.h"

#include <array>

namespace Muxctl {
namespace {

using Kind = LoadStep::Kind;
using MuxClient::Request;

constexpr std::array kKindNames = {"enable", "disable", "clear", "add"};

std::string CardKey(const MuxClient::Card& card) {
    return " " + card.data + (card.isUid ? " uid " : " data ") + std::to_string(card.setupNumber) + " " +
           std::to_string(card.options);
}

}  // namespace

Request LoadStep::Build() const {
    switch (kind) {
        case Kind::kEnable:
            return Request::EnableWhitelist(lock);
        case Kind::kDisable:
            return Request::DisableWhitelist(lock);
        case Kind::kClear:
            return Request::ClearWhitelist(lock);
        case Kind::kAdd:
            break;
    }
    return Request::AddToWhitelist(lock, card.card);
}

std::string LoadStep::Key() const {
    return std::string(kKindNames.at(static_cast<std::size_t>(kind))) + " " + std::to_string(lock.gateway) + " " +
           std::to_string(lock.lock) + (kind == Kind::kAdd ? CardKey(card.card) : "");
}

LoadPlan PlanLoad(const CardFile& file, bool clears) {
    LoadPlan plan;
    for (const CardList& list : file.lists) {
        plan.push_back({list.isEnabled ? Kind::kEnable : Kind::kDisable, list.lock});
        if (clears) {
            plan.push_back({Kind::kClear, list.lock});
        }
        for (const ListedCard& card : list.cards) {
            plan.push_back({Kind::kAdd, list.lock, card});
        }
    }
    return plan;
}

}  // namespace Muxctl
