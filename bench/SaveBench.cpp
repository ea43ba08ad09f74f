/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// The save a client's unregistration and the service's shutdown make: the effect state, the
// selected profile, every profile's records and the tuning device of every port, in one
// transaction, after a change to every profile. Beside it the floor: the same rows replaced
// with prepared statements in one transaction.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "bench/BenchEnvironment.h"
#include "bench/RawDatabase.h"
#include "bench/Registrar.h"
#include "bench/Samples.h"
#include "common/SystemPaths.h"
#include "context/KsContextManager.h"
#include "service/KsManager.h"
#include "store/Provider.h"
#include "testutil/TempRoot.h"

namespace velora::bench {

namespace {

using Clock = Samples::Clock;

constexpr int kIeqAmountId = 107;

std::string database_path() {
    return SystemPaths::resolve(std::string(SystemPaths::kDatabaseDir) +
                                Provider::kDatabaseFileName);
}

// A started settings system with its facade, on a root of its own.
struct Saver {
    testing::TempRoot root;
    std::unique_ptr<KsContextManager> contextManager;
    std::unique_ptr<KsManager> manager;

    explicit Saver(int scale) {
        BenchEnvironment& env = BenchEnvironment::get();
        root.install(env.tuningFile(scale), SystemPaths::kDefaultTuningFile);
        root.install(env.oemFile(), SystemPaths::kOemTuningFile);
        contextManager = std::make_unique<KsContextManager>();
        if (contextManager->getKsContext() == nullptr) return;
        manager = std::make_unique<KsManager>(*contextManager);
        if (manager->init() != 0) manager.reset();
    }
    ~Saver() {
        manager.reset();
        contextManager.reset();
    }

    // Changes one value of every profile.
    void changeAllProfiles(int value) {
        for (int profile = 0; profile < manager->getNumOfProfiles(); ++profile) {
            manager->setParameter(profile, kIeqAmountId, {value});
        }
    }
};

void save(benchmark::State& state, int scale) {
    Saver saver(scale);
    if (saver.manager == nullptr) {
        state.SkipWithError("the settings system did not start");
        return;
    }
    Samples samples;
    int turn = 0;
    for (auto _ : state) {
        saver.changeAllProfiles(turn++ % 2 == 0 ? 3 : 9);
        Clock::time_point start = Clock::now();
        saver.manager->saveKsStateAndSettings();
        Clock::duration elapsed = Clock::now() - start;
        samples.add(elapsed);
        state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
    }
    state.counters["profiles"] = saver.manager->getNumOfProfiles();
    samples.publish(state, "save/x" + std::to_string(scale));
}

void save_floor(benchmark::State& state, int scale) {
    RawDatabase::Snapshot rows;
    {
        // The rows as a save leaves them.
        Saver saver(scale);
        if (saver.manager == nullptr) {
            state.SkipWithError("the settings system did not start");
            return;
        }
        saver.changeAllProfiles(3);
        saver.manager->saveKsStateAndSettings();
        rows = RawDatabase::capture(database_path());
    }
    testing::TempRoot root;
    std::string path = database_path();
    if (!RawDatabase::insertAll(rows, path)) {
        state.SkipWithError("raw insert failed");
        return;
    }
    RawDatabase db(path);
    Samples samples;
    for (auto _ : state) {
        Clock::time_point start = Clock::now();
        bool ok = db.rewrite(rows);
        Clock::duration elapsed = Clock::now() - start;
        if (!ok) {
            state.SkipWithError("raw rewrite failed");
            return;
        }
        samples.add(elapsed);
        state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
    }
    samples.publish(state, "save_floor/x" + std::to_string(scale));
}

const Registrar registrar([] {
    const BenchEnvironment& env = BenchEnvironment::get();
    for (int scale : {1, 16}) {
        benchmark::RegisterBenchmark(("save/x" + std::to_string(scale)).c_str(), save, scale)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->Apply(env.measureFor(2.0));
        benchmark::RegisterBenchmark(("save_floor/x" + std::to_string(scale)).c_str(), save_floor,
                                     scale)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->Apply(env.measureFor(2.0));
    }
});

}  // namespace

}  // namespace velora::bench
