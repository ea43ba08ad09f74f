/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>

namespace velora {

// Told by TuningFileParser what it does with the parts of a file it does not take as they
// stand: a section it drops, an element it takes by position, something it ignores, a value
// it reads as something else. Every report carries the file's line. The reader builds no
// message and looks at no line unless a sink is set, so the service's own reads pay nothing.
//
// Threading: called on the thread that runs the parser, during setTuningFile.
class TuningDiagnostics {
  public:
    enum class Severity { kWarning, kError };

    virtual ~TuningDiagnostics() = default;

    // Line 0 stands for the file as a whole.
    virtual void report(Severity severity, long line, const std::string& message) = 0;
    // Each record the reader keeps, with the line of the element it was read from, so that
    // findings across records (duplicates, names that point nowhere) can name their lines.
    virtual void recordRead(const void* /*record*/, long /*line*/) {}
    // The line of the "format_version" element that set the format version.
    virtual void formatVersionRead(long /*line*/) {}
};

}  // namespace velora
