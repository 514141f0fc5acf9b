#include "proxy/Commands.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "mux/Version.h"

#include "proxy/Server.h"
#include "proxy/configuration/ConfigurationReader.h"

namespace MuxProxy {
namespace {

constexpr const char* kServicesProgram = "libexec/dw-hal-mux-proxy/mux-proxy";

std::string NumbersText(const NumberSet& numbers) {
    std::string text;
    for (const NumberSet::Range& range : numbers.Ranges()) {
        text += text.empty() ? "" : ", ";
        if (range.first == INT32_MIN && range.last == INT32_MAX) {
            return "all";
        }
        text += std::to_string(range.first);
        if (range.first != range.last) {
            text += "-" + std::to_string(range.last);
        }
    }
    return text.empty() ? "none" : text;
}

std::string RightsText(const RightSet& rights) {
    std::string text;
    for (std::size_t i = 0; i < kRightCount; ++i) {
        if (rights.test(i)) {
            text.append(text.empty() ? "" : ", ").append(RightName(static_cast<Right>(i)));
        }
    }
    return text;
}

// Beside this program where it is built, and where packages install it.
std::string ServicesProgram() {
    const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const std::filesystem::path built = folder / kServicesProgram;
    return std::filesystem::exists(built) ? built : folder.parent_path() / kServicesProgram;
}

// Without a command it runs.
int ParseAndRun(int argumentCount, char** arguments, const ServiceKit* kit) {
    CLI::App app("Protected entrance of the Mux: TLS, rights, one answer for each request, and an audit.\n",
                 "mux-proxy");
    app.set_version_flag("--version", std::string("mux-proxy ") + Mux::kVersion, "Print version and exit");
    Commands commands(app, arguments, kit);
    try {
        app.parse(argumentCount, arguments);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kUsageStatus;
    }
    return commands.Run();
}

}  // namespace

int RunProgram(int argumentCount, char** arguments, const ServiceKit* kit) {
    try {
        return ParseAndRun(argumentCount, arguments, kit);
    } catch (const std::exception& error) {
        std::cerr << "mux-proxy: " << error.what() << '\n';
        return kFailureStatus;
    }
}

Commands::Commands(CLI::App& app, char** arguments, const ServiceKit* kit) : arguments_(arguments), kit_(kit) {
    app.require_subcommand(0, 1);
    app.fallthrough();
    app.add_option("--config", file_, "Configuration file")->required()->type_name("FILE");
    app.add_flag("--check", onlyChecks_, "Say what is wrong with the file and what it names, and exit");
    rights_ = app.add_subcommand("rights", "Print what a client may do")->fallthrough();
    rights_->add_option("--client", client_, "Common name of the client's certificate")->required()->type_name("NAME");
    user_ = app.add_subcommand("user", "Set the password of a user of the page, or remove the user")->fallthrough();
    user_->add_option("name", userName_, "Name of the user, as in rules")->required()->type_name("NAME");
    user_->add_flag("--remove", isUserToGo_, "Remove the user");
    audit_ = AddAuditCommand(app, [this] { return LoadConfiguration(file_).audit.file; });
}

int Commands::Run() {
    if (rights_->parsed()) {
        return PrintRights();
    }
    if (audit_.app->parsed()) {
        return audit_.run(std::cout);
    }
    if (user_->parsed()) {
        return ChangeUser();
    }
    TakeServices();
    return onlyChecks_ ? Check() : Serve();
}

// What is wrong with the file is for this program to say. The process stays the same.
void Commands::TakeServices() const {
    if (kit_ != nullptr || !ReadConfiguration(ReadConfigurationFile(file_)).configuration.NeedsServices()) {
        return;
    }
    BecomeServices();
}

void Commands::BecomeServices() const {
    const std::string program = ServicesProgram();
    execv(program.c_str(), arguments_);
    throw std::runtime_error("cannot run " + program +
                             ", which Mqtt, Metrics and Web need: " + std::generic_category().message(errno));
}

int Commands::Serve() {
    Server server(
        LoadConfiguration(file_), [this] { return LoadConfiguration(file_); }, kit_);
    // What was freed after the start goes back to the system.
    malloc_trim(0);
    server.Run();
    return 0;
}

int Commands::Check() {
    const std::vector<Finding> findings = CheckConfiguration(file_, kit_ == nullptr ? nullptr : kit_->check);
    for (const Finding& finding : findings) {
        std::cout << FindingText(file_, finding) << '\n';
    }
    const bool hasError =
        std::any_of(findings.begin(), findings.end(), [](const Finding& finding) { return finding.isError; });
    if (findings.empty()) {
        std::cout << file_ << ": no findings\n";
    }
    return hasError ? kFailureStatus : 0;
}

int Commands::PrintRights() {
    const Rights rights(LoadConfiguration(file_).rules);
    const std::vector<const Rule*> rules = rights.RulesOf(client_);
    for (const Rule* const rule : rules) {
        std::cout << "gateways " << NumbersText(rule->gateways) << ", locks " << NumbersText(rule->locks) << ": "
                  << RightsText(rule->rights) << '\n';
    }
    if (rules.empty()) {
        std::cout << "no rule names " << client_ << ": it may do nothing\n";
    }
    return 0;
}

int Commands::ChangeUser() {
    const std::optional<WebSettings> web = LoadConfiguration(file_).web;
    if (!web || web->users.empty()) {
        throw std::runtime_error(file_ + ": Web/Users is missing, which names the file of users");
    }
    if (kit_ == nullptr) {
        BecomeServices();
    }
    (isUserToGo_ ? kit_->removeUser : kit_->setUser)(web->users, userName_);
    std::cout << web->users << (isUserToGo_ ? ": removed " : ": set the password of ") << userName_
              << "; reload the proxy\n";
    return 0;
}

}  // namespace MuxProxy
