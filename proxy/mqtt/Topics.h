#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "tools/client/Request.h"

namespace MuxProxy {

// What the topic of a command says. A value.
struct CommandTopic {
    MuxClient::LockAddress lock;
    // Who asks: the broker lets each user publish below its own name only.
    std::string client;
};

// Why a topic is none of a command; for people.
struct InvalidTopic {
    std::string reason;
};

// The topics of a site. A value; any thread.
class Topics {
  public:
    static constexpr std::size_t kLongestClient = 64;
    // What may follow the client's name in the topic of an answer.
    static constexpr std::size_t kLongestReplySuffix = 256;
    static constexpr std::size_t kMostReplyLevels = 8;

    // `prefix` may have several levels. Neither has wildcards.
    Topics(const std::string& prefix, const std::string& site);

    // "online" or "offline".
    std::string Status() const { return site_ + "/status"; }
    std::string Event(const MuxClient::LockAddress& lock) const { return Lock(lock) + "/event"; }
    std::string Result(const MuxClient::LockAddress& lock) const { return Lock(lock) + "/result"; }
    std::string State(const MuxClient::LockAddress& lock) const { return Lock(lock) + "/state"; }
    std::string Command(const MuxClient::LockAddress& lock, const std::string& client) const {
        return Lock(lock) + "/command/" + client;
    }
    // Where a client gets its answers, unless its command names a topic below this one.
    std::string Reply(const std::string& client) const { return site_ + "/reply/" + client; }

    // The filter that all topics of commands match.
    std::string Commands() const { return site_ + "/gateway/+/lock/+/command/+"; }

    std::variant<CommandTopic, InvalidTopic> ReadCommand(std::string_view topic) const;
    // Whether it is one of answers.
    bool IsReply(const std::string& topic) const { return topic.rfind(site_ + "/reply/", 0) == 0; }
    // Whether an answer for the client may be published there: at its topic, or some named levels below.
    bool IsReplyTo(const std::string& client, const std::string& topic) const;

    // The site's name.
    std::string Site() const { return site_.substr(site_.rfind('/') + 1); }
    // Under which the site connects: nobody else at the broker may have it.
    std::string ClientId() const;

  private:
    std::string Lock(const MuxClient::LockAddress& lock) const;

    // With the prefix.
    std::string site_;
};

}  // namespace MuxProxy
