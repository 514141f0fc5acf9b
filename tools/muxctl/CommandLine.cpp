#include "tools/muxctl/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

#include "mux/Version.h"
#include "tools/muxctl/AddressOptions.h"
#include "tools/muxctl/BulkOptions.h"
#include "tools/muxctl/Commands.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/IntegerOption.h"
#include "tools/muxctl/OptionChecks.h"
#include "tools/muxctl/SignOptions.h"
#include "tools/muxctl/UsageError.h"
#include "tools/muxctl/UsageFault.h"

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
    "  muxctl open --site hall \"Front door\"\n"
    "  muxctl open-close --gateway 1 --lock 5 --duration 5 --event\n"
    "  muxctl whitelist add --gateway 1 --lock 5 --card 04A1B2C3 --uid --options 1\n"
    "  muxctl --host 192.168.1.2 watch --json\n"
    "  muxctl send '{\"MessageID\":\"a1\",\"MessageCode\":12,\"Data\":{\"gatewayID\":1,\"lockID\":5}}'\n"
    "  muxctl check-config mux.json\n"
    "\n"
    "Run 'muxctl help COMMAND' for details. Global options may also follow the command.";

const char* const kVersionHelp = "Print version and exit";

const char* const kCommandFooter = "\nGlobal options: see 'muxctl --help'";

const char* const kCheckConfigHelp = "Check configuration files; exit status 0 = valid, 1 = warnings, 2 = unusable";

const char* const kHealthHelp = "Check that the Mux, and gateways, answer; exit status 0 = all, 1 = not all, 2 = none";

constexpr Bounds kDurations = {1, 255};
constexpr Bounds kCounts = {0, std::numeric_limits<std::int64_t>::max()};

std::string VersionText() {
    return std::string("muxctl ") + Mux::kVersion;
}

// Builds the parser, and knows afterwards which command was called.
class Parser {
  public:
    explicit Parser(CommandLine& result) : result_(result), options_(result.options) {
        app_.require_subcommand(1);
        app_.set_version_flag("-V,--version", VersionText(), kVersionHelp);
        // Each command takes it over when it is added.
        app_.footer(kCommandFooter);
        AddCommonOptions();
        AddRequests();
        AddCardFiles();
        AddOthers();
        AddInformation();
        app_.footer(kFooter);
    }

    // For a line of a batch: requests only.
    Parser(CommandLine& result, const Options& common) : result_(result), options_(result.options) {
        options_ = common;
        options_.request = {};
        app_.require_subcommand(1);
        app_.set_help_flag();
        AddRequests();
    }

