/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// A client write end to end: a packed set buffer sent from the client's thread, posted to the
// service's event loop, applied to the current state, turned into an effect batch, committed
// to the shared parameter store, and told to every registered client; the time runs until
// the last client's callback has run. Beside it the floor: the same bytes handed to another
// thread and back with one commit to the same parameter store.

#include <benchmark/benchmark.h>
#include <pexparamstorage/PexParamStore.h>

#include <string>

#include "bench/BenchEnvironment.h"
#include "bench/HandOff.h"
#include "bench/Registrar.h"
#include "bench/Samples.h"
#include "bench/ServiceFixture.h"
#include "service/VeloraManagerService.h"

namespace velora::bench {

namespace {

using Clock = Samples::Clock;

// Command 1 (a parameter of a profile by external id) for external id 107, the intelligent
// equalizer amount of the selected profile 0: a slider in the settings application. Two
// values in turn, so that every write changes the state.
constexpr int32_t kSetParameter = 0x01000000;
constexpr int32_t kProfile = 0;
constexpr int32_t kIeqAmountId = 107;
constexpr int32_t kValues[2] = {4, 12};
constexpr size_t kBurst = 1000;

struct WriteBuffer {
    int32_t words[5] = {kSetParameter, 0, kProfile, kIeqAmountId, 0};
    void setValue(int32_t value) { words[4] = value; }
};

// The record the floor commits: the amount as the effect receives it.
constexpr uint32_t kFloorDevice = 0x40000000;
constexpr android::PexParameterId kFloorId = 0x00616569;  // "iea"

void write(benchmark::State& state, int clients) {
    ServiceFixture* fixture = ServiceFixture::get(1, clients);
    if (fixture == nullptr) {
        state.SkipWithError("the service did not start");
        return;
    }
    CallbackHub& hub = fixture->hub();
    WriteBuffer buffer;
    Samples samples;
    size_t turn = 0;
    const uint64_t savesBefore = fixture->service().getSaveCount();
    for (auto _ : state) {
        buffer.setValue(kValues[turn++ % 2]);
        uint64_t target = hub.total() + static_cast<uint64_t>(clients);
        Clock::time_point start = Clock::now();
        fixture->service().setPexParam(buffer.words, sizeof(buffer.words));
        bool told = hub.waitForTotal(target, ServiceFixture::kTimeout);
        Clock::duration elapsed = Clock::now() - start;
        if (!told) {
            state.SkipWithError("the clients were not told");
            return;
        }
        samples.add(elapsed);
        state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
    }
    // Saves that followed the writes (one per save delay at most, not one per write).
    state.counters["saves"] = static_cast<double>(fixture->service().getSaveCount() - savesBefore);
    samples.publish(state, "write/clients:" + std::to_string(clients));
}

// The floor commits into the running service's parameter store, so that its commit publishes
// the same committed state (every parameter the service sent) as the service's own commits.
void write_floor(benchmark::State& state) {
    if (ServiceFixture::get(1, 1) == nullptr) {
        state.SkipWithError("the service did not start");
        return;
    }
    HandOff handOff(kFloorDevice, kFloorId);
    WriteBuffer buffer;
    handOff.waitFor(handOff.submit(buffer.words, sizeof(buffer.words)));
    Samples samples;
    size_t turn = 0;
    for (auto _ : state) {
        buffer.setValue(kValues[turn++ % 2]);
        Clock::time_point start = Clock::now();
        handOff.waitFor(handOff.submit(buffer.words, sizeof(buffer.words)));
        Clock::duration elapsed = Clock::now() - start;
        samples.add(elapsed);
        state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
    }
    samples.publish(state, "write_floor");
}

// Bursts of writes sent back to back; each iteration ends when every client heard of the
// burst's last write.
void write_sustained(benchmark::State& state, int clients) {
    ServiceFixture* fixture = ServiceFixture::get(1, clients);
    if (fixture == nullptr) {
        state.SkipWithError("the service did not start");
        return;
    }
    CallbackHub& hub = fixture->hub();
    WriteBuffer buffer;
    Samples samples;
    size_t turn = 0;
    const uint64_t savesBefore = fixture->service().getSaveCount();
    for (auto _ : state) {
        uint64_t target = hub.total() + kBurst * static_cast<uint64_t>(clients);
        Clock::time_point start = Clock::now();
        for (size_t i = 0; i < kBurst; ++i) {
            buffer.setValue(kValues[turn++ % 2]);
            fixture->service().setPexParam(buffer.words, sizeof(buffer.words));
        }
        bool told = hub.waitForTotal(target, ServiceFixture::kTimeout * 10);
        Clock::duration elapsed = Clock::now() - start;
        if (!told) {
            state.SkipWithError("the clients were not told");
            return;
        }
        samples.add(elapsed);
        state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kBurst));
    state.counters["saves"] = static_cast<double>(fixture->service().getSaveCount() - savesBefore);
    std::string name = "write_sustained/clients:" + std::to_string(clients);
    samples.publish(state, name);
    Result result = *Results::get().find(name);
    result.perSecond = result.p50Nanos > 0 ? kBurst * 1e9 / result.p50Nanos : 0;
    Results::get().put(name, result);
}

void write_sustained_floor(benchmark::State& state) {
    if (ServiceFixture::get(1, 1) == nullptr) {
        state.SkipWithError("the service did not start");
        return;
    }
    HandOff handOff(kFloorDevice, kFloorId);
    WriteBuffer buffer;
    handOff.waitFor(handOff.submit(buffer.words, sizeof(buffer.words)));
    Samples samples;
    size_t turn = 0;
    for (auto _ : state) {
        Clock::time_point start = Clock::now();
        uint64_t last = 0;
        for (size_t i = 0; i < kBurst; ++i) {
            buffer.setValue(kValues[turn++ % 2]);
            last = handOff.submit(buffer.words, sizeof(buffer.words));
        }
        handOff.waitFor(last);
        Clock::duration elapsed = Clock::now() - start;
        samples.add(elapsed);
        state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kBurst));
    samples.publish(state, "write_sustained_floor");
    Result result = *Results::get().find("write_sustained_floor");
    result.perSecond = result.p50Nanos > 0 ? kBurst * 1e9 / result.p50Nanos : 0;
    Results::get().put("write_sustained_floor", result);
}

const Registrar registrar([] {
    const BenchEnvironment& env = BenchEnvironment::get();
    benchmark::RegisterBenchmark("write_floor", write_floor)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond)
        ->Apply(env.measureFor(2.0));
    benchmark::RegisterBenchmark("write_sustained_floor", write_sustained_floor)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond)
        ->Apply(env.measureFor(2.0));
    for (int clients : {1, 4}) {
        benchmark::RegisterBenchmark(("write/clients:" + std::to_string(clients)).c_str(), write,
                                     clients)
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond)
            ->Apply(env.measureFor(2.0));
        benchmark::RegisterBenchmark(("write_sustained/clients:" + std::to_string(clients)).c_str(),
                                     write_sustained, clients)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->Apply(env.measureFor(2.0));
    }
});

}  // namespace

}  // namespace velora::bench
