/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace velora::bench {

// Per-operation times of one benchmark run, with the order statistics the report quotes.
// Google Benchmark itself reports means; latencies are judged by their median and their
// 99th percentile, so each benchmark times every operation on its own and keeps them here.
class Samples {
  public:
    using Clock = std::chrono::steady_clock;

    void reserve(size_t n) { mNanos.reserve(n); }
    void add(Clock::duration d) {
        mNanos.push_back(std::chrono::duration_cast<std::chrono::nanoseconds>(d).count());
    }
    void addNanos(int64_t nanos) { mNanos.push_back(nanos); }
    size_t size() const { return mNanos.size(); }

    // The q-quantile (0..1) in nanoseconds, nearest rank; 0 without samples.
    double quantile(double q) const;

    // Adds p50/p99 counters (microseconds) to the benchmark's output and files the result
    // under `name` for the summary. Google Benchmark calls a benchmark several times while it
    // sizes the run; the last call, the one it reports, is the one kept.
    void publish(benchmark::State& state, const std::string& name) const;

  private:
    std::vector<int64_t> mNanos;
};

// What one benchmark run left for the summary.
struct Result {
    double p50Nanos = 0;
    double p99Nanos = 0;
    size_t count = 0;
    double perSecond = 0;  // throughput figures only
    double value = 0;      // figures that are no time (bytes of memory)
};

// The results of this process, by benchmark name.
class Results {
  public:
    static Results& get();
    void put(const std::string& name, const Result& result) { mResults[name] = result; }
    const Result* find(const std::string& name) const;

  private:
    std::map<std::string, Result> mResults;
};

}  // namespace velora::bench
