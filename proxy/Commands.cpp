#include "proxy/Commands.h"

#include <algorithm>
#include <iostream>

#include "proxy/Server.h"
#include "proxy/configuration/ConfigurationReader.h"

namespace MuxProxy {
namespace {

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

}  // namespace

Commands::Commands(CLI::App& app) {
    app.require_subcommand(0, 1);
    app.fallthrough();
    app.add_option("--config", file_, "Configuration file")->required()->type_name("FILE");
    app.add_flag("--check", onlyChecks_, "Say what is wrong with the file and what it names, and exit");
    rights_ = app.add_subcommand("rights", "Print what a client may do")->fallthrough();
    rights_->add_option("--client", client_, "Common name of the client's certificate")->required()->type_name("NAME");
    audit_ = AddAuditCommand(app, [this] { return LoadConfiguration(file_).audit.file; });
}

int Commands::Run() {
    if (rights_->parsed()) {
        return PrintRights();
    }
    if (audit_.app->parsed()) {
        return audit_.run(std::cout);
    }
    return onlyChecks_ ? Check() : Serve();
}

int Commands::Serve() {
    Server server(LoadConfiguration(file_), [this] { return LoadConfiguration(file_); });
    server.Run();
    return 0;
}

int Commands::Check() {
    const std::vector<Finding> findings = CheckConfiguration(file_);
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

}  // namespace MuxProxy
