/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <android/log.h>

#include <string>
#include <vector>

namespace velora::testing {

struct LogLine {
    int priority;
    std::string tag;
    std::string message;
};

// Captures every line written through liblog while it lives, and lowers the minimum priority
// to verbose so that debug and verbose lines are seen too. Only one capture may live at a
// time. On destruction the default stderr logger and the INFO minimum come back.
class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> lines() const;
    void clear();

    // Exact match of tag, priority and text.
    bool contains(const std::string& tag, int priority, const std::string& message) const;
    // Exact match of the text only, any tag or priority.
    bool containsMessage(const std::string& message) const;
    // Number of lines with exactly this text.
    size_t countMessage(const std::string& message) const;
    // The lines of one tag, in order.
    std::vector<LogLine> linesWithTag(const std::string& tag) const;
    // All captured lines as "P/tag: message", one a line, for failure output.
    std::string dump() const;
};

}  // namespace velora::testing
