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
    "Talks to the Mux: operates locks, shows the events of their readers, and looks after the Mux itself.\n";

const char* const kFooter =
    "\n"
    "Exit status: 0 ACK, 1 NACK, 2 no answer or no connection, and it may have been done all the same, 64 wrong "
    "usage.\n"
    "\n"
    "Examples:\n"
    "  muxctl open --gateway 1 --lock 5\n"
    "  muxctl open-close --gateway 1 --lock 5 --duration 5 --event\n"
    "  muxctl whitelist add --gateway 1 --lock 5 --card 04A1B2C3 --uid --options 1\n"
    "  muxctl --host 192.168.1.2 watch --json\n"
    "  muxctl send '{\"MessageID\":\"a1\",\"MessageCode\":12,\"Data\":{\"gatewayID\":1,\"lockID\":5}}'\n"
    "  muxctl check-config mux.json\n"
    "\n"
    "\"muxctl COMMAND --help\" tells more about a command; --host, --port, --timeout and --json may stand behind it "
    "too.";

const char* const kCommandFooter = "\n--host, --port, --timeout, --json: see \"muxctl --help\".";

const char* const kCheckConfigHelp =
    "check a configuration file: exit status 0 when it is fine, 1 with warnings, 2 when the Mux cannot use it";

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
        app_.set_version_flag("--version", std::string("muxctl ") + Mux::kVersion, "tell the version and end");
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
        app_.add_option("--host", options_.mux.host, "name or address of the Mux")->capture_default_str();
        AddInteger(app_, "--port", options_.mux.port, "port of the Mux", kPorts)->capture_default_str();
        app_.add_option("--timeout", timeoutSeconds_, "how long to wait for a connection, and for an answer")
            ->check(CheckSeconds)
            ->type_name("SECONDS")
            ->capture_default_str();
        app_.add_flag("--json", options_.json, "JSON, one line each, in place of text for people");
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
            group = &Add(app_, kind.group, "change the whitelist of a lock");
            group->require_subcommand(1);
        }
        return *group;
    }

    void AddRequestOptions(CLI::App& subcommand, const RequestKind& kind) {
        RequestOptions& request = options_.request;
        AddInteger(subcommand, "--gateway", request.lock.gateway, "ID of the gateway", kIds)->required();
        AddInteger(subcommand, "--lock", request.lock.lock, "ID of the lock", kIds)->required();
        if (kind.takesDuration) {
            AddInteger(subcommand, "--duration", request.duration, "seconds until it closes again, 1 to 255",
                       kDurations)
                ->capture_default_str();
        }
        if (kind.canAnswerEvent) {
            subcommand.add_flag("--event", request.answersEvent, "as the answer to an event of the lock's reader");
        }
        if (kind.takesCard) {
            AddCardOptions(subcommand, request.card);
        }
    }

    static void AddCardOptions(CLI::App& subcommand, MuxClient::Card& card) {
        subcommand.add_option("--card", card.data, "the card's bytes in hexadecimal, as events have them")
            ->required()
            ->check(CheckCard);
        subcommand.add_flag("--uid", card.isUid, "the bytes are the card's UID, at most 10");
        AddInteger(subcommand, "--setup", card.setupNumber, "setup number, 0 to 255; always 0 with --uid",
                   kSetupNumbers)
            ->capture_default_str();
        AddInteger(subcommand, "--options", card.options, "whitelist option of an added card: 0, or 1 for all others",
                   kOptions)
            ->capture_default_str();
        subcommand.callback([&card] {
            if (card.isUid && card.data.size() > 2 * MuxClient::kLongestUid) {
                throw CLI::ValidationError("--card", "is longer than a UID, which has at most 10 bytes");
            }
        });
    }

    void AddOthers() {
        CLI::App& watch =
            AddCommand("watch", "print events as they come; goes on when the Mux goes away and comes back", RunWatch);
        AddInteger(watch, "--count", options_.eventCount, "end after so many events; 0 for never", kCounts)
            ->capture_default_str();
        AddSend();
        AddCommand("configure", "send a configuration, which the Mux neither answers nor acts on", RunConfigure)
            .add_option("file", options_.file, "JSON file, - for standard input")
            ->required();
        AddCommand("health", "see whether the Mux answers: exit status 0, or 2 when it does not", RunHealth);
        AddCommand("check-config", kCheckConfigHelp, RunCheckConfig)
            .add_option("file", options_.file, "configuration file, - for standard input")
            ->required();
    }

    void AddSend() {
        CLI::App& send = AddCommand("send", "send a JSON text as it is", RunSend);
        CLI::Option* const text = send.add_option("text", options_.text, "the text");
        CLI::Option* const file = send.add_option("--file", options_.file, "file with the text, - for standard input");
        file->excludes(text);
        send.add_flag_callback(
            "--no-answer", [this] { options_.waitsForAnswer = false; }, "do not wait for an answer");
        send.callback([text, file] {
            if (text->empty() && file->empty()) {
                throw CLI::RequiredError("text or --file");
            }
        });
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
