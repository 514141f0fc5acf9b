// The operations on a lock and its whitelist: check the status, build the frame, log it, queue it.

#include <utility>

#include "diagnostics/Log.h"
#include "gateway/VirtualGateway.h"

namespace Brenk {
namespace {

constexpr const char* kNoText = nullptr;

}  // namespace

struct VirtualGateway::Operation {
    const char* enqueuingText;
    const char* bytesText;
    const char* noFrameText;
};

bool VirtualGateway::EnqueueOperation(const Operation& operation, std::string requestID, void* context,
                                      const BuildFrame& build) {
    if (builder_ == nullptr) {
        MUX_LOG(plog::error) << "The message builder is NULL. Cannot send the message.";
        return false;
    }
    MessagePointer frame = build(*builder_);
    MUX_LOG(plog::info) << operation.enqueuingText;
    if (frame == nullptr) {
        if (operation.noFrameText != kNoText) {
            MUX_LOG(plog::error) << operation.noFrameText;
        }
        return false;
    }
    MUX_LOG(plog::verbose) << operation.bytesText << frame->BytesAsText();
    Enqueue(std::move(requestID), frame, context);
    return true;
}

bool VirtualGateway::GetNodeStatus(std::string requestID, std::uint32_t lockID, void* context) {
    MUX_OPERATION();
    if (connection_.IsIn({FAULTED})) {
        return false;
    }
    const Operation operation = {"Enqueuing GET_STATUS message.", "Message bytes for check: ", kNoText};
    return EnqueueOperation(operation, std::move(requestID), context,
                            [=](auto& builder) { return builder.BuildGetStatus(lockID); });
}

bool VirtualGateway::OpenLock(std::string requestID, std::uint32_t lockID, std::uint8_t timeValue, bool flag,
                              void* context) {
    MUX_OPERATION();
    if (connection_.IsIn({FAULTED, NOT_PRESENT})) {
        return false;
    }
    const Operation operation = {"Enqueuing OPEN_LOCK message.", "OPEN_LOCK Message bytes for check: ", kNoText};
    return EnqueueOperation(operation, std::move(requestID), context,
                            [=](auto& builder) { return builder.BuildLongTermActivation(lockID, 0, timeValue, flag); });
}

bool VirtualGateway::CloseLock(std::string requestID, std::uint32_t lockID, std::uint8_t delay, bool flag,
                               void* context) {
    MUX_OPERATION();
    MUX_LOG(plog::debug) << "VGS - CloseLock entered requestID : " << requestID << " lockid :" << lockID
                         << " delay:" << static_cast<int>(delay);
    if (connection_.IsIn({FAULTED, NOT_PRESENT})) {
        MUX_LOG(plog::warning) << "vgs not present : ";
        return false;
    }
    const Operation operation = {" Enqueuing CLOSE_LOCK message.", "CLOSE_LOCK Message bytes for check: ", kNoText};
    return EnqueueOperation(operation, std::move(requestID), context,
                            [=](auto& builder) { return builder.BuildLongTermRelease(lockID, delay, flag); });
}

// Logs the texts of OpenLock, whose sibling it is.
bool VirtualGateway::OpenCloseLock(std::string requestID, std::uint32_t lockID, std::uint8_t duration, bool flag,
                                   void* context) {
    MUX_OPERATION();
    if (connection_.IsIn({FAULTED, NOT_PRESENT})) {
        return false;
    }
    const Operation operation = {"Enqueuing OPEN_LOCK message.", "OPEN_LOCK Message bytes for check: ", kNoText};
    return EnqueueOperation(operation, std::move(requestID), context,
                            [=](auto& builder) { return builder.BuildShortTermActivation(lockID, duration, flag); });
}

bool VirtualGateway::AccessDenied(std::string requestID, std::uint32_t lockID, bool flag, void* context) {
    MUX_OPERATION();
    if (connection_.IsIn({FAULTED})) {
        MUX_LOG(plog::error) << "Virtual gateway status is FAULTED. Cannot enqueue ACCESS DENIED message";
        return false;
    }
    if (connection_.IsIn({NOT_PRESENT})) {
        return false;
    }
    const Operation operation = {"Enqueuing ACCESS_DENIED message.",
                                 "Message bytes for check: ", "ACCESS_DENIED is nullptr."};
    return EnqueueOperation(operation, std::move(requestID), context,
                            [=](auto& builder) { return builder.BuildAccessDenied(lockID, flag); });
}

bool VirtualGateway::AddWhitelistEntry(std::string requestID, std::uint32_t lockID, bool uidMode,
                                       std::uint8_t setupNumber, bool flag, std::vector<unsigned char> cardData,
                                       void* context) {
    MUX_OPERATION();
    if (connection_.IsIn({FAULTED, NOT_PRESENT})) {
        MUX_LOG(plog::error) << "Virtual gateway is in Faulted or NotPresent state. Cannot add whitelist entry";
        return false;
    }
    const Operation operation = {"Enqueuing ADD_TO_WHITELIST message.",
                                 "ADD_TO_WHITELIST message bytes for check: ", kNoText};
    return EnqueueOperation(operation, std::move(requestID), context, [&](auto& builder) {
        const std::uint8_t checkedNumber = CheckedSetupNumber(uidMode, setupNumber);
        return builder.BuildAddToWhitelist(lockID, uidMode, checkedNumber, flag ? 1 : 0, cardData);
    });
}

bool VirtualGateway::RemoveWhitelistEntry(std::string requestID, std::uint32_t lockID, bool uidMode,
                                          std::uint8_t setupNumber, std::vector<unsigned char> cardData,
                                          void* context) {
    MUX_OPERATION();
    if (connection_.IsIn({FAULTED, NOT_PRESENT})) {
        return false;
    }
    const Operation operation = {"Enqueuing REMOVE_FROM_WHITELIST message.",
                                 "REMOVE_FROM_WHITELIST message bytes for check: ", kNoText};
    return EnqueueOperation(operation, std::move(requestID), context, [&](auto& builder) {
        const std::uint8_t checkedNumber = CheckedSetupNumber(uidMode, setupNumber);
        return builder.BuildRemoveFromWhitelist(lockID, uidMode, checkedNumber, 0, cardData);
    });
}

// Card data in UID mode goes with setup number 0 and no other.
std::uint8_t VirtualGateway::CheckedSetupNumber(bool uidMode, std::uint8_t setupNumber) {
    if (!uidMode || setupNumber == 0) {
        return setupNumber;
    }
    MUX_LOG(plog::warning) << "Specified UID mode card data, but SetupNo is not zero. Change to zero.";
    return 0;
}

bool VirtualGateway::ClearWhiteList(std::string requestID, std::uint32_t lockID, void* context) {
    MUX_OPERATION();
    if (connection_.IsIn({FAULTED, NOT_PRESENT})) {
        return false;
    }
    const Operation operation = {"Enqueuing DELETE_WHOLE_WHITELIST message.",
                                 "[VirtualGateway::ClearWhiteList] Message bytes for check: ",
                                 "DELETE_WHOLE_WHITELIST built in a nullptr message!"};
    return EnqueueOperation(operation, std::move(requestID), context,
                            [=](auto& builder) { return builder.BuildClearWhitelist(lockID); });
}

bool VirtualGateway::EnableWhitelist(std::string requestID, std::uint32_t lockID, void* context) {
    MUX_OPERATION();
    if (connection_.IsIn({FAULTED})) {
        return false;
    }
    const Operation operation = {"Enqueuing ENABLE_WHITELIST message.", "Message bytes for check: ", kNoText};
    return EnqueueOperation(operation, std::move(requestID), context,
                            [=](auto& builder) { return builder.BuildEnableWhitelist(lockID); });
}

bool VirtualGateway::DisableWhitelist(std::string requestID, std::uint32_t lockID, void* context) {
    MUX_OPERATION();
    if (connection_.IsIn({FAULTED})) {
        return false;
    }
    const Operation operation = {"Enqueuing DISABLE_WHITELIST message.", "Message bytes for check: ", kNoText};
    return EnqueueOperation(operation, std::move(requestID), context,
                            [=](auto& builder) { return builder.BuildDisableWhitelist(lockID); });
}

}  // namespace Brenk
