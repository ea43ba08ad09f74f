/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "TuningFileParser"

#include "tuning/ReadLog.h"

#include <log/log.h>

namespace velora {

void ReadLog::write(int priority, const std::string& text) {
    __android_log_write(priority, LOG_TAG, text.c_str());
    mLines.push_back({priority, text});
}

void ReadLog::writeAgain() const {
    for (const Line& line : mLines) __android_log_write(line.priority, LOG_TAG, line.text.c_str());
}

}  // namespace velora
