#include "tools/muxctl/CommandLine.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <iostream>
#include <limits>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

#include "mux/Version.h"
#include "tools/muxctl/Commands.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/OptionChecks.h"

namespace Muxctl {
namespace {

const char* const kDescription =
    "Command-line client for the Mux: control locks, watch reader events, check the daemon's health.\n";

const char* const kFooter =
    "\n"
    "Exit status:\n"
    "  0   ACK\n"
    "  1   NACK\n"
    "  2   no reply or no connection; the request may still have been executed\n"
    "  64  wrong usage\n"
    "\n"
    "Examples:\n"
    "  muxctl open --gateway 1 --lock 5\n"
    "  muxctl open-close --gateway 1 --lock 5 --duration 5 --event\n"
    "  muxctl whitelist add --gateway 1 --lock 5 --card 04A1B2C3 --uid --options 1\n"
    "  muxctl --host 192.168.1.2 watch --json\n"
    "  muxctl send '{\"MessageID\":\"a1\",\"MessageCode\":12,\"Data\":{\"gatewayID\":1,\"lockID\":5}}'\n"
    "  muxctl check-config mux.json\n"
    "\n"
    "Run 'muxctl COMMAND --help' for details. Global options may also follow the command.";

const char* const kCommandFooter = "\nGlobal options: see 'muxctl --help'";

const char* const kCheckConfigHelp = "Check configuration files; exit status 0 = valid, 1 = warnings, 2 = unusable";

struct Bounds {
    std::int64_t lowest;
    std::int64_t highest;
};

constexpr Bounds kPorts = {1, 65535};
constexpr Bounds kDurations = {1, 255};
constexpr Bounds kSetupNumbers = {0, 255};
constexpr Bounds kIds = {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
constexpr Bounds kOptions = {0, std::numeric_limits<std::uint32_t>::max()};
constexpr Bounds kCounts = {0, std::numeric_limits<std::int64_t>::max()};

template <typename Number>
CLI::Option* AddInteger(CLI::App& app, const std::string& name, Number& number, const std::string& help,
                        const Bounds& bounds) {
    const auto check = [bounds](const std::string& text) { return CheckInteger(text, bounds.lowest, bounds.highest); };
    return app.add_option(name, number, help)->check(check)->type_name("INT");
}

// Builds the parser, and knows afterwards which command was called.
class Parser {
  public:
    explicit Parser(CommandLine& result) : result_(result), options_(result.options) {
        app_.require_subcommand(1);
        app_.set_version_flag("--version", std::string("muxctl ") + Mux::kVersion, "Print version and exit");
        // Each command takes it over when it is added.
        app_.footer(kCommandFooter);
        AddCommonOptions();
        AddRequests();
        AddOthers();
        app_.footer(kFooter);
    }

    void Parse(int argumentCount, const char* const* arguments) {
        if (argumentCount < 2) {
            std::cerr << app_.help();
            return;
        }
        try {
            app_.parse(argumentCount, arguments);
            Take();
        } catch (const CLI::RequiredError& error) {
            TakeMissing(error);
        } catch (const CLI::ParseError& error) {
            TakeEnd(error);
        }
    }

  private:
    using Command = std::function<int(const Options&, const Console&)>;

    CLI::App& Add(CLI::App& parent, const std::string& name, const std::string& help) {
        return *parent.add_subcommand(name, help)->fallthrough();
    }

    CLI::App& AddCommand(const std::string& name, const std::string& help, const Command& command) {
        CLI::App& subcommand = Add(app_, name, help);
        commands_.emplace_back(&subcommand, command);
        return subcommand;
    }

    void AddCommonOptions() {
        app_.add_option("--host", options_.mux.host, "Name or address of the Mux")->capture_default_str();
        AddInteger(app_, "--port", options_.mux.port, "Port of the Mux", kPorts)->capture_default_str();
        app_.add_option("--timeout", timeoutSeconds_, "Time-out for connecting and for the answer")
            ->check(CheckSeconds)
            ->type_name("SECONDS")
            ->capture_default_str();
        app_.add_flag("--json", options_.json, "Print JSON, one line each");
    }

    void AddRequests() {
        for (const RequestKind& kind : RequestKinds()) {
            CLI::App& subcommand = Add(ParentOf(kind), kind.name, kind.help);
            commands_.emplace_back(&subcommand, [&kind](const Options& options, const Console& console) {
                return RunRequest(kind, options, console);
            });
            AddRequestOptions(subcommand, kind);
        }
    }

    CLI::App& ParentOf(const RequestKind& kind) {
        if (*kind.group == '\0') {
            return app_;
        }
        CLI::App*& group = groups_[kind.group];
        if (group == nullptr) {
            group = &Add(app_, kind.group, "Change the whitelist of a lock");
            group->require_subcommand(1);
        }
        return *group;
    }

    void AddRequestOptions(CLI::App& subcommand, const RequestKind& kind) {
        RequestOptions& request = options_.request;
        AddInteger(subcommand, "--gateway", request.lock.gateway, "ID of the gateway", kIds)->required();
        AddInteger(subcommand, "--lock", request.lock.lock, "ID of the lock", kIds)->required();
        if (kind.takesDuration) {
            AddInteger(subcommand, "--duration", request.duration, "Seconds until it closes, 1 to 255", kDurations)
                ->capture_default_str();
        }
        if (kind.canAnswerEvent) {
            subcommand.add_flag("--event", request.answersEvent, "Send in response to an event of the lock's reader");
        }
        if (kind.takesCard) {
            AddCardOptions(subcommand, request.card);
        }
    }

    static void AddCardOptions(CLI::App& subcommand, MuxClient::Card& card) {
        subcommand.add_option("--card", card.data, "Bytes of the card in hexadecimal, as in events")
            ->required()
            ->check(CheckCard);
        subcommand.add_flag("--uid", card.isUid, "The bytes are the card's UID, at most 10");
        AddInteger(subcommand, "--setup", card.setupNumber, "Setup number, 0 to 255; always 0 with --uid",
                   kSetupNumbers)
            ->capture_default_str();
        AddInteger(subcommand, "--options", card.options, "Option of an added card: 0, or 1 for all other numbers",
                   kOptions)
            ->capture_default_str();
        subcommand.callback([&card] {
            if (card.isUid && card.data.size() > 2 * MuxClient::kLongestUid) {
                throw CLI::ValidationError("--card", "must be at most 10 bytes with --uid");
            }
        });
    }

    void AddOthers() {
        CLI::App& watch = AddCommand("watch", "Print events; reconnect when the Mux returns", RunWatch);
        AddInteger(watch, "--count", options_.eventCount, "Exit after this many events; 0 = never", kCounts)
            ->capture_default_str();
        AddSend();
        AddCommand("configure", "Send a configuration message (currently ignored by the Mux)", RunConfigure)
            .add_option("file", options_.file, "JSON file, - for standard input")
            ->required();
        AddCommand("health", "Check that the Mux answers; exit status 0 = yes, 2 = no", RunHealth);
        AddCheckConfig();
    }

    void AddSend() {
        CLI::App& send = AddCommand("send", "Send a JSON text unchanged", RunSend);
        CLI::Option* const text = send.add_option("text", options_.text, "JSON text to send");
        CLI::Option* const file = send.add_option("--file", options_.file, "File with the text, - for standard input");
        file->excludes(text);
        send.add_flag_callback(
            "--no-answer", [this] { options_.waitsForAnswer = false; }, "Do not wait for an answer");
        send.add_flag("--anyway", options_.sendsUnsafe, "Send even a text that would end the Mux or is never answered");
        send.callback([text, file] {
            if (text->empty() && file->empty()) {
                throw CLI::RequiredError("text or --file");
            }
        });
    }

    void AddCheckConfig() {
        CheckConfigOptions& check = options_.checkConfig;
        CLI::App& command = AddCommand("check-config", kCheckConfigHelp, RunCheckConfig);
        CLI::Option* const paths =
            command.add_option("file", check.paths, "Configuration files, - for standard input; a folder with --all");
        CLI::Option* const all = command.add_flag(
            "--all", check.checksAllSites, "Check all sites of a folder, /etc/dw-hal-mux by default, and their ports");
        command
            .add_flag("--start", check.checksStart,
                      "For the systemd unit; exit status 1 = the Mux must not be started with this file")
            ->excludes(all);
        command.callback([&check, paths] {
            const bool isOne = check.paths.size() == 1;
            if (!isOne && (check.checksStart || (check.checksAllSites && !check.paths.empty()))) {
                throw CLI::ValidationError("check-config",
                                           check.checksStart ? "--start takes one file" : "--all takes one folder");
            }
            if (paths->empty() && !check.checksAllSites) {
                throw CLI::RequiredError("file");
            }
        });
    }

    // The library reports what is missing before the misspelt word that was meant.
    void TakeMissing(const CLI::RequiredError& error) {
        const std::vector<std::string> unknown = app_.remaining(true);
        if (unknown.empty()) {
            TakeEnd(error);
        } else {
            TakeEnd(CLI::ExtrasError({unknown.front()}));
        }
    }

    // Help and version are results too, and a script learns when they cannot be written.
    void TakeEnd(const CLI::ParseError& error) {
        std::ostringstream output;
        if (app_.exit(error, output, std::cerr) == 0) {
            result_.command = [text = output.str()](const Options&, const Console& console) {
                console.Print(text);
                return kAckStatus;
            };
        }
    }

    void Take() {
        options_.timeout = std::chrono::milliseconds(std::llround(timeoutSeconds_ * 1000));
        for (const auto& [subcommand, command] : commands_) {
            if (subcommand->parsed()) {
                result_.command = command;
            }
        }
    }

    CommandLine& result_;
    Options& options_;
    double timeoutSeconds_ = std::chrono::duration<double>(MuxClient::kDefaultTimeout).count();
    CLI::App app_{kDescription, "muxctl"};
    std::map<std::string, CLI::App*> groups_;
    std::vector<std::pair<CLI::App*, Command>> commands_;
};

}  // namespace

CommandLine ParseCommandLine(int argumentCount, const char* const* arguments) {
    CommandLine result;
    Parser(result).Parse(argumentCount, arguments);
    return result;
}

}  // namespace Muxctl
