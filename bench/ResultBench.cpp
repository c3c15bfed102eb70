// What is worked out from finished scans: comparison, plan, names, sidecars, digests.

#include "base/Digest.h"
#include "bench/ScanOfMany.h"
#include "compare/LibraryComparer.h"
#include "export/ExportPlanner.h"
#include "export/SafeNames.h"
#include "export/XMPWriter.h"

#include <benchmark/benchmark.h>

#include <string>

namespace vantorel {

namespace {

void compare(benchmark::State& state)
{
    const auto here = scanOfMany(static_cast<std::size_t>(state.range(0)));
    auto there = here;
    if (state.range(1) != 0) { // another library of the same photos: only name, date and size tell
        for (Asset& asset : there.snapshot.assets) {
            asset.uuid.front() = 'X';
            asset.fingerprint.reset();
        }
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(LibraryComparer::compare(here, there));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(compare)
    ->ArgNames({"photos", "byName"})
    ->ArgsProduct({{10'000, 100'000}, {0, 1}})
    ->Unit(benchmark::kMillisecond);

void plan(benchmark::State& state)
{
    const auto scan = scanOfMany(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(planExport(scan, {}));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(plan)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void keyOfName(benchmark::State& state)
{
    const std::string name = state.range(0) == 0 ? "IMG_1234.HEIC" : "Größe 1234.HEIC";
    for (auto _ : state) {
        benchmark::DoNotOptimize(SafeNames::comparisonKey(name));
    }
}
BENCHMARK(keyOfName)->ArgName("beyondAscii")->Arg(0)->Arg(1);

/// Ten thousand photos of one name in one folder.
void numberNames(benchmark::State& state)
{
    for (auto _ : state) {
        NameAllocator names;
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            benchmark::DoNotOptimize(names.allocate("IMG_0001", "HEIC", {"mov"}));
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(numberNames)->Arg(10'000)->Unit(benchmark::kMillisecond);

void writeSidecar(benchmark::State& state)
{
    const auto scan = scanOfMany(1);
    const XMPWriter::Input input{.asset = scan.snapshot.assets.front(), .albums = {"Albums/Holidays/Rome"}};
    for (auto _ : state) {
        benchmark::DoNotOptimize(XMPWriter::document(input));
    }
}
BENCHMARK(writeSidecar);

void digest(benchmark::State& state)
{
    const std::string bytes(static_cast<std::size_t>(state.range(0)), 'x');
    for (auto _ : state) {
        benchmark::DoNotOptimize(sha256(bytes));
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(digest)->Arg(64)->Arg(1'048'576);

} // namespace

} // namespace vantorel

BENCHMARK_MAIN();