    // Throws UsageError.
    std::vector<RequestStep> ParseRequest(const std::vector<std::string>& words) {
        try {
            app_.parse(std::vector<std::string>(words.rbegin(), words.rend()));
            lock_.Take();
        } catch (const CLI::ParseError& error) {
            throw UsageError(UsageFault(app_, error, words));
        }
        const auto& kinds = RequestKinds();
        const auto isMeant = [this](const RequestKind& kind) { return ParentOf(kind).got_subcommand(kind.name); };
        return StepsFor(*std::find_if(kinds.begin(), kinds.end(), isMeant), options_.request);
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
            TakeEnd(error, {arguments + 1, arguments + argumentCount});
        } catch (const SiteError& error) {
            TakeSiteError(error);
        } catch (const UsageError& error) {
            Complain(error.what());
        }
    }

  private:
    using Command = std::function<int(const Options&, const Console&)>;

    CLI::App& Add(CLI::App& parent, const std::string& name, const std::string& help) {
        return *parent.add_subcommand(name, help)->fallthrough();
    }

    CLI::App& AddCommand(const std::string& name, const std::string& help, const Command& command) {
        return AddCommandTo(app_, name, help, command);
    }

    CLI::App& AddCommandTo(CLI::App& parent, const std::string& name, const std::string& help, const Command& command) {
        CLI::App& subcommand = Add(parent, name, help);
        commands_.emplace_back(&subcommand, command);
        return subcommand;
    }

    void AddCommonOptions() {
        mux_.AddTo(app_);
        timeout_ = app_.add_option("-t,--timeout", timeoutSeconds_,
                                   "Time-out for connecting and for the answer; with TLS 21 by default")
                       ->check(CheckSeconds)
                       ->type_name("SECONDS")
                       ->capture_default_str();
        app_.add_flag("-j,--json", options_.json, "Print JSON, one line each");
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
            group = &Add(app_, kind.group, "Change the whitelist of a lock, which cannot be read back");
            group->require_subcommand(1);
        }
        return *group;
    }

    void AddRequestOptions(CLI::App& subcommand, const RequestKind& kind) {
        RequestOptions& request = options_.request;
        lock_.AddTo(subcommand);
        if (kind.takesDuration) {
            AddInteger(subcommand, "-d,--duration", request.duration, "Seconds until it closes, 1 to 255", kDurations)
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
        AddCardDetails(subcommand, card);
        subcommand.callback([&card] {
            if (card.isUid && card.data.size() > 2 * MuxClient::kLongestUid) {
                throw CLI::ValidationError("--card", "must be at most 10 bytes with --uid");
            }
        });
    }

    void AddOthers() {
        CLI::App& watch = AddCommand("watch", "Print events; reconnect when the Mux returns", RunWatch);
        AddInteger(watch, "-n,--count", options_.eventCount, "Exit after this many events; 0 = never", kCounts)
            ->capture_default_str();
        watch.add_flag("--show-pins", options_.showsPins, "Print PINs, which are otherwise masked");
        AddSend();
        takesForeignPort_.push_back(
            &AddCommand("locks", "List the gateways and locks of --site or --config", RunLocks));
        CLI::App& health = AddCommand("health", kHealthHelp, RunHealth);
        AddHealthOptions(health, options_, gateway_);
        // It reports what is wrong with the site's port itself.
        takesForeignPort_.push_back(&health);
        health_ = &health;
        AddBatchOptions(AddCommand("batch", "Send the requests of a file, one after the other", RunBatch), options_);
        AddCheckConfig();
        AddSigning();
    }

    void AddSigning() {
        CLI::App& sign = AddCommand("sign", "Print a signed command, to be published over MQTT", RunSign);
        AddSignOptions(sign, options_, lock_);
        CLI::App& newKey =
            AddCommand("new-key", "Make a key for sign; print the public key for the site's set", RunNewKey);
        AddNewKeyOptions(newKey, options_);
        takesForeignPort_.insert(takesForeignPort_.end(), {&sign, &newKey});
    }

    void AddInformation() {
        AddCommand("version", kVersionHelp, [](const Options&, const Console& console) {
            console.PrintLine(VersionText());
            return kAckStatus;
        });
        help_ = &Add(app_, "help", "Print the help of a command");
        help_->add_option("command", helpWords_, "Command, such as: whitelist add");
    }

    void AddCardFiles() {
        CLI::App& whitelist = *groups_.at("whitelist");
        CLI::App& load =
            AddCommandTo(whitelist, "load", "Enable whitelists and add the cards of a file", RunWhitelistLoad);
        AddCardFileOptions(load, options_, gateway_, locks_);
        AddLoadOptions(load, options_);
        CLI::App& check = AddCommandTo(whitelist, "check", "Check a file for load", RunWhitelistCheck);
        AddCardFileOptions(check, options_, gateway_, locks_);
        takesForeignPort_.push_back(&check);
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

    static void Complain(const std::string& text) { std::cerr << "muxctl: " << Printable(text) << std::endl; }

    void TakeEnd(const CLI::ParseError& error, const std::vector<std::string>& words) {
        if (error.get_exit_code() != 0) {
            Complain(UsageFault(app_, error, words));
            std::cerr << "Run '" << CalledCommandName(app_) << " --help' for details\n";
            return;
        }
        std::ostringstream output;
        app_.exit(error, output, output);
        TakeText(output.str());
    }

    // A monitor reads from standard output why a site is not well, and knows no other status than 0 to 3.
    void TakeSiteError(const SiteError& error) {
        if (health_ == nullptr || !health_->parsed()) {
            Complain(error.what());
            return;
        }
        result_.command = [text = std::string(error.what())](const Options&, const Console& console) {
            console.PrintLine("CRITICAL - " + Printable(text));
            return kNoAnswerStatus;
        };
    }

    // Help and version are results too, and a script learns when they cannot be written.
    void TakeText(const std::string& text) {
        result_.command = [text](const Options&, const Console& console) {
            console.Print(text);
            return kAckStatus;
        };
    }

    void Take() {
        mux_.Take();
        options_.hasDefaultTimeout = timeout_->count() == 0;
        options_.timeout = options_.hasDefaultTimeout ? MuxClient::DefaultTimeout(options_.mux)
                                                      : std::chrono::milliseconds(std::llround(timeoutSeconds_ * 1000));
        gateway_.Take();
        locks_.Take();
        lock_.Take();
        CheckPort();
        for (const auto& [subcommand, command] : commands_) {
            if (subcommand->parsed()) {
                result_.command = command;
            }
        }
        if (help_->parsed()) {
            TakeText(HelpOfCommand(app_, helpWords_));
        }
    }

    // A command that connects would operate another site's locks.
    void CheckPort() const {
        const bool isTaken = std::any_of(takesForeignPort_.begin(), takesForeignPort_.end(),
                                         [](const CLI::App* command) { return command->parsed(); });
        if (!options_.foreignPort.empty() && !isTaken) {
            throw UsageError(options_.foreignPort);
        }
    }

    CommandLine& result_;
    Options& options_;
    double timeoutSeconds_ = std::chrono::duration<double>(MuxClient::kDefaultTimeout).count();
    MuxOptions mux_{options_};
    GatewayOption gateway_{options_};
    LockListOption locks_{options_};
    LockOptions lock_{options_};
    CLI::App app_{kDescription, "muxctl"};
    CLI::Option* timeout_ = nullptr;
    CLI::App* help_ = nullptr;
    CLI::App* health_ = nullptr;
    std::vector<std::string> helpWords_;
    std::map<std::string, CLI::App*> groups_;
    std::vector<std::pair<CLI::App*, Command>> commands_;
    // Commands that may be called though the site's port is another's: they do not connect to it.
    std::vector<CLI::App*> takesForeignPort_;
};

}  // namespace

CommandLine ParseCommandLine(int argumentCount, const char* const* arguments) {
    CommandLine result;
    Parser(result).Parse(argumentCount, arguments);
    return result;
}

std::vector<RequestStep> ParseRequest(const std::vector<std::string>& words, const Options& common) {
    CommandLine line;
    return Parser(line, common).ParseRequest(words);
}

}  // namespace Muxctl
