// The operations on a lock and its whitelist: check the status, build the frame, log it, queue it.

#include <utility>

#include "diagnostics/Log.h"
#include "gateway/VirtualGateway.h"

namespace Brenk {

// Each is refused in FAULTED. Texts that are null are not logged.
struct GatewayOperation {
    bool isRefusedWhenAbsent;    // in NOT_PRESENT as well
    const char* refusalWarning;  // in both
    const char* faultedError;    // in FAULTED
    const char* absentError;     // in NOT_PRESENT
    const char* enqueuingText;
    const char* bytesText;
    const char* noFrameError;
};

namespace {

constexpr const char* kNoText = nullptr;
constexpr const char* kCannotAdd = "Virtual gateway is in Faulted or NotPresent state. Cannot add whitelist entry";

constexpr GatewayOperation kGetNodeStatus = {
    false, kNoText, kNoText, kNoText, "Enqueuing GET_STATUS message.", "Message bytes for check: ", kNoText};

// Of OpenCloseLock too, its sibling.
constexpr GatewayOperation kOpenLock = {
    true, kNoText, kNoText, kNoText, "Enqueuing OPEN_LOCK message.", "OPEN_LOCK Message bytes for check: ", kNoText};

constexpr GatewayOperation kCloseLock = {true,
                                         "vgs not present : ",
                                         kNoText,
                                         kNoText,
                                         " Enqueuing CLOSE_LOCK message.",
                                         "CLOSE_LOCK Message bytes for check: ",
                                         kNoText};

constexpr GatewayOperation kAccessDenied = {true,
                                            kNoText,
                                            "Virtual gateway status is FAULTED. Cannot enqueue ACCESS DENIED message",
                                            kNoText,
                                            "Enqueuing ACCESS_DENIED message.",
                                            "Message bytes for check: ",
                                            "ACCESS_DENIED is nullptr."};

constexpr GatewayOperation kAddWhitelistEntry = {true,
                                                 kNoText,
                                                 kCannotAdd,
                                                 kCannotAdd,
                                                 "Enqueuing ADD_TO_WHITELIST message.",
                                                 "ADD_TO_WHITELIST message bytes for check: ",
                                                 kNoText};

constexpr GatewayOperation kRemoveWhitelistEntry = {true,
                                                    kNoText,
                                                    kNoText,
                                                    kNoText,
                                                    "Enqueuing REMOVE_FROM_WHITELIST message.",
                                                    "REMOVE_FROM_WHITELIST message bytes for check: ",
                                                    kNoText};

constexpr GatewayOperation kClearWhiteList = {true,
                                              kNoText,
                                              kNoText,
                                              kNoText,
                                              "Enqueuing DELETE_WHOLE_WHITELIST message.",
                                              "[VirtualGateway::ClearWhiteList] Message bytes for check: ",
                                              "DELETE_WHOLE_WHITELIST built in a nullptr message!"};

constexpr GatewayOperation kEnableWhitelist = {
    false, kNoText, kNoText, kNoText, "Enqueuing ENABLE_WHITELIST message.", "Message bytes for check: ", kNoText};

constexpr GatewayOperation kDisableWhitelist = {
    false, kNoText, kNoText, kNoText, "Enqueuing DISABLE_WHITELIST message.", "Message bytes for check: ", kNoText};

bool IsRefused(const GatewayOperation& operation, VirtualGatewayStatuses status) {
    return status == FAULTED || (status == NOT_PRESENT && operation.isRefusedWhenAbsent);
}

void LogRefusal(const GatewayOperation& operation, VirtualGatewayStatuses status) {
    const char* const error = status == FAULTED ? operation.faultedError : operation.absentError;
    if (error != kNoText) {
        MUX_LOG(plog::error) << error;
    }
    if (operation.refusalWarning != kNoText) {
        MUX_LOG(plog::warning) << operation.refusalWarning;
    }
}

// Card data in UID mode goes with setup number 0 and no other.
std::uint8_t CheckedSetupNumber(bool uidMode, std::uint8_t setupNumber) {
    if (!uidMode || setupNumber == 0) {
        return setupNumber;
    }
    MUX_LOG(plog::warning) << "Specified UID mode card data, but SetupNo is not zero. Change to zero.";
    return 0;
}

}  // namespace

template <typename Build>
bool VirtualGateway::EnqueueOperation(const GatewayOperation& operation, std::string requestID, void* context,
                                      const Build& build) {
    const VirtualGatewayStatuses status = Status();
    if (IsRefused(operation, status)) {
        LogRefusal(operation, status);
        return false;
    }
    if (builder_ == nullptr) {
        MUX_LOG(plog::error) << "The message builder is NULL. Cannot send the message.";
        return false;
    }
    MessagePointer frame = build(*builder_);
    MUX_LOG(plog::info) << operation.enqueuingText;
    if (frame == nullptr) {
        if (operation.noFrameError != kNoText) {
            MUX_LOG(plog::error) << operation.noFrameError;
        }
        return false;
    }
    MUX_LOG(plog::verbose) << operation.bytesText << frame->BytesAsText();
    Enqueue(std::move(requestID), frame, context);
    return true;
}

bool VirtualGateway::GetNodeStatus(std::string requestID, std::uint32_t lockID, void* context) {
    MUX_OPERATION();
    return EnqueueOperation(kGetNodeStatus, std::move(requestID), context,
                            [&](auto& builder) { return builder.BuildGetStatus(lockID); });
}

bool VirtualGateway::OpenLock(std::string requestID, std::uint32_t lockID, std::uint8_t timeValue, bool answersEvent,
                              void* context) {
    MUX_OPERATION();
    return EnqueueOperation(kOpenLock, std::move(requestID), context, [&](auto& builder) {
        return builder.BuildLongTermActivation(lockID, 0, timeValue, answersEvent);
    });
}

bool VirtualGateway::CloseLock(std::string requestID, std::uint32_t lockID, std::uint8_t delay, bool answersEvent,
                               void* context) {
    MUX_OPERATION();
    MUX_LOG(plog::debug) << "VGS - CloseLock entered requestID : " << requestID << " lockid :" << lockID
                         << " delay:" << static_cast<int>(delay);
    return EnqueueOperation(kCloseLock, std::move(requestID), context,
                            [&](auto& builder) { return builder.BuildLongTermRelease(lockID, delay, answersEvent); });
}

bool VirtualGateway::OpenCloseLock(std::string requestID, std::uint32_t lockID, std::uint8_t duration,
                                   bool answersEvent, void* context) {
    MUX_OPERATION();
    return EnqueueOperation(kOpenLock, std::move(requestID), context, [&](auto& builder) {
        return builder.BuildShortTermActivation(lockID, duration, answersEvent);
    });
}

bool VirtualGateway::AccessDenied(std::string requestID, std::uint32_t lockID, bool answersEvent, void* context) {
    MUX_OPERATION();
    return EnqueueOperation(kAccessDenied, std::move(requestID), context,
                            [&](auto& builder) { return builder.BuildAccessDenied(lockID, answersEvent); });
}

bool VirtualGateway::AddWhitelistEntry(std::string requestID, std::uint32_t lockID, bool uidMode,
                                       std::uint8_t setupNumber, bool option, std::vector<unsigned char> cardData,
                                       void* context) {
    MUX_OPERATION();
    return EnqueueOperation(kAddWhitelistEntry, std::move(requestID), context, [&](auto& builder) {
        const std::uint8_t checkedNumber = CheckedSetupNumber(uidMode, setupNumber);
        return builder.BuildAddToWhitelist(lockID, uidMode, checkedNumber, option ? 1 : 0, cardData);
    });
}

bool VirtualGateway::RemoveWhitelistEntry(std::string requestID, std::uint32_t lockID, bool uidMode,
                                          std::uint8_t setupNumber, std::vector<unsigned char> cardData,
                                          void* context) {
    MUX_OPERATION();
    return EnqueueOperation(kRemoveWhitelistEntry, std::move(requestID), context, [&](auto& builder) {
        const std::uint8_t checkedNumber = CheckedSetupNumber(uidMode, setupNumber);
        return builder.BuildRemoveFromWhitelist(lockID, uidMode, checkedNumber, 0, cardData);
    });
}

bool VirtualGateway::ClearWhiteList(std::string requestID, std::uint32_t lockID, void* context) {
    MUX_OPERATION();
    return EnqueueOperation(kClearWhiteList, std::move(requestID), context,
                            [&](auto& builder) { return builder.BuildClearWhitelist(lockID); });
}

bool VirtualGateway::EnableWhitelist(std::string requestID, std::uint32_t lockID, void* context) {
    MUX_OPERATION();
    return EnqueueOperation(kEnableWhitelist, std::move(requestID), context,
                            [&](auto& builder) { return builder.BuildEnableWhitelist(lockID); });
}

bool VirtualGateway::DisableWhitelist(std::string requestID, std::uint32_t lockID, void* context) {
    MUX_OPERATION();
    return EnqueueOperation(kDisableWhitelist, std::move(requestID), context,
                            [&](auto& builder) { return builder.BuildDisableWhitelist(lockID); });
}

}  // namespace Brenk
