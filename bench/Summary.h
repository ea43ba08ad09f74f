/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>

namespace velora::bench {

// The table a run ends with: every figure beside its floor, their ratio, and the figure's
// target, as markdown (docs/performance.md quotes it).
class Summary {
  public:
    // The table over the results of this process; rows whose benchmarks did not run are
    // left out.
    static std::string markdown();
};

}  // namespace velora::bench
