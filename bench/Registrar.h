/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <functional>
#include <vector>

namespace velora::bench {

// Collects the functions that register each file's benchmarks, so that they register after
// the command line is read (a brief run measures for less time) and only for the parts this
// build has. A file adds itself with a static Registrar.
class Registrar {
  public:
    explicit Registrar(std::function<void()> registerBenchmarks) {
        all().push_back(std::move(registerBenchmarks));
    }
    static void registerAll() {
        for (const auto& registerBenchmarks : all()) registerBenchmarks();
    }

  private:
    static std::vector<std::function<void()>>& all() {
        static std::vector<std::function<void()>> functions;
        return functions;
    }
};

}  // namespace velora::bench
