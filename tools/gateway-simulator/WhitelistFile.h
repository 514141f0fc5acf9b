#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tools/gateway-simulator/Lock.h"
#include "tools/gateway-simulator/WhitelistStore.h"

namespace Simulator {

// Keeps the whitelists of one gateway in a JSON file:
//
//     {"Locks": [{"ID": 5, "Enabled": true, "Cards": [{"Card": "04A1B2C3", "SetupNumber": 0, "Option": 1}]}]}
//
// A lock whose whitelist is empty and enabled is left out. One that the gateway does not have keeps its place.
//
// Not thread-safe.
class WhitelistFile : public WhitelistStore {
  public:
    // Reads the file; one that is not there yet is made by the first change. Throws CommandError when it cannot be read
    // or is not as it should be, and never changes such a file.
    explicit WhitelistFile(std::string path);

    // Gives a lock the whitelist that the file has for it.
    void LoadInto(Lock& lock) const override;

    // Replaces the file when a whitelist is not what is in it. Throws std::runtime_error when that fails.
    void Keep(const std::vector<Lock>& locks) override;

  private:
    struct List {
        bool enabled = true;
        std::vector<Whitelist::Entry> cards;
    };
    using Lists = std::map<std::uint32_t, List>;

    static Lists ReadLists(const std::string& path);
    static std::string TextOf(const Lists& lists);
    static bool AreEqual(const Lists& one, const Lists& other);

    std::string path_;
    // What is in the file.
    Lists lists_;
};

}  // namespace Simulator
