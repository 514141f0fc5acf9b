#include "tools/muxctl/SignOptions.h"

#include "tools/muxctl/BulkOptions.h"
#include "tools/muxctl/IntegerOption.h"
#include "tools/muxctl/NearestWord.h"
#include "tools/muxctl/OptionChecks.h"
#include "tools/muxctl/SignedOperation.h"

namespace Muxctl {
namespace {

constexpr Bounds kValidities = {1, 300};
constexpr Bounds kSignedDurations = {1, 255};

std::string CheckOperation(const std::string& text) {
    std::vector<std::string_view> names;
    for (const SignedOperation& operation : SignedOperations()) {
        if (operation.name == text) {
            return "";
        }
        names.emplace_back(operation.name);
    }
    const std::string_view nearest = NearestWord(text, names);
    return "is not " + text + (nearest.empty() ? "" : "; did you mean " + std::string(nearest) + "?");
}

void AddKid(CLI::App& command, Options& options, const std::string& help, bool isRequired) {
    command.add_option("--kid", options.sign.kid, help)->type_name("NAME")->required(isRequired);
}

void AddCard(CLI::App& command, Options& options) {
    MuxClient::Card& card = options.request.card;
    command.add_option("--card", card.data, "Bytes of the card in hexadecimal, as in events")->check(CheckCard);
    AddCardDetails(command, card);
}

}  // namespace

void AddSignOptions(CLI::App& command, Options& options, LockOptions& lock) {
    SignOptions& sign = options.sign;
    command.add_option("operation", sign.operation, "Operation, such as: open, event-open, whitelist-add")
        ->required()
        ->check(CheckOperation);
    lock.AddTo(command);
    command.add_option("--audience", sign.audience, "Site that the command is for: \"Site\" in its proxy's file")
        ->required()
        ->type_name("NAME");
    command.add_option("--signing-key", sign.key, "Private key as JWK, or in PEM without a password")
        ->required()
        ->type_name("FILE");
    AddKid(command, options, "Identifier of the key, unless its file has it", false);
    AddInteger(command, "--valid-for", sign.validSeconds, "Seconds until it expires, 1 to 300", kValidities)
        ->capture_default_str();
    CLI::Option* const duration = AddInteger(command, "-d,--duration", options.request.duration,
                                             "Seconds until it closes, 1 to 255", kSignedDurations);
    duration->capture_default_str();
    AddCard(command, options);
    command.callback([&command, &options] { options.sign.hasDuration = command.count("--duration") > 0; });
}

void AddNewKeyOptions(CLI::App& command, Options& options) {
    command.add_option("file", options.file, "File for the private key; must not exist")->required();
    AddKid(command, options, "Identifier of the key: the client's name", true);
}

}  // namespace Muxctl
