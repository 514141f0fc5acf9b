#include "mux/EventBuilder.h"

#include <sstream>
#include <string>

#include "diagnostics/Log.h"
#include "messages/Codes.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/MuxMessageCodes.h"

namespace Mux {
namespace {

namespace CommandCodes = Brenk::Messages::CommandCodes;

constexpr int kFirstMonth = 1;
constexpr int kFirstYear = 1900;

struct EventKind {
    std::uint8_t eventType;
    std::int32_t messageCode;
    const char* text;
};

constexpr EventKind kEventKinds[] = {
    {CommandCodes::kCardReaderEvent, MUX_MESSAGE_EVENT_CARD_READER,
     "READER EVENT. A card was passed on the reader of a smartlock."},
    {CommandCodes::kCardAccessEvent, MUX_MESSAGE_ACCESS_ALLOWED,
     "ACCESS ALLOWED EVENT. A smartlock has let a card in."},
    {CommandCodes::kPincodeEvent, MUX_MESSAGE_EVENT_INFO,
     "PING EVENT. It is passed on to the clients as an info event."},
};

const EventKind* FindEventKind(std::uint8_t eventType) {
    for (const EventKind& kind : kEventKinds) {
        if (kind.eventType == eventType) {
            return &kind;
        }
    }
    return nullptr;
}

}  // namespace

std::string EventTimeText(std::time_t time) {
    std::tm local = {};
    localtime_r(&time, &local);
    std::ostringstream text;
    text << local.tm_hour << ':' << local.tm_min << ':' << local.tm_sec << ' ' << local.tm_mday << '-'
         << local.tm_mon + kFirstMonth << '-' << local.tm_year + kFirstYear;
    return text.str();
}

std::unique_ptr<MuxMessage> BuildEventMessage(std::int32_t gatewayID,
                                              const Brenk::Messages::VG::VirtualGatewayEventMessage& event,
                                              std::time_t now) {
    const EventKind* const kind = FindEventKind(event.eventType);
    if (kind == nullptr) {
        MUX_LOG(plog::debug) << "Clients are not told of events of type " << static_cast<int>(event.eventType) << ".";
        return nullptr;
    }
    MUX_LOG(plog::info) << kind->text;
    MuxMessageBuilder builder;
    return builder.BuildMessage(kind->messageCode, "lockEventMessage-" + std::to_string(now),
                                builder.BuildCardEvent(gatewayID, event.deviceAddress, EventTimeText(now), event.data));
}

}  // namespace Mux
