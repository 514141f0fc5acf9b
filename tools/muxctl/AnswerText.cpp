#include "tools/muxctl/AnswerText.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <ctime>
#include <vector>

#include "json/Reading.h"
#include "json/Tree.h"
#include "tools/muxctl/Characters.h"
#include "tools/muxctl/Seconds.h"

namespace Muxctl {
namespace {

using MuxClient::LockStatus;
using MuxClient::Message;
using MuxClient::MessageCode;

constexpr std::size_t kLabelWidth = 22;
constexpr const char* kIndentation = "      ";

constexpr std::array kBatteryTexts = {"not available", "resistance too high", "medium", "full"};
constexpr std::array kBatteryLevelTexts = {"below 80 %", "80 % or more", "90 % or more", "95 % or more"};

// The number itself when there is no text for it.
template <std::size_t Size>
std::string TextFor(std::int32_t number, const std::array<const char*, Size>& texts) {
    const bool isKnown = number >= 0 && static_cast<std::size_t>(number) < Size;
    return isKnown ? texts.at(static_cast<std::size_t>(number)) : std::to_string(number);
}

std::string YesOrNo(bool flag) {
    return flag ? "yes" : "no";
}

std::string StatusText(const LockStatus& status) {
    const std::vector<std::pair<const char*, std::string>> rows = {
        {"battery", TextFor(status.batteryStatus, kBatteryTexts)},
        {"battery level", TextFor(status.qualityOfService, kBatteryLevelTexts)},
        {"battery warning", YesOrNo(status.batteryWarningLevel)},
        {"battery alarm", YesOrNo(status.batteryAlarmLevel)},
        {"mechanical active", YesOrNo(status.mechanicalActive)},
        {"reader connected", YesOrNo(status.readerConnected)},
        {"Scandinavian fire mode", YesOrNo(status.scandinavianFireMode)},
        // Which is what people ask the status for.
        {"open or closed", "not reported; send close to be sure"},
    };
    std::string text;
    for (const auto& [label, value] : rows) {
        text.append("\n").append(kIndentation).append(Padded(label, kLabelWidth)).append("  ").append(value);
    }
    return text;
}

// Reasons may end in a blank; a gateway's result 5 has none at all.
std::string ReasonText(const MuxClient::Refusal& refusal) {
    std::string reason = Printable(refusal.message);
    reason.erase(reason.find_last_not_of(' ') + 1);
    if (reason.empty()) {
        reason = "no reason given";
    }
    return refusal.errorCode == 0 ? reason : reason + " [error " + std::to_string(refusal.errorCode) + "]";
}

// The number itself when it is no time of this system, which may count its seconds in 32 bits.
std::string LocalTimeText(std::int64_t timestamp) {
    const auto time = static_cast<std::time_t>(timestamp);
    std::tm local = {};
    if (time != timestamp || localtime_r(&time, &local) == nullptr) {
        return std::to_string(timestamp);
    }
    std::array<char, 64> text = {};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local)};
}

struct EventName {
    MessageCode code;
    const char* name;
};

constexpr std::array kEventNames = {
    EventName{MessageCode::kAccessAllowed, "access allowed"},
    EventName{MessageCode::kCardReader, "card at reader"},
    EventName{MessageCode::kInfo, "PIN entered"},
};
constexpr std::size_t kEventNameWidth = 14;
constexpr const char* kMask = "****";

std::string NameOfEvent(MessageCode code) {
    const auto hasCode = [code](const EventName& row) { return row.code == code; };
    const auto found = std::find_if(kEventNames.begin(), kEventNames.end(), hasCode);
    return found == kEventNames.end() ? "event" : found->name;
}

// The bytes as characters when all of them are digits, as those of a PIN are; empty otherwise.
std::string DigitsIn(const std::string& hex) {
    std::string digits;
    for (std::size_t index = 0; index + 1 < hex.size(); index += 2) {
        if (hex.at(index) != '3' || std::isdigit(static_cast<unsigned char>(hex.at(index + 1))) == 0) {
            return "";
        }
        digits += hex.at(index + 1);
    }
    return digits;
}

std::string PinText(const std::string& data, Pins pins) {
    if (data.empty() || pins == Pins::kMasked) {
        return data.empty() ? "(empty)" : kMask;
    }
    const std::string digits = DigitsIn(data);
    return digits.empty() ? Printable(data) + " (not digits)" : digits;
}

// All members of this name, of which a reader may take any.
template <typename Visit>
void ForEachMember(rapidjson::Value& value, const std::string& name, const Visit& visit) {
    if (value.IsObject()) {
        for (auto& member : value.GetObject()) {
            if (Json::StringOf(member.name) == name) {
                visit(member.value);
            }
        }
    }
}

std::string WithMaskedPin(const std::string& text) {
    rapidjson::Document document;
    Json::Parse(text, document);
    ForEachMember(document, "Data", [](rapidjson::Value& data) {
        ForEachMember(data, "RFIDData", [](rapidjson::Value& pin) {
            if (!pin.IsString() || pin.GetStringLength() > 0) {
                pin.SetString(rapidjson::StringRef(kMask));
            }
        });
    });
    return Json::Text(document);
}

}  // namespace

std::string AnswerText(const Message& answer, const std::string& request, std::chrono::milliseconds elapsed,
                       const Style& style) {
    const std::string result =
        answer.IsAck() ? style.Paint(Colour::kGreen, "ACK") + "   " : style.Paint(Colour::kRed, "NACK") + "  ";
    const std::string reason = answer.refusal ? ": " + ReasonText(*answer.refusal) : "";
    const std::string status = answer.status ? StatusText(*answer.status) : "";
    return result + Printable(request) + reason + " (" + SecondsText(elapsed) + ")" + status;
}

std::string EventText(const Message& event, Pins pins, const std::string& lockName, const Style& style) {
    const MuxClient::CardEvent card = event.event.value_or(MuxClient::CardEvent());
    const std::string name = lockName.empty() ? "" : " (" + Printable(lockName) + ")";
    const std::string data =
        event.code == MessageCode::kInfo ? "PIN " + PinText(card.data, pins) : "card " + Printable(card.data);
    return LocalTimeText(event.timestamp) + "  " +
           style.Paint(Colour::kCyan, Padded(NameOfEvent(event.code), kEventNameWidth)) + "  gateway " +
           std::to_string(card.gateway) + "  lock " + std::to_string(card.lock) + name + "  " + data;
}

std::string JsonLine(const Message& message) {
    std::string line = message.text;
    // Within a string JSON has no bare line breaks.
    std::replace_if(
        line.begin(), line.end(), [](char character) { return character == '\n' || character == '\r'; }, ' ');
    return line;
}

std::string EventJsonLine(const Message& event, Pins pins) {
    const bool hidesPin = event.code == MessageCode::kInfo && pins == Pins::kMasked;
    return hidesPin ? WithMaskedPin(event.text) : JsonLine(event);
}

}  // namespace Muxctl
