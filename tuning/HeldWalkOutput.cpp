/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "TuningFileParser"

#include "tuning/HeldWalkOutput.h"

#include <log/log.h>

#include <cstdarg>
#include <cstdio>

namespace velora {

thread_local HeldWalkOutput* HeldWalkOutput::sHeld = nullptr;

HeldWalkOutput::HeldWalkOutput(TuningDiagnostics* sink) : mSink(sink), mOuter(sHeld) {
    sHeld = this;
}

HeldWalkOutput::~HeldWalkOutput() { sHeld = mOuter; }

void HeldWalkOutput::release(ReadLog* log) {
    sHeld = mOuter;
    for (const Held& held : mHeld) {
        switch (held.kind) {
            case Held::kLog:
                log->write(held.priority, held.text);
                break;
            case Held::kReport:
                mSink->report(held.severity, held.line, held.text);
                break;
            case Held::kRecord:
                mSink->recordRead(held.record, held.line);
                break;
            case Held::kFormatVersion:
                mSink->formatVersionRead(held.line);
                break;
        }
    }
    mHeld.clear();
}

void HeldWalkOutput::log(int priority, const char* format, ...) {
    char text[1024];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    if (sHeld == nullptr) {
        __android_log_write(priority, LOG_TAG, text);
        return;
    }
    sHeld->mHeld.push_back({Held::kLog, priority, Severity::kWarning, 0, nullptr, text});
}

void HeldWalkOutput::report(Severity severity, long line, const std::string& message) {
    mHeld.push_back({Held::kReport, 0, severity, line, nullptr, message});
}

void HeldWalkOutput::recordRead(const void* record, long line) {
    mHeld.push_back({Held::kRecord, 0, Severity::kWarning, line, record, {}});
}

void HeldWalkOutput::formatVersionRead(long line) {
    mHeld.push_back({Held::kFormatVersion, 0, Severity::kWarning, line, nullptr, {}});
}

}  // namespace velora
