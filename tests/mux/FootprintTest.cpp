#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "mux/ProcessSetUp.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Threads.h"

namespace Mux {
namespace {

std::size_t OwnStackBytes() {
    pthread_attr_t attributes;
    std::size_t bytes = 0;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstacksize(&attributes, &bytes);
    pthread_attr_destroy(&attributes);
    return bytes;
}

// As the allocator itself reports them: one heap element for each arena.
int Arenas() {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const report = open_memstream(&text, &size);
    malloc_info(0, report);
    static_cast<void>(std::fclose(report));
    const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
    int count = 0;
    for (const char* found = std::strstr(text, "<heap "); found != nullptr; found = std::strstr(found + 1, "<heap ")) {
        ++count;
    }
    return count;
}

// Four threads that all hold memory at the same time.
int ArenasOfFourThreads() {
    std::array<std::unique_ptr<std::string>, 4> held;
    Testing::OnThreads(4, [&held](int number) {
        held.at(static_cast<std::size_t>(number)) = std::make_unique<std::string>(1000, 'x');
    });
    return Arenas();
}

TEST(Footprint, AThreadMadeAfterwardsHasAStackOf1MiB) {
    const auto result = Testing::RunInChild(".", [] {
        KeepFootprintSmall();
        std::thread([] { std::printf("%zu bytes\n", OwnStackBytes()); }).join();
        static_cast<void>(std::fflush(stdout));
    });
    EXPECT_EQ(result.output, "1048576 bytes\n");
}

TEST(Footprint, ThreadsMadeAfterwardsShareOneArena) {
    const auto result = Testing::RunInChild(".", [] {
        KeepFootprintSmall();
        const int before = Arenas();
        std::printf("%d more\n", ArenasOfFourThreads() - before);
        static_cast<void>(std::fflush(stdout));
    });
    EXPECT_EQ(result.output, "0 more\n");
}

}  // namespace
}  // namespace Mux
