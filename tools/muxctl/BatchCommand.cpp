#include <algorithm>
#include <cstddef>
#include <string>

#include "tools/muxctl/BatchFile.h"
#include "tools/muxctl/Commands.h"
#include "tools/muxctl/Conversation.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/InputFile.h"

namespace Muxctl {
namespace {

int RefuseBatch(const Batch& batch, const Console& console) {
    for (const std::string& fault : batch.faults) {
        console.Complain(fault);
    }
    console.Complain("nothing was sent");
    return kUsageStatus;
}

int SendBatch(const Batch& batch, const Options& options, const Console& console) {
    Conversation conversation(options, console);
    int worst = kAckStatus;
    std::size_t done = 0;
    const auto complainOfStop = [&] {
        conversation.ComplainOfStop(batch.steps.at(done - 1).place, batch.steps.size() - done, batch.steps.size());
    };
    try {
        while (done < batch.steps.size() && (worst == kAckStatus || options.keepsGoing)) {
            const BatchStep& step = batch.steps.at(done++);
            const std::string title = step.request.Title();
            const std::string subject = step.place + ": " + title + ": ";
            worst = std::max(worst, conversation.AskAndPrint(step.request.Build(), title, subject));
        }
    } catch (const MuxClient::ConnectionError&) {
        complainOfStop();
        throw;
    }
    complainOfStop();
    return worst;
}

}  // namespace

int RunBatch(const Options& options, const Console& console) {
    const Batch batch = ReadBatch(InputName(options.file), ReadWholeFile(options.file), options);
    if (!batch.faults.empty()) {
        return RefuseBatch(batch, console);
    }
    return batch.steps.empty() ? kAckStatus : SendBatch(batch, options, console);
}

}  // namespace Muxctl
