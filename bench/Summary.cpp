/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "bench/Summary.h"

#include <stdio.h>

#include <vector>

#include "bench/Samples.h"

namespace velora::bench {

namespace {

enum class Kind {
    Latency,     // p50 and p99 in time; ratio of the medians
    Throughput,  // operations per second; ratio floor / figure
    Memory,      // bytes
};

struct Row {
    const char* label;
    const char* figure;
    const char* floor;  // may be null
    Kind kind;
    // Targets; 0 when not set.
    double maxRatio;
    double maxP50Micros;
    double maxP99Micros;
    double minPerSecond;
    double maxMiB;
};

// clang-format off
const std::vector<Row> kRows = {
    {"Cold start, example (1x)", "cold_start/x1", "cold_start_floor/x1", Kind::Latency, 2, 0, 0, 0, 0},
    {"Cold start, 4x", "cold_start/x4", "cold_start_floor/x4", Kind::Latency, 2, 0, 0, 0, 0},
    {"Cold start, 16x", "cold_start/x16", "cold_start_floor/x16", Kind::Latency, 2, 0, 0, 0, 0},
    {"Warm start, example (1x)", "warm_start/x1", "warm_start_floor/x1", Kind::Latency, 2, 0, 0, 0, 0},
    {"Warm start, 4x", "warm_start/x4", "warm_start_floor/x4", Kind::Latency, 2, 0, 0, 0, 0},
    {"Warm start, 16x", "warm_start/x16", "warm_start_floor/x16", Kind::Latency, 2, 0, 0, 0, 0},
    {"Client write end to end, 1 client", "write/clients:1", "write_floor", Kind::Latency, 0, 20, 100, 0, 0},
    {"Client write end to end, 4 clients", "write/clients:4", "write_floor", Kind::Latency, 0, 20, 100, 0, 0},
    {"Sustained writes, 1 client", "write_sustained/clients:1", "write_sustained_floor", Kind::Throughput, 0, 0, 0, 50000, 0},
    {"Sustained writes, 4 clients", "write_sustained/clients:4", "write_sustained_floor", Kind::Throughput, 0, 0, 0, 50000, 0},
    {"Packed get, command 0 (on/off)", "get/command:0", "get_floor/command:0", Kind::Latency, 0, 2, 0, 0, 0},
    {"Packed get, command 1 (parameter)", "get/command:1", "get_floor/command:1", Kind::Latency, 0, 2, 0, 0, 0},
    {"Packed get, command 10 (profile)", "get/command:10", "get_floor/command:10", Kind::Latency, 0, 2, 0, 0, 0},
    {"Save, all profiles changed, 1x", "save/x1", "save_floor/x1", Kind::Latency, 0, 0, 0, 0, 0},
    {"Save, all profiles changed, 16x", "save/x16", "save_floor/x16", Kind::Latency, 0, 0, 0, 0, 0},
    {"Peak RSS of velorad, example", "velorad_rss/x1", "velorad_idle_rss/x1", Kind::Memory, 0, 0, 0, 0, 16},
    {"Peak RSS of velorad, 16x", "velorad_rss/x16", "velorad_idle_rss/x16", Kind::Memory, 0, 0, 0, 0, 16},
    {"Private anonymous memory of velorad, example", "velorad_anon_rss/x1", nullptr, Kind::Memory, 0, 0, 0, 0, 0},
    {"Private anonymous memory of velorad, 16x", "velorad_anon_rss/x16", nullptr, Kind::Memory, 0, 0, 0, 0, 0},
};
// clang-format on

std::string format_time(double nanos) {
    char text[32];
    if (nanos >= 1e6) {
        snprintf(text, sizeof(text), "%.2f ms", nanos / 1e6);
    } else if (nanos >= 1e3) {
        snprintf(text, sizeof(text), "%.1f µs", nanos / 1e3);
    } else {
        snprintf(text, sizeof(text), "%.0f ns", nanos);
    }
    return text;
}

std::string format(const char* pattern, double value) {
    char text[48];
    snprintf(text, sizeof(text), pattern, value);
    return text;
}

}  // namespace

std::string Summary::markdown() {
    std::string out =
        "| Figure | Measured (p50 / p99) | Floor (p50 / p99) | Ratio | Target | Met |\n"
        "|---|---|---|---|---|---|\n";
    const Results& results = Results::get();
    for (const Row& row : kRows) {
        const Result* figure = results.find(row.figure);
        if (figure == nullptr) continue;
        const Result* floor = row.floor != nullptr ? results.find(row.floor) : nullptr;
        std::string measured, floorText = "-", ratio = "-", target;
        bool met = true;
        switch (row.kind) {
            case Kind::Latency:
                measured = format_time(figure->p50Nanos) + " / " + format_time(figure->p99Nanos);
                if (floor != nullptr) {
                    floorText = format_time(floor->p50Nanos) + " / " + format_time(floor->p99Nanos);
                    if (floor->p50Nanos > 0) {
                        double r = figure->p50Nanos / floor->p50Nanos;
                        ratio = format("%.2f×", r);
                        if (row.maxRatio > 0) met = met && r <= row.maxRatio;
                    }
                }
                if (row.maxRatio > 0) target = format("≤ %.1f× floor", row.maxRatio);
                if (row.maxP50Micros > 0) {
                    target += format("p50 ≤ %.0f µs", row.maxP50Micros);
                    met = met && figure->p50Nanos <= row.maxP50Micros * 1000;
                }
                if (row.maxP99Micros > 0) {
                    target += format(", p99 ≤ %.0f µs", row.maxP99Micros);
                    met = met && figure->p99Nanos <= row.maxP99Micros * 1000;
                }
                break;
            case Kind::Throughput:
                measured = format("%.0f writes/s", figure->perSecond);
                if (floor != nullptr) {
                    floorText = format("%.0f writes/s", floor->perSecond);
                    if (figure->perSecond > 0) {
                        ratio = format("%.2f×", floor->perSecond / figure->perSecond);
                    }
                }
                target = format("≥ %.0f writes/s", row.minPerSecond);
                met = figure->perSecond >= row.minPerSecond;
                break;
            case Kind::Memory:
                measured = format("%.1f MiB", figure->value / (1024.0 * 1024.0));
                if (floor != nullptr) {
                    floorText = format("%.1f MiB", floor->value / (1024.0 * 1024.0));
                    if (floor->value > 0) ratio = format("%.2f×", figure->value / floor->value);
                }
                if (row.maxMiB > 0) {
                    target = format("≤ %.0f MiB", row.maxMiB);
                    met = figure->value <= row.maxMiB * 1024 * 1024;
                }
                break;
        }
        std::string verdict = target.empty() ? "-" : (met ? "yes" : "**no**");
        if (target.empty()) target = "-";
        out += "| " + std::string(row.label) + " | " + measured + " | " + floorText + " | " +
               ratio + " | " + target + " | " + verdict + " |\n";
    }
    return out;
}

}  // namespace velora::bench
