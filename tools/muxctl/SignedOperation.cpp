#include "tools/muxctl/SignedOperation.h"

namespace Muxctl {
namespace {

std::vector<SignedOperation> AllSignedOperations() {
    std::vector<SignedOperation> operations;
    for (const RequestKind& kind : RequestKinds()) {
        const std::string group = kind.group;
        operations.push_back({(group.empty() ? "" : group + "-") + kind.name, &kind});
        if (kind.canAnswerEvent) {
            operations.push_back({std::string("event-") + kind.name, &kind});
        }
    }
    return operations;
}

}  // namespace

const std::vector<SignedOperation>& SignedOperations() {
    static const std::vector<SignedOperation> operations = AllSignedOperations();
    return operations;
}

}  // namespace Muxctl
