#include <benchmark/benchmark.h>

#include "class_a/standard/CMessage.h"

// What a message costs that no one reads, and what reading it adds.

namespace {

void BM_MessagePushed(benchmark::State& state) {
    const std::string format = "'%1' %2 %3";
    for (auto _ : state) {
        ksl::CMessage message(format);
        message << "bootptab" << 12 << 34UL;
        benchmark::DoNotOptimize(message);
    }
}
BENCHMARK(BM_MessagePushed);

void BM_MessagePushedAndRendered(benchmark::State& state) {
    const std::string format = "'%1' %2 %3";
    for (auto _ : state) {
        ksl::CMessage message(format);
        message << "bootptab" << 12 << 34UL;
        benchmark::DoNotOptimize(message.text().data());
    }
}
BENCHMARK(BM_MessagePushedAndRendered);

void BM_MessageCopied(benchmark::State& state) {
    ksl::CMessage message("'%1' %2 %3");
    message << "bootptab" << 12 << 34UL;
    for (auto _ : state) {
        ksl::CMessage copy(message);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(BM_MessageCopied);

}  // namespace
