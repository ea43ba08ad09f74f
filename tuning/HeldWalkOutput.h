/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>
#include <vector>

#include "tuning/ReadLog.h"
#include "tuning/TuningDiagnostics.h"

namespace velora {

// The walk's log lines and diagnostics while the file is still being parsed: held until the
// parse has ended, then given out in the order they came, or dropped when the file turned out
// not to be well-formed XML. So a broken file logs and reports what it did when it was parsed
// whole before the walk: its libxml2 errors and the failure, nothing of the elements before
// the break. One parser runs on one thread at a time, so what is held is kept per thread;
// holders nest.
class HeldWalkOutput : public TuningDiagnostics {
  public:
    // Holds from now on; reports go to `sink` at release (none when it is null).
    explicit HeldWalkOutput(TuningDiagnostics* sink);
    ~HeldWalkOutput() override;
    HeldWalkOutput(const HeldWalkOutput&) = delete;
    HeldWalkOutput& operator=(const HeldWalkOutput&) = delete;

    // Where the walk reports while this is held: here, when a sink was set at all.
    TuningDiagnostics* diagnostics() { return mSink != nullptr ? this : nullptr; }

    // Writes every held line to `log` and reports everything held to the sink, in order, and
    // holds nothing more.
    void release(ReadLog* log);

    // A log line of the walk, formatted as liblog formats ALOG lines (at most 1023 bytes):
    // held while a holder lives on this thread, written now otherwise.
    __attribute__((format(printf, 2, 3))) static void log(int priority, const char* format, ...);

    void report(Severity severity, long line, const std::string& message) override;
    void recordRead(const void* record, long line) override;
    void formatVersionRead(long line) override;

  private:
    struct Held {
        enum Kind { kLog, kReport, kRecord, kFormatVersion } kind;
        int priority;
        Severity severity;
        long line;
        const void* record;
        std::string text;
    };
    static thread_local HeldWalkOutput* sHeld;
    TuningDiagnostics* mSink;
    HeldWalkOutput* mOuter;
    std::vector<Held> mHeld;
};

}  // namespace velora
