#include "mux/AnswerBuilder.h"

#include <utility>

#include "diagnostics/Log.h"
#include "messages/BrenkLockState.h"
#include "messages/Codes.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/MuxMessageCodes.h"
#include "mux/messages/RequestPayloads.h"
#include "mux/messages/RequestTable.h"

namespace Mux {
namespace {

using namespace Brenk::Messages;
using Brenk::Messages::VG::VirtualGatewayResponseMessage;
using AnswerPointer = std::unique_ptr<MuxMessage>;

constexpr std::uint32_t kSuccess = 0;
constexpr std::int32_t kLockOperationErrorCode = 0;

struct ErrorText {
    std::uint32_t responseCode;
    const char* shortText;
    const char* longText;
    bool namesLock;  // the long text goes on with the device address and the gateway
    const char* longEnding;
};

constexpr ErrorText kErrorTexts[] = {
    {BRENK_RESPONSE_ALREADY_IN_WHITELIST, "Already in whitelist.", "Already in whitelist for device address ", true,
     ""},
    {BRENK_RESPONSE_WHITELIST_FULL, "Whitelist full.", "Whitelist full for device address ", true, ""},
    {BRENK_RESPONSE_NOT_IN_WHITELIST, "Not in whitelist.", "Not in whitelist for device address ", true, ""},
    {BRENK_RESPONSE_UNKNOWN_HEADER_VERSION, "", "", false, ""},
    {BRENK_RESPONSE_NOT_SUPPORTED, "Request not supported.", "Request not supported for device address ", true, ""},
    {BRENK_RESPONSE_NO_ROUTE_FOR_DEVADDR, "No route for the requested device. ", "No route for device address ", true,
     ""},
    {BRENK_RESPONSE_DATA_LENGTH_MISMATCH, "Datalength mismatch for the request message.",
     "Datalength mismatch the actual lock configuration.", false, ""},
    {BRENK_RESPONSE_MESSAGE_UNESPECTED, "Request message unexpected.", "Request message unexpected for device address ",
     true, ""},
    {BRENK_RESPONSE_SETUP_NUMBER_MISMATCH, "Setup number mismatch.", "Setup number mismatch", false, ""},
    {BRENK_RESPONSE_SYSTEM_INCONSISTENCY, "System inconsistancy for the request message.",
     "System inconsistancy for device address ", true,
     ". Check for LN, PHI or other key indexes that doesn't match the current configuration."},
};

const ErrorText* FindErrorText(std::uint32_t responseCode) {
    for (const ErrorText& row : kErrorTexts) {
        if (row.responseCode == responseCode) {
            return &row;
        }
    }
    return nullptr;
}

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

std::string LongErrorText(std::uint32_t responseCode, std::int32_t deviceAddress, std::int32_t gatewayID) {
    const std::string address = std::to_string(deviceAddress);
    const std::string gateway = " on gateway " + std::to_string(gatewayID);
    const ErrorText* const row = FindErrorText(responseCode);
    if (row == nullptr) {
        return "The gateway answered with an unhandled error code " + std::to_string(responseCode) +
               " for the device with address " + address + gateway;
    }
    return row->namesLock ? row->longText + address + gateway + row->longEnding : row->longText;
}

std::string ShortErrorText(std::uint32_t responseCode) {
    const ErrorText* const row = FindErrorText(responseCode);
    return row == nullptr ? "Unhandled error code or unknown error." : row->shortText;
}

}  // namespace Mux
