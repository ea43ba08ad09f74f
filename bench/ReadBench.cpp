/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// Packed gets as clients send them, answered on the caller's thread: the effect switch
// (command 0), a parameter by external id (command 1) and the selected profile (command 10),
// each beside reading the same value from the current state directly.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "bench/BenchEnvironment.h"
#include "bench/Registrar.h"
#include "bench/Samples.h"
#include "bench/ServiceFixture.h"
#include "context/KsContext.h"
#include "model/Parameter.h"
#include "model/Profile.h"
#include "service/VeloraManagerService.h"

namespace velora::bench {

namespace {

using Clock = Samples::Clock;

constexpr int32_t kProfile = 0;
constexpr int32_t kIeqAmountId = 107;

// The request of a command: its number sits in byte 3 of the first word.
struct GetRequest {
    uint8_t bytes[12] = {};
    explicit GetRequest(int command) {
        bytes[3] = static_cast<uint8_t>(command);
        int32_t id = kIeqAmountId;
        int32_t profile = kProfile;
        memcpy(bytes + 4, &id, sizeof(id));
        memcpy(bytes + 8, &profile, sizeof(profile));
    }
};

// What two clock readings cost, taken off every sample: the values measured here are not
// much larger.
int64_t clock_overhead() {
    static int64_t overhead = [] {
        Samples samples;
        for (int i = 0; i < 10000; ++i) {
            Clock::time_point a = Clock::now();
            samples.add(Clock::now() - a);
        }
        return static_cast<int64_t>(samples.quantile(0.5));
    }();
    return overhead;
}

template <typename Read>
void time_reads(benchmark::State& state, Read read, const std::string& name) {
    const int64_t overhead = clock_overhead();
    Samples samples;
    for (auto _ : state) {
        Clock::time_point start = Clock::now();
        read();
        int64_t nanos =
            std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start).count();
        nanos = nanos > overhead ? nanos - overhead : 0;
        samples.addNanos(nanos);
    }
    samples.publish(state, name);
}

void get(benchmark::State& state, int command) {
    ServiceFixture* fixture = ServiceFixture::get(1, 1);
    if (fixture == nullptr) {
        state.SkipWithError("the service did not start");
        return;
    }
    android::VeloraManagerService& service = fixture->service();
    GetRequest request(command);
    int32_t answer[32];
    if (service.getPexParam(request.bytes, sizeof(request.bytes), answer, sizeof(answer)) != 0) {
        state.SkipWithError("the service did not answer");
        return;
    }
    time_reads(
        state,
        [&] {
            service.getPexParam(request.bytes, sizeof(request.bytes), answer, sizeof(answer));
            benchmark::DoNotOptimize(answer);
        },
        "get/command:" + std::to_string(command));
}

void get_floor(benchmark::State& state, int command) {
    ServiceFixture* fixture = ServiceFixture::get(1, 1);
    if (fixture == nullptr) {
        state.SkipWithError("the service did not start");
        return;
    }
    KsContext* context = fixture->context();
    std::string name = "get_floor/command:" + std::to_string(command);
    switch (command) {
        case 0:
            time_reads(
                state,
                [&] {
                    bool on = context->getPexOn();
                    benchmark::DoNotOptimize(on);
                },
                name);
            break;
        case 1:
            time_reads(
                state,
                [&] {
                    std::vector<int> values = context->getProfileParameter(kProfile, ieq_amount);
                    benchmark::DoNotOptimize(values.data());
                },
                name);
            break;
        default:
            time_reads(
                state,
                [&] {
                    int id = context->getSelectedProfile()->getProfileId();
                    benchmark::DoNotOptimize(id);
                },
                name);
            break;
    }
}

const Registrar registrar([] {
    // A fixed number of reads each: enough for a 99th percentile, and the same for the
    // figure and its floor.
    const BenchEnvironment& env = BenchEnvironment::get();
    const int64_t reads = env.once() ? 1 : env.brief() ? 1000 : 200000;
    for (int command : {0, 1, 10}) {
        benchmark::RegisterBenchmark(("get/command:" + std::to_string(command)).c_str(), get,
                                     command)
            ->UseRealTime()
            ->Unit(benchmark::kNanosecond)
            ->Iterations(reads);
        benchmark::RegisterBenchmark(("get_floor/command:" + std::to_string(command)).c_str(),
                                     get_floor, command)
            ->UseRealTime()
            ->Unit(benchmark::kNanosecond)
            ->Iterations(reads);
    }
});

}  // namespace

}  // namespace velora::bench
