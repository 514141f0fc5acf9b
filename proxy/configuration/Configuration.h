#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "proxy/rights/Rights.h"

namespace MuxProxy {

// The sections of the configuration file. Values.

struct ListenSettings {
    std::vector<std::string> addresses = {"0.0.0.0", "::"};
    std::uint16_t port = 5556;
};

struct MuxSettings {
    std::string host = "127.0.0.1";
    std::uint16_t port = 5555;
    // The Mux's own file, for the locks of the site; may be empty.
    std::string configuration;
};

// Files in PEM. Required but for the revocation list.
struct CertificateSettings {
    std::string certificate;
    std::string key;
    // Signs the certificates of clients.
    std::string authority;
    std::string revocationList;
};

struct LimitSettings {
    std::uint32_t connections = 500;
    std::uint32_t connectionsPerClient = 50;
    std::uint32_t connectionsPerAddress = 200;
    std::chrono::seconds handshake{10};
    // A connection on which nothing came for so long is closed; 0 for never, since clients may only wait for events.
    std::chrono::seconds idle{0};
};

struct AuditSettings {
    // A SQLite database; required.
    std::string file;
    // How long rows are kept, and how large the file may become before the oldest go.
    std::uint32_t days = 365;
    std::uint32_t mebibytes = 512;
    // Whether the audit holds the whole data of a card, instead of its last four digits.
    bool wholeCards = false;
};

// Messages that let Home Assistant find the locks.
struct DiscoverySettings {
    std::string prefix = "homeassistant";
    // Whose rights its commands have: the last level of their topics.
    std::string client = "home-assistant";
};

// The broker, and what it gets and may ask for. Files are in PEM.
struct MqttSettings {
    std::string host;
    // 0 stands for the usual one, which the reader of the file puts in.
    std::uint16_t port = 0;
    // Signs the broker's certificate; without it the connection is not encrypted.
    std::string authority;
    // Both or none; the proxy's own.
    std::string certificate;
    std::string key;
    std::string user;
    // Its first line is the password.
    std::string passwordFile;
    // The site's level of the topics, below the prefix.
    std::string site;
    std::string prefix = "dw-hal-mux";
    // Whether messages have the whole data of a card, as far as the audit does.
    bool wholeCards = false;
    // How long messages wait for the broker, and how many, before the oldest are dropped.
    std::uint32_t waitingDays = 7;
    std::uint32_t waitingCount = 100000;
    // A JWK Set of public keys; with it, only commands signed by one of them are accepted.
    std::string commandKeys;
    std::optional<DiscoverySettings> discovery;

    bool IsEncrypted() const { return !authority.empty(); }
};

// Where metrics are read by HTTP.
struct MetricsSettings {
    std::string address = "127.0.0.1";
    std::uint16_t port = 9556;
};

// How often each lock is asked for its status.
struct StatusRoundSettings {
    std::chrono::hours interval{6};
};

// The page for browsers. What other sections decide is put in by the reader of the file, so that nothing is left to be
// derived.
struct WebSettings {
    std::vector<std::string> addresses = {"0.0.0.0", "::"};
    std::uint16_t port = 8443;
    // In PEM; without members of their own those of the section "Certificates".
    std::string certificate;
    std::string key;
    // Names and hashes of passwords; empty if only certificates log in.
    std::string users;
    // A session ends so long after its log-in, and so long after it was last used.
    std::chrono::hours sessionHours{12};
    std::chrono::minutes idleMinutes{60};
    // Name of the site for people; may be empty.
    std::string title;
    // Who may read the audit.
    std::vector<std::string> auditors;
    // A SQLite database of the cards that were entered; without a member of its own beside the audit.
    std::string cards;
};

// The configuration file of the proxy. A value.
struct Configuration {
    ListenSettings listen;
    MuxSettings mux;
    CertificateSettings certificates;
    LimitSettings limits;
    AuditSettings audit;
    std::vector<Rule> rules;
    // Each is off without its section.
    std::optional<MqttSettings> mqtt;
    std::optional<MetricsSettings> metrics;
    std::optional<StatusRoundSettings> statusRound;
    std::optional<WebSettings> web;

    // Whether it has sections of services, with libraries that a plain site does not load.
    bool NeedsServices() const { return mqtt || metrics || web; }
};

}  // namespace MuxProxy
