#include <string>

#include "tools/muxctl/BatchFile.h"
#include "tools/muxctl/Commands.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/InputFile.h"
#include "tools/muxctl/RequestSeries.h"

namespace Muxctl {
namespace {

int RefuseBatch(const Batch& batch, const Console& console) {
    for (const std::string& fault : batch.faults) {
        console.Complain(fault);
    }
    console.Complain("nothing was sent");
    return kUsageStatus;
}

}  // namespace

int RunBatch(const Options& options, const Console& console) {
    const Batch batch = ReadBatch(InputName(options.file), ReadWholeFile(options.file), options);
    if (!batch.faults.empty()) {
        return RefuseBatch(batch, console);
    }
    return SendSeries(batch.steps, options.keepsGoing ? AfterFailure::kGoOn : AfterFailure::kStop, options, console);
}

}  // namespace Muxctl
