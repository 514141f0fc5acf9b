#include "diagnostics/LogCall.h"

#include <plog/Log.h>
#include <pthread.h>

namespace Diagnostics {

LogCall::LogCall() {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previousCancelState_);
}

LogCall::~LogCall() {
    pthread_setcancelstate(previousCancelState_, nullptr);
}

void LogCall::operator+=(const plog::Record& record) const {
    *plog::get() += record;
}

}  // namespace Diagnostics
