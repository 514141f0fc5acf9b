#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/client/Request.h"
#include "tools/muxctl/Site.h"

namespace Muxctl {

// A file of cards for whitelists. Two formats:
//
//     CSV with a header, separated by commas or semicolons; every column but "card" may be left out:
//         gateway,lock,card,uid,setup,options,name
//     where gateways and locks are IDs, or with a site names;
//     the simulator's whitelist file, whose cards are the bytes that a gateway gets:
//         {"Locks": [{"ID": 5, "Enabled": true, "Cards": [{"Card": "04A1B2C3", "SetupNumber": 0, "Option": 1}]}]}
//
// Values; any thread may call the functions.

struct ListedCard {
    MuxClient::Card card;
    // The person's, or whatever the file calls it; may be empty.
    std::string name;
    // "cards.csv:7".
    std::string place;
};

// The cards for one lock.
struct CardList {
    MuxClient::LockAddress lock;
    // Whether the lock is to use its whitelist.
    bool isEnabled = true;
    std::vector<ListedCard> cards;
};

struct CardFile {
    // In the order of the file, each lock once.
    std::vector<CardList> lists;
    // What is wrong, as in "cards.csv:7:12: card must be ...".
    std::vector<std::string> faults;
    // False if the faults are those of the header.
    bool hasReadCards = true;
};

// What a file leaves out.
struct CardDefaults {
    std::optional<std::int32_t> gateway;
    // A card without a lock belongs to all of these, given by ID or name.
    std::vector<std::string> locks;
    MuxClient::Card card;
    // Whether it is a fault if neither file nor defaults have a lock's address.
    bool requiresAddress = true;
    // Where names are looked up, when there is one.
    std::optional<Site> site = {};
};

// Reads the text of a file in one of the formats; `file` is its name in faults.
CardFile ReadCardFile(const std::string& file, const std::string& text, const CardDefaults& defaults);

// The bytes that the gateway gets for a card, in upper-case hexadecimal: a UID is padded to its full length, and other
// data is reversed. A UID must not be too long.
std::string BytesAtGateway(const MuxClient::Card& card);

// Pairs of digits, from the last to the first.
std::string ReversedBytes(const std::string& hex);

}  // namespace Muxctl
