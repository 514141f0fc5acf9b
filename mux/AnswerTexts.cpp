#include "mux/AnswerTexts.h"

#include "messages/Codes.h"

namespace Mux {
namespace {

using namespace Brenk::Messages;

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

}  // namespace

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
