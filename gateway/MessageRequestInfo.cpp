#include "gateway/MessageRequestInfo.h"

#include "diagnostics/Log.h"

namespace Brenk {

MessageRequestInfo::~MessageRequestInfo() {
    MUX_OPERATION();
    if (message != nullptr) {
        MUX_LOG(plog::verbose) << "Internal request message set. Deallocate message memory.";
    }
}

bool MessageRequestInfo::IsSequenceRefresh() const {
    return IsSequenceRefresh(id);
}

bool MessageRequestInfo::IsSequenceRefresh(const std::string& requestID) {
    return requestID.find(kSequenceRefreshMark) != std::string::npos;
}

}  // namespace Brenk
