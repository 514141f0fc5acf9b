#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/client/Client.h"
#include "tools/muxctl/RequestKinds.h"
#include "tools/muxctl/Site.h"

namespace Muxctl {

struct CheckConfigOptions {
    // Configuration files; with `checksAllSites` a folder of them, or nothing for that of the sites.
    std::vector<std::string> paths;
    bool checksAllSites = false;
    // Whether the status is for systemd, before it starts the Mux with the file.
    bool checksStart = false;
};

// Of sign and new-key.
struct SignOptions {
    std::string operation;
    std::string audience;
    // The file of the private key, and its identifier, which may be empty.
    std::string key;
    std::string kid;
    std::uint32_t validSeconds = 30;
    bool hasDuration = false;
};

// The options of the command line; each command uses what concerns it.
struct Options {
    MuxClient::MuxAddress mux;
    std::chrono::milliseconds timeout = MuxClient::kDefaultTimeout;
    bool hasDefaultTimeout = false;
    bool json = false;
    // Of --config or --site, when one is given; its port is in `mux` unless the command line has another.
    std::optional<Site> site;
    // Why the Mux on that port is not this site's; empty if it is.
    std::string foreignPort;

    RequestOptions request;
    // How many events to wait for, 0 for no end.
    std::uint64_t eventCount = 0;
    bool showsPins = false;
    // A JSON text, or the path of a file with one, "-" for standard input.
    std::string text;
    std::string file;
    bool waitsForAnswer = true;
    // Whether a text is sent that would end the Mux or never be answered.
    bool sendsUnsafe = false;
    CheckConfigOptions checkConfig;
    SignOptions sign;

    // Of commands that can do without them; the locks are IDs or names, of several gateways if there is none here.
    std::optional<std::int32_t> gateway;
    std::vector<std::string> locks;
    // Of health: every gateway of the site.
    bool checksAll = false;
    // Of batch: also after a NACK or a missing answer.
    bool keepsGoing = false;
    // Of whitelist load.
    bool clears = false;
    bool resumes = false;
};

}  // namespace Muxctl
