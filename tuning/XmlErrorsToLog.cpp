/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tuning/XmlErrorsToLog.h"

#include <android/log.h>
#include <libxml/parser.h>

#include <cstdio>
#include <string>

namespace velora {

XmlErrorsToLog::XmlErrorsToLog(ReadLog* log)
    : mHandler(xmlStructuredError), mContext(xmlStructuredErrorContext) {
    xmlSetStructuredErrorFunc(log, &XmlErrorsToLog::logError);
}

XmlErrorsToLog::~XmlErrorsToLog() { xmlSetStructuredErrorFunc(mContext, mHandler); }

void XmlErrorsToLog::logError(void* context, Error error) {
    if (error == nullptr) return;
    std::string message = error->message != nullptr ? error->message : "";
    while (!message.empty() && (message.back() == '\n' || message.back() == '\r')) {
        message.pop_back();
    }
    // As liblog formats a line: at most 1023 bytes.
    char text[1024];
    snprintf(text, sizeof(text), "libxml2: %s:%d: %s", error->file != nullptr ? error->file : "",
             error->line, message.c_str());
    static_cast<ReadLog*>(context)->write(
        error->level == XML_ERR_WARNING ? ANDROID_LOG_WARN : ANDROID_LOG_ERROR, text);
}

}  // namespace velora
