#include "tools/gateway-simulator/WhitelistFile.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "json/RapidJson.h"
#include "tools/gateway-simulator/TextFile.h"
#include "tools/json/JsonFile.h"

// Needs the settings of RapidJson.h.
#include <rapidjson/prettywriter.h>

namespace Simulator {
namespace {

using Tools::JsonNode;
using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

constexpr std::int64_t kGreatestByte = std::numeric_limits<std::uint8_t>::max();
constexpr std::int64_t kGreatestAddress = std::numeric_limits<std::uint32_t>::max();
// As many as a request for the whitelist has room for.
constexpr std::size_t kLongestCard = 233;

bool AreEqualCards(const Whitelist::Entry& one, const Whitelist::Entry& other) {
    return one.card == other.card && one.setupNumber == other.setupNumber && one.option == other.option;
}

bool IsThere(const std::string& path) {
    std::error_code error;
    // What cannot be found out counts as there, so that it is not overwritten.
    return std::filesystem::exists(path, error) || error;
}

Whitelist::Entry ReadCard(const JsonNode& node) {
    node.AllowMembers({"Card", "SetupNumber", "Option"});
    const JsonNode card = node.Required("Card");
    const std::optional<Bytes> bytes = FromHex(card.Text());
    if (!bytes || bytes->size() > kLongestCard) {
        card.Refuse("must be 1 to " + std::to_string(kLongestCard) + " bytes in hexadecimal");
    }
    return {static_cast<std::uint8_t>(node.NumberOr("SetupNumber", 0, 0, kGreatestByte)),
            static_cast<std::uint8_t>(node.NumberOr("Option", 0, 0, kGreatestByte)), *bytes};
}

std::vector<Whitelist::Entry> ReadCards(const JsonNode& node) {
    std::vector<Whitelist::Entry> cards;
    for (const JsonNode& element : node.Elements("Cards")) {
        const Whitelist::Entry entry = ReadCard(element);
        if (std::any_of(cards.begin(), cards.end(), [&](const auto& other) { return other.card == entry.card; })) {
            element.Refuse("duplicates another card");
        }
        cards.push_back(entry);
    }
    return cards;
}

void WriteCard(Writer& writer, const Whitelist::Entry& entry) {
    writer.StartObject();
    writer.Key("Card");
    writer.String(ToHex(entry.card).c_str());
    writer.Key("SetupNumber");
    writer.Uint(entry.setupNumber);
    writer.Key("Option");
    writer.Uint(entry.option);
    writer.EndObject();
}

}  // namespace

WhitelistFile::WhitelistFile(std::string path) : path_(std::move(path)), lists_(ReadLists(path_)) {}

void WhitelistFile::LoadInto(Lock& lock) const {
    const auto found = lists_.find(lock.Address());
    if (found != lists_.end()) {
        lock.Cards().SetEnabled(found->second.enabled);
        lock.Cards().SetEntries(found->second.cards);
    }
}

void WhitelistFile::Keep(const std::vector<Lock>& locks) {
    Lists lists = lists_;
    for (const Lock& lock : locks) {
        if (lock.Cards().IsEnabled() && lock.Cards().Entries().empty()) {
            lists.erase(lock.Address());
        } else {
            lists[lock.Address()] = {lock.Cards().IsEnabled(), lock.Cards().Entries()};
        }
    }
    if (AreEqual(lists, lists_)) {
        return;
    }
    try {
        ReplaceTextFile(path_, TextOf(lists));
    } catch (const std::system_error& error) {
        throw std::runtime_error(std::string("cannot write the whitelists: ") + error.what());
    }
    lists_ = std::move(lists);
}

WhitelistFile::Lists WhitelistFile::ReadLists(const std::string& path) {
    Lists lists;
    if (!IsThere(path)) {
        return lists;
    }
    Tools::ReadJson(path, ReadTextFile(path), [&](const JsonNode& root) {
        root.AllowMembers({"Locks"});
        for (const JsonNode& node : root.Elements("Locks")) {
            node.AllowMembers({"ID", "Enabled", "Cards"});
            const auto address = static_cast<std::uint32_t>(node.Required("ID").Number(0, kGreatestAddress));
            if (!lists.emplace(address, List{node.BooleanOr("Enabled", true), ReadCards(node)}).second) {
                node.Refuse("has the ID of another lock");
            }
        }
    });
    return lists;
}

std::string WhitelistFile::TextOf(const Lists& lists) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    writer.Key("Locks");
    writer.StartArray();
    for (const auto& [address, list] : lists) {
        writer.StartObject();
        writer.Key("ID");
        writer.Uint(address);
        writer.Key("Enabled");
        writer.Bool(list.enabled);
        writer.Key("Cards");
        writer.StartArray();
        for (const Whitelist::Entry& entry : list.cards) {
            WriteCard(writer, entry);
        }
        writer.EndArray();
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

bool WhitelistFile::AreEqual(const Lists& one, const Lists& other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(), [](const auto& left, const auto& right) {
        return left.first == right.first && left.second.enabled == right.second.enabled &&
               std::equal(left.second.cards.begin(), left.second.cards.end(), right.second.cards.begin(),
                          right.second.cards.end(), AreEqualCards);
    });
}

}  // namespace Simulator
