/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// velora_bench: what the settings service costs at start-up, per client write and read, at
// saving and in memory, each beside the least work that does the same on this machine.
//
// Options besides Google Benchmark's own (--benchmark_filter=..., --benchmark_format=json):
//   --brief            run every benchmark a few times only, to prove they all still work
//   --once             one measured call per benchmark (for counting instructions under
//                      valgrind --tool=callgrind; see scripts/bench.sh --instructions)
//   --summary=FILE     also write the closing table (markdown) to FILE
//   --velorad=PATH     the daemon to measure peak memory of (default: the one built with it)
//   --log              keep the service's informational log lines (off: they go to stderr on
//                      the host and would be measured as part of the work)

#include <android/log.h>
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <string.h>

#include <fstream>
#include <string>
#include <vector>

#include "bench/BenchEnvironment.h"
#include "bench/Registrar.h"
#include "bench/Summary.h"

int main(int argc, char** argv) {
    using velora::bench::BenchEnvironment;
    BenchEnvironment& env = BenchEnvironment::get();
#ifdef VELORA_VELORAD
    env.setVelorad(VELORA_VELORAD);
#endif
    std::string summaryFile;
    bool keepLog = false;
    std::vector<char*> args;
    for (int i = 0; i < argc; ++i) {
        if (strcmp(argv[i], "--brief") == 0) {
            env.setBrief(true);
        } else if (strcmp(argv[i], "--once") == 0) {
            env.setOnce(true);
        } else if (strncmp(argv[i], "--summary=", 10) == 0) {
            summaryFile = argv[i] + 10;
        } else if (strncmp(argv[i], "--velorad=", 10) == 0) {
            env.setVelorad(argv[i] + 10);
        } else if (strcmp(argv[i], "--log") == 0) {
            keepLog = true;
        } else {
            args.push_back(argv[i]);
        }
    }
    if (!keepLog) __android_log_set_minimum_priority(ANDROID_LOG_WARN);

    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
    velora::bench::Registrar::registerAll();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    env.cleanUp();

    std::string table = velora::bench::Summary::markdown();
    printf("\n%s", table.c_str());
    if (!summaryFile.empty()) {
        std::ofstream out(summaryFile, std::ios::trunc);
        out << table;
        if (!out) {
            fprintf(stderr, "cannot write %s\n", summaryFile.c_str());
            return 1;
        }
    }
    return 0;
}
