#pragma once

#include <chrono>
#include <cstdint>
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

// The configuration file of the proxy. A value.
struct Configuration {
    ListenSettings listen;
    MuxSettings mux;
    CertificateSettings certificates;
    LimitSettings limits;
    AuditSettings audit;
    std::vector<Rule> rules;
};

}  // namespace MuxProxy
