#include "proxy/web/PasswordFile.h"

#include <sodium.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <optional>
#include <sstream>
#include <system_error>

#include "proxy/web/Sodium.h"

namespace MuxProxy {
namespace {

// What OWASP recommends for argon2id.
constexpr std::size_t kMemory = 19456UL * 1024;
constexpr unsigned long long kPasses = 2;
// More would stop this host at each log-in, whoever asks for it.
constexpr std::uint32_t kMostKibibytes = 65536;
constexpr std::uint32_t kMostPasses = 10;

// Of a password that was random and is forgotten, made by HashPassword().
const std::string kNobodysHash =
    "$argon2id$v=19$m=19456,t=2,p=1$TFIJKHxLiybYJpMdjYNk/w$mT0yGPUluGJA7EmTm/bG8AbMR+As+nb+NKJoogzwT+8";

bool IsPrintable(unsigned char byte) {
    return byte >= ' ' && byte != 0x7F;
}

// Takes this text away from the front of `rest`. False if something else is there.
bool Take(std::string_view& rest, std::string_view text) {
    const bool isThere = rest.substr(0, text.size()) == text;
    rest.remove_prefix(isThere ? text.size() : 0);
    return isThere;
}

std::optional<std::uint32_t> TakeNumber(std::string_view& rest) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    if (error != std::errc()) {
        return std::nullopt;
    }
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    return number;
}

// libsodium reads an array of this size.
using HashArray = std::array<char, crypto_pwhash_STRBYTES>;

HashArray ArrayOf(std::string_view hash) {
    HashArray array{};
    std::copy_n(hash.begin(), std::min(hash.size(), array.size() - 1), array.begin());
    return array;
}

// Whether salt, hash and numbers are such as libsodium can verify.
bool IsVerifiable(std::string_view hash) {
    return hash.size() < crypto_pwhash_STRBYTES &&
           crypto_pwhash_str_needs_rehash(ArrayOf(hash).data(), kPasses, kMemory) >= 0;
}

// Why the hash cannot be used; empty if it can.
std::string FaultOf(std::string_view hash) {
    constexpr const char* kForm = "must be NAME:$argon2id$v=19$m=KIBIBYTES,t=PASSES,p=1$SALT$HASH";
    std::string_view rest = hash;
    const bool isArgon = Take(rest, "$argon2id$v=19$m=");
    const std::optional<std::uint32_t> kibibytes = TakeNumber(rest);
    const bool hasPasses = Take(rest, ",t=");
    const std::optional<std::uint32_t> passes = TakeNumber(rest);
    if (!isArgon || !kibibytes || !hasPasses || !passes || !Take(rest, ",p=1$") || !IsVerifiable(hash)) {
        return kForm;
    }
    if (*kibibytes > kMostKibibytes) {
        return "needs more than 64 MiB of memory for each log-in";
    }
    return *passes > kMostPasses ? "needs more than 10 passes for each log-in" : "";
}

void AddLine(const std::string& line, std::map<std::string, std::string>& hashes) {
    if (line.empty() || line.front() == '#') {
        return;
    }
    const std::size_t colon = line.find(':');
    const std::string name = line.substr(0, colon);
    const std::string hash = colon == std::string::npos ? "" : line.substr(colon + 1);
    if (!IsUserName(name)) {
        throw std::runtime_error("the name must be 1 to 64 printable bytes without \":\"");
    }
    if (const std::string fault = FaultOf(hash); !fault.empty()) {
        throw std::runtime_error(fault);
    }
    if (!hashes.emplace(name, hash).second) {
        throw std::runtime_error(name + " occurs more than once");
    }
}

}  // namespace

bool IsUserName(std::string_view name) {
    return !name.empty() && name.size() <= kLongestUserName && name.front() != '#' &&
           name.find(':') == std::string_view::npos && std::all_of(name.begin(), name.end(), IsPrintable);
}

std::string HashPassword(const std::string& password) {
    PrepareSodium();
    if (password.size() < kShortestPassword || password.size() > kLongestPassword) {
        throw std::runtime_error("a password must have " + std::to_string(kShortestPassword) + " to " +
                                 std::to_string(kLongestPassword) + " bytes, not " + std::to_string(password.size()));
    }
    HashArray hash{};
    if (crypto_pwhash_str_alg(hash.data(), password.data(), password.size(), kPasses, kMemory,
                              crypto_pwhash_ALG_ARGON2ID13) != 0) {
        throw std::runtime_error("not enough memory to hash a password");
    }
    return hash.data();
}

PasswordFile::PasswordFile(const std::string& text) {
    PrepareSodium();
    std::size_t number = 0;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        ++number;
        try {
            AddLine(text.substr(begin, end - begin), hashes_);
        } catch (const std::runtime_error& error) {
            throw std::runtime_error("line " + std::to_string(number) + ": " + error.what());
        }
        begin = end + 1;
    }
}

// Nothing to read is no error, but leaves the same mark as one.
std::string ReadPasswordText(const std::string& file) {
    errno = 0;
    const std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    if (!stream.is_open() || (text.fail() && errno != 0)) {
        throw std::runtime_error(file + ": cannot be read: " + std::generic_category().message(errno));
    }
    return text.str();
}

PasswordFile PasswordFile::Read(const std::string& file) {
    const std::string text = ReadPasswordText(file);
    try {
        return PasswordFile(text);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(file + ": " + error.what());
    }
}

bool PasswordFile::Verify(const std::string& name, const std::string& password) const {
    PrepareSodium();
    const auto found = hashes_.find(name);
    const bool isKnown = found != hashes_.end();
    const HashArray hash = ArrayOf(isKnown ? found->second : kNobodysHash);
    const bool isRight = crypto_pwhash_str_verify(hash.data(), password.data(), password.size()) == 0;
    return isRight && isKnown;
}

std::string PasswordFile::HashOf(const std::string& name) const {
    const auto found = hashes_.find(name);
    return found != hashes_.end() ? found->second : "";
}

std::vector<std::string> PasswordFile::Names() const {
    std::vector<std::string> names;
    for (const auto& [name, hash] : hashes_) {
        names.push_back(name);
    }
    return names;
}

}  // namespace MuxProxy
