#include "proxy/mqtt/Topics.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <vector>

#include "json/Utf8.h"

namespace MuxProxy {
namespace {

// Of the topic of a command, behind the site.
constexpr std::size_t kLevels = 6;

std::vector<std::string_view> LevelsOf(std::string_view topic) {
    std::vector<std::string_view> levels;
    while (true) {
        const std::size_t end = topic.find('/');
        levels.push_back(topic.substr(0, end));
        if (end == std::string_view::npos) {
            return levels;
        }
        topic.remove_prefix(end + 1);
    }
}

// As std::to_string writes it and not otherwise, so that a lock has one topic.
std::optional<std::int32_t> NumberIn(std::string_view text) {
    std::int32_t number = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = fault == std::errc() && std::to_string(number) == text;
    return isNumber ? std::make_optional(number) : std::nullopt;
}

bool IsControl(char character) {
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
}

// Valid in a topic that is published to, and printable, as names in certificates are.
bool IsPlain(std::string_view text) {
    return text.find_first_of("+#") == std::string_view::npos && std::none_of(text.begin(), text.end(), &IsControl) &&
           Json::InUtf8(text) == text;
}

// Brokers refuse topics of very many levels, some with the end of the connection. A client must not choose one.
bool IsReplySuffix(std::string_view suffix) {
    const auto levels = static_cast<std::size_t>(std::count(suffix.begin(), suffix.end(), '/'));
    return suffix.empty() || (suffix.front() == '/' && suffix.back() != '/' && levels <= Topics::kMostReplyLevels &&
                              suffix.find("//") == std::string_view::npos && IsPlain(suffix));
}

bool IsClientName(std::string_view name) {
    return !name.empty() && name.size() <= Topics::kLongestClient && IsPlain(name);
}

}  // namespace

Topics::Topics(const std::string& prefix, const std::string& site) : site_(prefix + '/' + site) {}

std::string Topics::Lock(const MuxClient::LockAddress& lock) const {
    return site_ + "/gateway/" + std::to_string(lock.gateway) + "/lock/" + std::to_string(lock.lock);
}

std::variant<CommandTopic, InvalidTopic> Topics::ReadCommand(std::string_view topic) const {
    const std::string start = site_ + '/';
    if (topic.substr(0, start.size()) != start) {
        return InvalidTopic{"not a topic of this site"};
    }
    const std::vector<std::string_view> levels = LevelsOf(topic.substr(start.size()));
    if (levels.size() != kLevels || levels[0] != "gateway" || levels[2] != "lock" || levels[4] != "command") {
        return InvalidTopic{"not a topic of commands"};
    }
    const std::optional<std::int32_t> gateway = NumberIn(levels[1]);
    const std::optional<std::int32_t> lock = NumberIn(levels[3]);
    if (!gateway || !lock) {
        return InvalidTopic{"gateway and lock in the topic must be decimal integers"};
    }
    if (!IsClientName(levels[5])) {
        return InvalidTopic{"the client's name in the topic must have 1 to 64 bytes of printable UTF-8"};
    }
    return CommandTopic{{*gateway, *lock}, std::string(levels[5])};
}

bool Topics::IsReplyTo(const std::string& client, const std::string& topic) const {
    const std::string start = Reply(client);
    if (topic.compare(0, start.size(), start) != 0 || topic.size() > start.size() + kLongestReplySuffix) {
        return false;
    }
    return IsReplySuffix(std::string_view(topic).substr(start.size()));
}

std::string Topics::ClientId() const {
    std::string id = site_;
    std::replace(id.begin(), id.end(), '/', '-');
    return id;
}

}  // namespace MuxProxy
