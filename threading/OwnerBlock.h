#pragma once

#include <memory>

namespace Threading {

// The small heap block through which a thread procedure learns its owner: the starter makes it, the procedure
// takes the pointer out and frees the block.
template <typename Owner>
struct OwnerBlock {
    Owner* owner;
};

// Frees the block and returns the owner that it held; null for no block.
template <typename Owner>
Owner* TakeOwner(void* argument) {
    const std::unique_ptr<OwnerBlock<Owner>> block(static_cast<OwnerBlock<Owner>*>(argument));
    return block == nullptr ? nullptr : block->owner;
}

// Starts `thread` with a block that holds `owner`. False when it cannot be started.
template <typename ThreadType, typename Owner>
bool StartWithOwner(ThreadType& thread, Owner* owner) {
    auto block = std::make_unique<OwnerBlock<Owner>>(OwnerBlock<Owner>{owner});
    if (!thread.Start(block.get())) {
        return false;
    }
    static_cast<void>(block.release());
    return true;
}

}  // namespace Threading
