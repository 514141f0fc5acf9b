#include "diagnostics/ErrorGuard.h"

namespace Diagnostics {

ErrorGuard& ErrorGuard::Instance() {
    static auto* guard = new ErrorGuard;
    return *guard;
}

void ErrorGuard::Configure(const Configuration& configuration) {
    firstLimit_ = configuration.firstLimit;
    secondLimit_ = configuration.secondLimit;
    firstHandler_ = configuration.firstHandler;
    secondHandler_ = configuration.secondHandler;
    observer_ = configuration.observer;
}

ErrorGuard::Configuration ErrorGuard::CurrentConfiguration() const {
    return {firstLimit_, secondLimit_, firstHandler_, secondHandler_, observer_};
}

void ErrorGuard::Report(ErrorKind kind) {
    const bool ofSocket = kind == ErrorKind::kSocket;
    ++(ofSocket ? secondCounter_ : firstCounter_);

    const Handler handler = firstHandler_;
    if ((ofSocket ? secondLimit_ : firstLimit_) != 0 && handler != nullptr) {
        handler();
    }
    if (const Observer observer = observer_) {
        observer(secondCounter_, static_cast<int>(kind));
    }
}

std::uint32_t ErrorGuard::FirstCounter() const {
    return firstCounter_;
}

std::uint32_t ErrorGuard::SecondCounter() const {
    return secondCounter_;
}

}  // namespace Diagnostics
