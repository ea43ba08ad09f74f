/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "testutil/LogCapture.h"

#include <algorithm>
#include <mutex>

namespace velora::testing {

namespace {

// liblog calls the logger while holding its own lock; this lock is only ever taken inside the
// logger or by readers that never call into liblog while holding it.
std::mutex gLock;
std::vector<LogLine>* gLines = nullptr;

void captureLogger(const struct __android_logger_data* data, const char* message) {
    std::lock_guard<std::mutex> guard(gLock);
    if (gLines)
        gLines->push_back({data->priority, data->tag ? data->tag : "", message ? message : ""});
}

}  // namespace

LogCapture::LogCapture() {
    {
        std::lock_guard<std::mutex> guard(gLock);
        gLines = new std::vector<LogLine>();
    }
    __android_log_set_logger(captureLogger);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
}

LogCapture::~LogCapture() {
    __android_log_set_minimum_priority(ANDROID_LOG_INFO);
    __android_log_set_logger(__android_log_stderr_logger);
    std::lock_guard<std::mutex> guard(gLock);
    delete gLines;
    gLines = nullptr;
}

std::vector<LogLine> LogCapture::lines() const {
    std::lock_guard<std::mutex> guard(gLock);
    return gLines ? *gLines : std::vector<LogLine>();
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> guard(gLock);
    if (gLines) gLines->clear();
}

bool LogCapture::contains(const std::string& tag, int priority, const std::string& message) const {
    const auto all = lines();
    return std::any_of(all.begin(), all.end(), [&](const LogLine& line) {
        return line.tag == tag && line.priority == priority && line.message == message;
    });
}

bool LogCapture::containsMessage(const std::string& message) const {
    return countMessage(message) > 0;
}

size_t LogCapture::countMessage(const std::string& message) const {
    const auto all = lines();
    return std::count_if(all.begin(), all.end(),
                         [&](const LogLine& line) { return line.message == message; });
}

std::vector<LogLine> LogCapture::linesWithTag(const std::string& tag) const {
    std::vector<LogLine> result;
    for (const LogLine& line : lines())
        if (line.tag == tag) result.push_back(line);
    return result;
}

std::string LogCapture::dump() const {
    std::string text;
    for (const LogLine& line : lines()) {
        const bool known =
            line.priority >= ANDROID_LOG_VERBOSE && line.priority <= ANDROID_LOG_FATAL;
        text += (known ? "VDIWEF"[line.priority - ANDROID_LOG_VERBOSE] : '?');
        text += "/" + line.tag + ": " + line.message + "\n";
    }
    return text;
}

}  // namespace velora::testing
