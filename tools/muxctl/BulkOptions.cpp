#include "tools/muxctl/BulkOptions.h"

#include "tools/muxctl/IntegerOption.h"

namespace Muxctl {

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

void AddCardFileOptions(CLI::App& command, Options& options, GatewayOption& gateway, LockListOption& locks) {
    command.add_option("file", options.file, "Cards as CSV, or the simulator's whitelist file; - for standard input")
        ->required();
    gateway.AddTo(command, "ID of the gateway, or its name in the site, unless the file has it");
    locks.AddTo(command, "ID of the lock, or its name in the site, or several (5,6,7), unless the file has it");
    AddCardDetails(command, options.request.card);
}

void AddLoadOptions(CLI::App& command, Options& options) {
    command.add_flag("--clear", options.clears, "Remove all cards of each lock first");
    command.add_flag("--resume", options.resumes, "Continue an unfinished load");
}

}  // namespace Muxctl
