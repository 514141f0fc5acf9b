// Frames cut out of what a gateway has sent.

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "gateway/FrameBuffer.h"
#include "messages/BrenkMessage.h"
#include "messages/BrenkMessageBuilder.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes Frame() {
    Brenk::Messages::BrenkMessageBuilder builder(41, 1);
    const std::unique_ptr<Bytes> frame(builder.BuildGetStatus(5)->Serialize());
    return *frame;
}

// So many frames arrive at once, and each is found and taken.
void FoundFrames(benchmark::State& state) {
    const Bytes frame = Frame();
    Bytes stream;
    for (std::int64_t count = 0; count < state.range(0); ++count) {
        stream.insert(stream.end(), frame.begin(), frame.end());
    }
    Bytes found;
    for ([[maybe_unused]] auto unused : state) {
        Brenk::FrameBuffer buffer;
        buffer.Append(stream);
        while (buffer.Find(found) == Brenk::FrameSearch::kFound) {
            buffer.EraseFound();
        }
        benchmark::DoNotOptimize(buffer.Size());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void NoFrameFound(benchmark::State& state) {
    Brenk::FrameBuffer buffer;
    Bytes found;
    for ([[maybe_unused]] auto unused : state) {
        buffer.Append({});
        benchmark::DoNotOptimize(buffer.Find(found));
    }
}

BENCHMARK(FoundFrames)->Arg(1)->Arg(3)->Arg(20);
BENCHMARK(NoFrameFound);

}  // namespace
