#include "tools/muxctl/CardJson.h"

#include <cstdint>
#include <limits>

#include "tools/json/InputError.h"
#include "tools/json/JsonFile.h"
#include "tools/muxctl/CardCollector.h"
#include "tools/muxctl/OptionChecks.h"

namespace Muxctl {
namespace {

using Tools::InputError;
using Tools::JsonNode;

constexpr std::int64_t kLargestAddress = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t kLargestSetupNumber = 255;

// The file has the bytes as the gateway gets them, which the Mux makes of their reverse.
ListedCard CardIn(const JsonNode& node, const std::string& place) {
    node.AllowMembers({"Card", "SetupNumber", "Option"});
    const JsonNode bytes = node.Required("Card");
    const std::string fault = CheckCard(bytes.Text());
    if (!fault.empty()) {
        bytes.Refuse(fault);
    }
    ListedCard listed;
    listed.card.data = ReversedBytes(bytes.Text());
    listed.card.setupNumber = static_cast<std::uint32_t>(node.NumberOr("SetupNumber", 0, 0, kLargestSetupNumber));
    // The Mux sends no other option.
    listed.card.options = static_cast<std::uint32_t>(node.NumberOr("Option", 0, 0, 1));
    listed.place = place;
    return listed;
}

class JsonCards {
  public:
    JsonCards(std::string file, std::int32_t gateway) : file_(std::move(file)), gateway_(gateway) {}

    CardFile Read(const std::string& text) {
        TakeFaults([&] { Tools::ReadJson(file_, text, [this](const JsonNode& root) { ReadLocks(root); }); });
        return collector_.Take();
    }

  private:
    // One fault does not hide those behind it.
    template <typename Reading>
    void TakeFaults(Reading read) {
        try {
            read();
        } catch (const InputError& error) {
            collector_.Refuse(error.what());
        }
    }

    void ReadLocks(const JsonNode& root) {
        root.AllowMembers({"Locks"});
        std::size_t index = 0;
        for (const JsonNode& node : root.Elements("Locks")) {
            TakeFaults([&] { ReadLock(node, "Locks[" + std::to_string(index) + "]"); });
            ++index;
        }
    }

    void ReadLock(const JsonNode& node, const std::string& place) {
        node.AllowMembers({"ID", "Enabled", "Cards"});
        const MuxClient::LockAddress lock = {gateway_,
                                             static_cast<std::int32_t>(node.Required("ID").Number(0, kLargestAddress))};
        collector_.ListOf(lock).isEnabled = node.BooleanOr("Enabled", true);
        std::size_t index = 0;
        for (const JsonNode& card : node.Elements("Cards")) {
            const std::string cardPlace = file_ + ": " + place + ".Cards[" + std::to_string(index) + "]";
            TakeFaults([&] { collector_.Add(lock, CardIn(card, cardPlace)); });
            ++index;
        }
    }

    std::string file_;
    std::int32_t gateway_;
    CardCollector collector_;
};

}  // namespace

CardFile ReadCardJson(const std::string& file, const std::string& text, const CardDefaults& defaults) {
    if (!defaults.locks.empty()) {
        return {{}, {"--lock: " + file + " names its locks itself"}, false};
    }
    const MuxClient::Card& card = defaults.card;
    if (card.isUid || card.setupNumber != 0 || card.options != 0) {
        return {{}, {"--uid, --setup and --options: " + file + " has these of each card itself"}, false};
    }
    if (!defaults.gateway && defaults.requiresAddress) {
        return {{}, {"--gateway is required: " + file + " does not name it"}, false};
    }
    return JsonCards(file, defaults.gateway.value_or(0)).Read(text);
}

}  // namespace Muxctl
