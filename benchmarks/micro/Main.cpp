// Times the parts that every request passes through, one by one. The log is filtered out except where it is the
// subject.

#include <benchmark/benchmark.h>

#include "benchmarks/micro/LogOutput.h"

int main(int argc, char** argv) {
    Benchmark::FilterLogOut();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 64;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
