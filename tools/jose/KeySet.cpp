#include "tools/jose/KeySet.h"

#include <utility>

#include "tools/jose/Compact.h"

namespace Jose {

KeySet KeySet::FromText(const std::string& file, const std::string& text) {
    KeySet set;
    Tools::ReadJson(file, text, [&set](const Tools::JsonNode& root) {
        root.Required("keys");
        for (const Tools::JsonNode& jwk : root.Elements("keys")) {
            set.Add(jwk);
        }
        if (set.keys_.empty()) {
            root.Refuse("must have a key in \"keys\"");
        }
    });
    return set;
}

void KeySet::Add(const Tools::JsonNode& jwk) {
    const VerificationKey key(jwk);
    const Tools::JsonNode kid = jwk.Required("kid");
    if (!keys_.emplace(key.Kid(), key).second) {
        kid.Refuse("is \"" + key.Kid() + "\", as that of another key");
    }
}

std::string KeySet::KidOf(std::string_view compact) const {
    const std::optional<std::string> kid = CheckCompact(compact);
    if (!kid) {
        throw SignatureFault("its header must name the key in \"kid\"");
    }
    if (keys_.count(*kid) == 0) {
        throw SignatureFault("no key \"" + *kid + "\" is known");
    }
    return *kid;
}

SignedText KeySet::Verify(std::string_view compact) const {
    std::string kid = KidOf(compact);
    std::string payload = keys_.at(kid).PayloadOf(compact);
    return {std::move(kid), std::move(payload)};
}

}  // namespace Jose
