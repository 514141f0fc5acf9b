#include "diagnostics/Backtrace.h"

#include <execinfo.h>

#include <array>
#include <cstdlib>
#include <memory>

#include "diagnostics/Log.h"

namespace Diagnostics {
namespace {

constexpr int kMaximumFrames = 500;
using Frames = std::array<void*, kMaximumFrames>;

void LogAddresses(const Frames& frames, int count) {
    MUX_LOG(plog::error) << "Backtrace symbols are not available";
    MUX_LOG(plog::error) << "Backtrace (frames) starts here";
    for (int index = 0; index < count; ++index) {
        MUX_LOG(plog::error) << frames.at(static_cast<std::size_t>(index));
    }
}

void LogSymbols(char** symbols, int count) {
    MUX_LOG(plog::error) << "Backtrace (frames) with symbols starts here";
    for (int index = 0; index < count; ++index) {
        MUX_LOG(plog::error) << (symbols[index] != nullptr ? symbols[index] : "<NULL>");
    }
}

}  // namespace

void PrepareBacktrace() {
    void* frame = nullptr;
    backtrace(&frame, 1);
}

void LogBacktrace() {
    MUX_OPERATION();
    MUX_LOG(plog::error) << "Obtaining stack trace for current SIG.";
    Frames frames{};
    const int count = backtrace(frames.data(), kMaximumFrames);
    if (count == kMaximumFrames) {
        MUX_LOG(plog::error) << "Backtrace may have been truncated to current max value of" << kMaximumFrames;
    }
    const std::unique_ptr<char*, decltype(&std::free)> symbols(backtrace_symbols(frames.data(), count), &std::free);
    if (symbols == nullptr) {
        LogAddresses(frames, count);
    } else {
        LogSymbols(symbols.get(), count);
    }
}

}  // namespace Diagnostics
