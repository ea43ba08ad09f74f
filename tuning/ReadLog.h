/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>
#include <vector>

namespace velora {

// The lines one read of a tuning file wrote to the log (under the reader's tag), kept so that
// a caller that uses the read's result twice can say twice what reading it said.
//
// Threading: one thread at a time.
class ReadLog {
  public:
    // Writes the line to the log and keeps it.
    void write(int priority, const std::string& text);
    // Writes every kept line to the log again, in its order.
    void writeAgain() const;
    void clear() { mLines.clear(); }
    bool empty() const { return mLines.empty(); }

  private:
    struct Line {
        int priority;
        std::string text;
    };
    std::vector<Line> mLines;
};

}  // namespace velora
