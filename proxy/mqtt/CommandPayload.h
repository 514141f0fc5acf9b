#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "json/RapidJson.h"
#include "proxy/mqtt/UsedNumbers.h"
#include "proxy/requests/ProxyRequest.h"

namespace MuxProxy {

// The longest command that is read, in bytes, with or without a signature.
constexpr std::size_t kLongestCommand = 16384;

// How much of a sender's text goes into reasons, in bytes. These reach the audit, the result of the request, which the
// whole centre may read, and the answer.
constexpr std::size_t kLongestExcerpt = 200;

// A text of a sender for a reason: cut between two characters, with "..." in the place of the rest, if it is longer.
std::string Excerpt(const std::string& text);

// Why a claim cannot be used. `what()` is a reason for people: "duration must be an integer from 1 to 255".
class ClaimFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The claims of a command: a JSON object with the names of RFC 7519, where it has one, and those of the operation.
// Claims that are not understood are ignored, as it requires. All functions throw ClaimFault for a claim of another
// type or beyond its bounds. For one thread.
class CommandPayload {
  public:
    // Throws ClaimFault if the text is not a JSON object, or has two members with one name.
    explicit CommandPayload(std::string_view text);

    std::optional<std::string> Text(const char* name) const;
    std::optional<std::int64_t> Integer(const char* name, std::int64_t lowest, std::int64_t highest) const;
    // Seconds since 1970, which may have a fraction.
    std::optional<WallTime> Time(const char* name) const;

    // Null without a known operation.
    const RequestKind* Kind() const;
    // What the operation asks of the lock, without an identifier.
    ProxyRequest RequestFor(const MuxClient::LockAddress& lock) const;

  private:
    const rapidjson::Value* Find(const char* name) const;
    bool Flag(const char* name) const;
    MuxClient::Card ReadCard() const;

    rapidjson::Document claims_;
};

}  // namespace MuxProxy
