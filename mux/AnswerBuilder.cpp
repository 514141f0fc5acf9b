#include "mux/AnswerBuilder.h"

#include <utility>

#include "diagnostics/Log.h"
#include "messages/BrenkLockState.h"
#include "mux/AnswerTexts.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/MuxMessageCodes.h"
#include "mux/messages/RequestPayloads.h"
#include "mux/messages/RequestTable.h"

namespace Mux {
namespace {

using Brenk::Messages::BrenkLockState;
using Brenk::Messages::VG::VirtualGatewayResponseMessage;
using AnswerPointer = std::unique_ptr<MuxMessage>;

constexpr std::uint32_t kSuccess = 0;
constexpr std::int32_t kLockOperationErrorCode = 0;

AnswerPointer Nack(const MuxMessage& request, std::int32_t errorCode, std::string text) {
    MuxMessageBuilder builder;
    return builder.BuildMessage(MUX_MESSAGE_NACK, request.MessageID(),
                                builder.BuildNackPayload(errorCode, std::move(text)));
}

AnswerPointer Ack(const MuxMessage& request, std::unique_ptr<MuxMessagePayloadBase> payload) {
    return MuxMessageBuilder().BuildMessage(MUX_MESSAGE_ACK, request.MessageID(), std::move(payload));
}

AnswerPointer ShortNack(const MuxMessage& request, std::uint32_t responseCode) {
    return Nack(request, static_cast<std::int32_t>(responseCode), ShortErrorText(responseCode));
}

AnswerPointer AnswerLockOperation(const MuxMessage& request, const VirtualGatewayResponseMessage& response,
                                  std::int32_t gatewayID) {
    if (response.responseCode == kSuccess) {
        return Ack(request, MuxMessageBuilder().BuildLockOperationResponse(true, kLockOperationErrorCode));
    }
    const auto* const payload = dynamic_cast<const MuxLockRequestPayload*>(request.Payload());
    const std::int32_t address = payload == nullptr ? 0 : payload->LockID();
    return Nack(request, kLockOperationErrorCode, LongErrorText(response.responseCode, address, gatewayID));
}

AnswerPointer AnswerStatus(const MuxMessage& request, const VirtualGatewayResponseMessage& response) {
    MUX_LOG(plog::debug) << "Building response to Lock GetStatus message.";
    if (response.responseCode != kSuccess) {
        return ShortNack(request, response.responseCode);
    }
    const BrenkLockState state = BrenkLockState::ParseFromBuffer(response.statusPayload.get());
    return Ack(request, MuxMessageBuilder().BuildLockStatusResponse(static_cast<std::int32_t>(state.BatteryStatus()),
                                                                    static_cast<std::int32_t>(state.BatteryLevel()),
                                                                    state.MechanicalActive(), state.BatteryWarning(),
                                                                    state.BatteryAlarm(), state.ReaderConnected()));
}

AnswerPointer AnswerPlainly(const MuxMessage& request, const VirtualGatewayResponseMessage& response) {
    return response.responseCode == kSuccess ? Ack(request, MuxMessageBuilder().BuildAckPayload())
                                             : ShortNack(request, response.responseCode);
}

}  // namespace

std::unique_ptr<MuxMessage> BuildAnswer(const MuxMessage& request, const VirtualGatewayResponseMessage& response,
                                        std::int32_t gatewayID) {
    const RequestKind* const kind = FindRequest(request.MessageCode());
    switch (kind == nullptr ? AnswerKind::kNone : kind->answer) {
        case AnswerKind::kNone:
            break;
        case AnswerKind::kLockOperation:
            return AnswerLockOperation(request, response, gatewayID);
        case AnswerKind::kLockStatus:
            return AnswerStatus(request, response);
        case AnswerKind::kPlain:
            return AnswerPlainly(request, response);
    }
    return nullptr;
}

}  // namespace Mux
