/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// Start-up of the settings system, first on a fresh root (the database is built from the
// tuning file and the OEM extra tunings are merged) and then again over the database a
// first start left (the signature is unchanged, so nothing is parsed), each beside the least
// work that reads the same files and moves the same rows.

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <map>
#include <memory>
#include <string>

#include "bench/BenchEnvironment.h"
#include "bench/RawDatabase.h"
#include "bench/Registrar.h"
#include "bench/Samples.h"
#include "common/SystemPaths.h"
#include "context/KsContextManager.h"
#include "store/Provider.h"
#include "testutil/TempRoot.h"

namespace velora::bench {

namespace {

using Clock = Samples::Clock;

std::string database_path() {
    return SystemPaths::resolve(std::string(SystemPaths::kDatabaseDir) +
                                Provider::kDatabaseFileName);
}

// A root with the tuning file of the scale as the shipped default and the OEM extra file.
void install_files(const testing::TempRoot& root, int scale) {
    root.install(BenchEnvironment::get().tuningFile(scale), SystemPaths::kDefaultTuningFile);
    root.install(BenchEnvironment::get().oemFile(), SystemPaths::kOemTuningFile);
}

// The rows a first start writes for the scale, taken from one first start of this run.
const RawDatabase::Snapshot& rows_of_first_start(int scale) {
    static std::map<int, RawDatabase::Snapshot> snapshots;
    auto it = snapshots.find(scale);
    if (it != snapshots.end()) return it->second;
    testing::TempRoot root;
    install_files(root, scale);
    { KsContextManager manager; }
    return snapshots[scale] = RawDatabase::capture(database_path());
}

// The measured work sits in functions of their own, kept out of line, so that an
// instruction profile (valgrind --tool=callgrind --toggle-collect=...) can count each one
// alone, free of the machine's noise.
__attribute__((noinline)) std::unique_ptr<KsContextManager> start_settings_system() {
    return std::make_unique<KsContextManager>();
}

bool read_xml(const std::string& path) {
    xmlDocPtr doc = xmlReadFile(path.c_str(), nullptr, 0);
    if (doc == nullptr) return false;
    xmlFreeDoc(doc);
    return true;
}

__attribute__((noinline)) bool first_start_floor(const std::string& tuningFile,
                                                 const std::string& oemFile,
                                                 const RawDatabase::Snapshot& rows,
                                                 const std::string& path) {
    return read_xml(tuningFile) && read_xml(oemFile) && RawDatabase::insertAll(rows, path);
}

__attribute__((noinline)) long start_again_floor(const RawDatabase::Snapshot& rows,
                                                 const std::string& path) {
    return RawDatabase::readAll(rows, path);
}

void cold_start(benchmark::State& state, int scale) {
    Samples samples;
    for (auto _ : state) {
        testing::TempRoot root;
        install_files(root, scale);
        Clock::time_point start = Clock::now();
        auto manager = start_settings_system();
        Clock::duration elapsed = Clock::now() - start;
        bool started = manager->getKsContext() != nullptr;
        manager.reset();
        if (!started) {
            state.SkipWithError("start-up made no context");
            return;
        }
        samples.add(elapsed);
        state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
    }
    state.counters["file_kib"] =
        static_cast<double>(BenchEnvironment::get().tuningFileSize(scale)) / 1024.0;
    samples.publish(state, "cold_start/x" + std::to_string(scale));
}

// Reads the tuning file and the OEM file once each and inserts the same rows into a fresh
// database in one transaction with prepared statements.
void cold_start_floor(benchmark::State& state, int scale) {
    const RawDatabase::Snapshot& rows = rows_of_first_start(scale);
    std::string tuningFile = BenchEnvironment::get().tuningFile(scale);
    std::string oemFile = BenchEnvironment::get().oemFile();
    Samples samples;
    for (auto _ : state) {
        testing::TempRoot root;
        std::string path = database_path();
        Clock::time_point start = Clock::now();
        bool ok = first_start_floor(tuningFile, oemFile, rows, path);
        Clock::duration elapsed = Clock::now() - start;
        if (!ok) {
            state.SkipWithError("raw insert failed");
            return;
        }
        samples.add(elapsed);
        state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
    }
    state.counters["rows"] = static_cast<double>(rows.rows());
    samples.publish(state, "cold_start_floor/x" + std::to_string(scale));
}

void warm_start(benchmark::State& state, int scale) {
    testing::TempRoot root;
    install_files(root, scale);
    { KsContextManager first; }
    Samples samples;
    for (auto _ : state) {
        Clock::time_point start = Clock::now();
        auto manager = start_settings_system();
        Clock::duration elapsed = Clock::now() - start;
        bool started = manager->getKsContext() != nullptr;
        manager.reset();
        if (!started) {
            state.SkipWithError("start-up made no context");
            return;
        }
        samples.add(elapsed);
        state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
    }
    samples.publish(state, "warm_start/x" + std::to_string(scale));
}

// Opens the database a first start left and reads every row of every table.
void warm_start_floor(benchmark::State& state, int scale) {
    const RawDatabase::Snapshot& rows = rows_of_first_start(scale);
    testing::TempRoot root;
    std::string path = database_path();
    if (!RawDatabase::insertAll(rows, path)) {
        state.SkipWithError("raw insert failed");
        return;
    }
    Samples samples;
    long read = 0;
    for (auto _ : state) {
        Clock::time_point start = Clock::now();
        read = start_again_floor(rows, path);
        Clock::duration elapsed = Clock::now() - start;
        if (read < 0) {
            state.SkipWithError("raw read failed");
            return;
        }
        samples.add(elapsed);
        state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
    }
    state.counters["rows"] = static_cast<double>(read);
    samples.publish(state, "warm_start_floor/x" + std::to_string(scale));
}

const Registrar registrar([] {
    const BenchEnvironment& env = BenchEnvironment::get();
    for (int scale : {1, 4, 16}) {
        double coldTime = scale == 16 ? 4.0 : 2.0;
        benchmark::RegisterBenchmark(("cold_start/x" + std::to_string(scale)).c_str(), cold_start,
                                     scale)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->Apply(env.measureFor(coldTime));
        benchmark::RegisterBenchmark(("cold_start_floor/x" + std::to_string(scale)).c_str(),
                                     cold_start_floor, scale)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->Apply(env.measureFor(coldTime));
        benchmark::RegisterBenchmark(("warm_start/x" + std::to_string(scale)).c_str(), warm_start,
                                     scale)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->Apply(env.measureFor(2.0));
        benchmark::RegisterBenchmark(("warm_start_floor/x" + std::to_string(scale)).c_str(),
                                     warm_start_floor, scale)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond)
            ->Apply(env.measureFor(2.0));
    }
});

}  // namespace

}  // namespace velora::bench
