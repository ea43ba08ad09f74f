/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "bench/Samples.h"

#include <algorithm>
#include <cmath>

namespace velora::bench {

double Samples::quantile(double q) const {
    if (mNanos.empty()) return 0;
    std::vector<int64_t> sorted = mNanos;
    size_t rank = static_cast<size_t>(std::ceil(q * static_cast<double>(sorted.size())));
    rank = std::clamp<size_t>(rank, 1, sorted.size()) - 1;
    std::nth_element(sorted.begin(), sorted.begin() + static_cast<long>(rank), sorted.end());
    return static_cast<double>(sorted[rank]);
}

void Samples::publish(benchmark::State& state, const std::string& name) const {
    Result result;
    result.p50Nanos = quantile(0.5);
    result.p99Nanos = quantile(0.99);
    result.count = mNanos.size();
    state.counters["p50_us"] = result.p50Nanos / 1000.0;
    state.counters["p99_us"] = result.p99Nanos / 1000.0;
    Results::get().put(name, result);
}

Results& Results::get() {
    static Results results;
    return results;
}

const Result* Results::find(const std::string& name) const {
    auto it = mResults.find(name);
    return it == mResults.end() ? nullptr : &it->second;
}

}  // namespace velora::bench
