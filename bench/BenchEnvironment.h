/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace velora::bench {

// What every benchmark of the run shares: the run's mode, the repository's example files and
// the larger tuning files generated from the example into a temporary folder of the run
// (removed at exit; nothing large is kept in the repository).
class BenchEnvironment {
  public:
    static BenchEnvironment& get();

    // A brief run proves that every benchmark still works, with as few repetitions as that
    // takes; its numbers are not for reading.
    bool brief() const { return mBrief; }
    void setBrief(bool brief) { mBrief = brief; }
    // Every benchmark makes exactly one measured call, for counting the instructions of one
    // operation under valgrind (callgrind) rather than timing it.
    bool once() const { return mOnce; }
    void setOnce(bool once) { mOnce = once; }

    // How long a benchmark measures: `seconds` at least in a full run, a hundredth of a
    // second in a brief one, and one single iteration when once() is set. For Apply().
    using Configure = void (*)(benchmark::internal::Benchmark*);
    Configure measureFor(double seconds) const;

    // The velorad program, for the memory figures; empty when the build has none.
    const std::string& velorad() const { return mVelorad; }
    void setVelorad(const std::string& path) { mVelorad = path; }

    static std::string sourceDir();
    std::string exampleFile() const;
    std::string oemFile() const;
    // The tuning file of the given scale: the example for 1, a generated one otherwise.
    // Empty when it could not be made.
    std::string tuningFile(int scale);
    // The size in bytes of tuningFile(scale).
    long tuningFileSize(int scale);

    // Runs at cleanUp(), last added first: fixtures kept alive across benchmark calls (a
    // running service) are taken down there, before the process exits.
    void atCleanUp(std::function<void()> action) { mCleanUps.push_back(std::move(action)); }
    // Takes the fixtures down and removes the generated files.
    void cleanUp();

  private:
    BenchEnvironment() = default;

    bool mBrief = false;
    bool mOnce = false;
    std::string mVelorad;
    std::string mWorkDir;
    std::map<int, std::string> mFiles;
    std::vector<std::function<void()>> mCleanUps;
};

}  // namespace velora::bench
