// sign and new-key.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <sstream>
#include <string>
#include <system_error>

#include "tools/client/MessageId.h"
#include "tools/jose/SigningKey.h"
#include "tools/json/InputError.h"
#include "tools/muxctl/Commands.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/InputFile.h"
#include "tools/muxctl/JsonLines.h"
#include "tools/muxctl/SignedOperation.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

constexpr mode_t kKeyMode = 0600;
constexpr double kMillisecondsPerSecond = 1000;

const SignedOperation& OperationOf(const Options& options) {
    const auto& all = SignedOperations();
    return *std::find_if(all.begin(), all.end(),
                         [&](const SignedOperation& operation) { return operation.name == options.sign.operation; });
}

// The parser knows one set of options for all operations.
void CheckOptionsOf(const SignedOperation& operation, const Options& options) {
    const MuxClient::Card& card = options.request.card;
    if (options.request.locks.size() != 1) {
        throw UsageError("sign takes one lock");
    }
    if (options.sign.hasDuration && !operation.kind->takesDuration) {
        throw UsageError(operation.name + " takes no --duration");
    }
    if (card.data.empty() == operation.kind->takesCard) {
        throw UsageError(operation.name + (card.data.empty() ? " requires --card" : " takes no --card"));
    }
    if (card.isUid && card.data.size() > 2 * MuxClient::kLongestUid) {
        throw UsageError("--card: must be at most 10 bytes with --uid");
    }
}

void WriteTimes(JsonWriter& writer, std::uint32_t validSeconds) {
    using std::chrono::milliseconds;
    const auto now = std::chrono::time_point_cast<milliseconds>(std::chrono::system_clock::now()).time_since_epoch();
    writer.Key("iat");
    writer.Double(static_cast<double>(now.count()) / kMillisecondsPerSecond);
    writer.Key("exp");
    writer.Double(static_cast<double>((now + std::chrono::seconds(validSeconds)).count()) / kMillisecondsPerSecond);
}

void WriteCardClaims(JsonWriter& writer, const MuxClient::Card& card) {
    Write(writer, "card", card.data);
    writer.Key("uid");
    writer.Bool(card.isUid);
    writer.Key("setup");
    writer.Uint(card.setupNumber);
    writer.Key("options");
    writer.Uint(card.options != 0 ? 1 : 0);
}

std::string ClaimsText(const SignedOperation& operation, const Options& options) {
    const MuxClient::LockAddress lock = options.request.locks.front();
    std::ostringstream text;
    rapidjson::OStreamWrapper stream(text);
    JsonWriter writer(stream);
    writer.StartObject();
    WriteTimes(writer, options.sign.validSeconds);
    Write(writer, "aud", options.sign.audience);
    writer.Key("gateway");
    writer.Int(lock.gateway);
    writer.Key("lock");
    writer.Int(lock.lock);
    Write(writer, "jti", MuxClient::NewMessageId());
    Write(writer, "operation", operation.name);
    if (operation.kind->takesDuration) {
        writer.Key("duration");
        writer.Uint(options.request.duration);
    }
    if (operation.kind->takesCard) {
        WriteCardClaims(writer, options.request.card);
    }
    writer.EndObject();
    return text.str();
}

Jose::SigningKey ReadSigningKey(const SignOptions& sign) {
    const std::string text = ReadWholeFile(sign.key);
    try {
        return Jose::SigningKey::FromText(InputName(sign.key), text, sign.kid);
    } catch (const Tools::InputError& error) {
        throw UsageError(error.what());
    }
}

Jose::SigningKey NewKey(const std::string& kid) {
    try {
        return Jose::SigningKey::New(kid);
    } catch (const Tools::InputError& error) {
        throw UsageError(error.what());
    }
}

[[noreturn]] void FailToWrite(const std::string& path, int reason) {
    throw UsageError(path + " cannot be written: " + std::generic_category().message(reason));
}

// Never replaces a file: that may be a key which a site knows.
void WriteNewFile(const std::string& path, const std::string& text) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kKeyMode);
    if (file < 0) {
        FailToWrite(path, errno);
    }
    const bool isWritten =
        write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && fsync(file) == 0;
    const int reason = isWritten ? 0 : errno;
    close(file);
    if (!isWritten) {
        unlink(path.c_str());
        FailToWrite(path, reason);
    }
}

}  // namespace

int RunSign(const Options& options, const Console& console) {
    const SignedOperation& operation = OperationOf(options);
    CheckOptionsOf(operation, options);
    console.PrintLine(ReadSigningKey(options.sign).Sign(ClaimsText(operation, options)));
    return kAckStatus;
}

int RunNewKey(const Options& options, const Console& console) {
    const Jose::SigningKey key = NewKey(options.sign.kid);
    WriteNewFile(options.file, key.PrivateJwk() + "\n");
    console.PrintLine(key.PublicJwk());
    return kAckStatus;
}

}  // namespace Muxctl
