#include "tools/muxctl/BulkOptions.h"

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "tools/muxctl/IntegerOption.h"

namespace Muxctl {
namespace {

// A comma behind the last part begins an empty one.
std::vector<std::string> PartsOf(const std::string& list) {
    std::vector<std::string> parts;
    std::istringstream stream(list + ",");
    for (std::string part; std::getline(stream, part, ',');) {
        parts.push_back(part);
    }
    return parts;
}

std::string CheckLocks(const std::string& list) {
    std::string fault;
    for (const std::string& part : PartsOf(list)) {
        fault = fault.empty() ? CheckId(part) : fault;
    }
    return fault;
}

std::vector<std::int32_t> ReadLocks(const std::string& list) {
    std::vector<std::int32_t> locks;
    for (const std::string& part : PartsOf(list)) {
        locks.push_back(static_cast<std::int32_t>(std::stol(part)));
    }
    return locks;
}

}  // namespace

CLI::Option* AddLocks(CLI::App& command, RequestOptions& request) {
    const auto take = [&request](const std::string& list) {
        request.locks = ReadLocks(list);
        request.lock.lock = request.locks.front();
    };
    return command
        .add_option_function<std::string>("-l,--lock", take,
                                          "ID of the lock, or of several, one after the other: 5,6,7")
        ->check(CheckLocks)
        ->type_name("INT[,INT...]");
}

void AddCardDetails(CLI::App& command, MuxClient::Card& card) {
    command.add_flag("--uid", card.isUid, "The bytes are the card's UID, at most 10");
    AddInteger(command, "--setup", card.setupNumber, "Setup number, 0 to 255; always 0 with --uid", kSetupNumbers)
        ->capture_default_str();
    AddInteger(command, "--options", card.options, "Option of an added card: 0, or 1 for all other numbers", kOptions)
        ->capture_default_str();
}

void AddHealthOptions(CLI::App& command, Options& options, GatewayOption& gateway) {
    CLI::Option* const one = gateway.AddTo(command, "Check this gateway too: its ID, or its name in the site");
    command.add_flag("--all", options.checksAll, "Check every gateway of --site or --config too")->excludes(one);
}

void AddBatchOptions(CLI::App& command, Options& options) {
    command.add_option("file", options.file, "File with one request per line, - for standard input")->required();
    command.add_flag("--keep-going", options.keepsGoing, "Go on after a NACK or a missing answer");
}

void AddCardFileOptions(CLI::App& command, Options& options, GatewayOption& gateway) {
    command.add_option("file", options.file, "Cards as CSV, or the simulator's whitelist file; - for standard input")
        ->required();
    gateway.AddTo(command, "ID of the gateway, or its name in the site, unless the file has it");
    AddLocks(command, options.request)->description("ID of the lock, or of several (5,6,7), unless the file has it");
    AddCardDetails(command, options.request.card);
}

void AddLoadOptions(CLI::App& command, Options& options) {
    command.add_flag("--clear", options.clears, "Remove all cards of each lock first");
    command.add_flag("--resume", options.resumes, "Continue an unfinished load");
}

}  // namespace Muxctl
