// Times the parts that every request passes through, one by one. The log is filtered out except where it is the
// subject.

#include <benchmark/benchmark.h>
#include <sched.h>

#include <iostream>

#include "benchmarks/micro/LogOutput.h"

namespace {

// Loops that sleep and wander between processors find cold caches: a pass costs a quarter more or less.
void StayOnThisProcessor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    if (sched_setaffinity(0, sizeof one, &one) != 0) {
        std::cerr << "Cannot stay on one processor: figures of loops that sleep will vary.\n";
    }
}

}  // namespace

int main(int argc, char** argv) {
    Benchmark::FilterLogOut();
    StayOnThisProcessor();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 64;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
