/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// Peak resident memory of the host daemon over its whole life: started on a root with the
// tuning file of the scale, the settings system brought up by a client (veloractl writes one
// parameter, which registers, applies, unregisters and saves), then stopped with SIGTERM,
// which saves again. The kernel's peak (ru_maxrss of the child) is the figure; the daemon's
// resident size before the settings system starts (transport and libraries only) and the
// private anonymous memory after it started are reported beside it.

#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/resource.h>

#include <string>

#include "bench/BenchEnvironment.h"
#include "bench/Registrar.h"
#include "bench/Samples.h"
#include "common/SystemPaths.h"
#include "testutil/TempRoot.h"
#include "testutil/ToolProcess.h"

namespace velora::bench {

namespace {

constexpr std::chrono::seconds kReadyTimeout{30};
constexpr std::chrono::seconds kStopTimeout{60};

void velorad_rss(benchmark::State& state, int scale) {
    BenchEnvironment& env = BenchEnvironment::get();
#ifdef VELORA_VELORACTL
    const std::string veloractl = VELORA_VELORACTL;
#else
    const std::string veloractl;
#endif
    if (env.velorad().empty() || veloractl.empty()) {
        state.SkipWithError("this build has no velorad or veloractl");
        return;
    }
    long peakKib = 0, idleKib = 0, anonKib = 0;
    for (auto _ : state) {
        testing::TempRoot root;
        root.install(env.tuningFile(scale), SystemPaths::kDefaultTuningFile);
        root.install(env.oemFile(), SystemPaths::kOemTuningFile);
        testing::ToolProcess daemon;
        if (!daemon.start({env.velorad(), "--root", root.path()}, "/dev/null") ||
            !daemon.waitForLine("velorad ready", kReadyTimeout)) {
            state.SkipWithError("velorad did not get ready");
            return;
        }
        idleKib = daemon.statusKib("VmRSS");
        const bool applied =
            testing::run_tool({veloractl, "--root", root.path(), "set", "0", "ieq-amount", "8"},
                              root.path())
                .status == 0;
        anonKib = daemon.statusKib("RssAnon");
        struct rusage usage = {};
        daemon.signal(SIGTERM);
        const int status = daemon.wait(kStopTimeout, &usage);
        if (!applied) {
            state.SkipWithError("veloractl could not write through velorad");
            return;
        }
        if (status != 0) {
            state.SkipWithError("velorad did not stop cleanly");
            return;
        }
        peakKib = usage.ru_maxrss;
    }
    state.counters["peak_kib"] = static_cast<double>(peakKib);
    state.counters["idle_kib"] = static_cast<double>(idleKib);
    state.counters["anon_kib"] = static_cast<double>(anonKib);
    Result result;
    result.value = static_cast<double>(peakKib) * 1024.0;
    Results::get().put("velorad_rss/x" + std::to_string(scale), result);
    Result idle;
    idle.value = static_cast<double>(idleKib) * 1024.0;
    Results::get().put("velorad_idle_rss/x" + std::to_string(scale), idle);
    Result anon;
    anon.value = static_cast<double>(anonKib) * 1024.0;
    Results::get().put("velorad_anon_rss/x" + std::to_string(scale), anon);
}

const Registrar registrar([] {
    for (int scale : {1, 16}) {
        benchmark::RegisterBenchmark(("velorad_rss/x" + std::to_string(scale)).c_str(), velorad_rss,
                                     scale)
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    }
});

}  // namespace

}  // namespace velora::bench
