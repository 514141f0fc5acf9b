#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "tools/muxctl/Options.h"

namespace Muxctl {

// The options that say where to: first added to a parser, then, after it has parsed, taken into Options. Both need the
// names of a site, which are known only then. For one thread; both look at the options they are made for.

// The Mux, or the proxy before it, by host and port or by its site.
class MuxOptions {
  public:
    explicit MuxOptions(Options& options) : options_(options) {}

    // Once, and before Take().
    void AddTo(CLI::App& app);
    // Sets the site and the address of the Mux. Throws UsageError.
    void Take();

  private:
    void TakeSite();
    void TakeTls();
    void TakeHostAndPort();
    // Without one on the command line.
    std::uint16_t DefaultPort() const;

    Options& options_;
    std::string siteName_;
    std::string configuration_;
    MuxClient::TlsSettings tls_;
    bool usesTls_ = false;
    CLI::Option* host_ = nullptr;
    CLI::Option* certificate_ = nullptr;
    CLI::Option* port_ = nullptr;
    CLI::Option* site_ = nullptr;
    CLI::Option* file_ = nullptr;
};

// The gateway of a command that can do without one.
class GatewayOption {
  public:
    explicit GatewayOption(Options& options) : options_(options) {}

    // For each such command.
    CLI::Option* AddTo(CLI::App& command, const std::string& help);
    // Sets the gateway if it was given; the site must be known. Throws UsageError.
    void Take();

  private:
    Options& options_;
    std::string gateway_;
    std::vector<const CLI::Option*> added_;
};

// --lock of a command that can do without one.
class LockListOption {
  public:
    explicit LockListOption(Options& options) : options_(options) {}

    // For each such command.
    void AddTo(CLI::App& command, const std::string& help);
    // Sets the locks if they were given; the site must be known. Throws UsageError for a name without a site.
    void Take();

  private:
    Options& options_;
    std::string list_;
    std::vector<const CLI::Option*> added_;
};

// The lock of a request, or a list of locks: IDs with that of the gateway, or names in the site.
class LockOptions {
  public:
    explicit LockOptions(Options& options) : options_(options) {}

    // For each command that sends a request.
    void AddTo(CLI::App& command);
    // Sets the lock of the command that was called, if it was one of those; the site must be known. Throws
    // CLI::RequiredError if one of the options is missing, and UsageError for a name that the site has not.
    void Take();

  private:
    void TakeFrom(const CLI::App& command);
    void RefuseNameAsList() const;
    std::vector<MuxClient::LockAddress> LocksOfList(std::optional<std::int32_t> gateway) const;

    Options& options_;
    std::string gateway_;
    std::string list_;
    std::string name_;
    std::vector<const CLI::App*> commands_;
};

}  // namespace Muxctl
