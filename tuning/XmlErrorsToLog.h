/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <libxml/xmlerror.h>
#include <libxml/xmlversion.h>

#include "tuning/ReadLog.h"

namespace velora {

// While it lives, sends libxml2's own diagnostics on this thread into the reader's log (and
// the read's ReadLog) instead of stderr; the previous handler comes back afterwards. libxml2
// keeps the handler per thread.
class XmlErrorsToLog {
  public:
    explicit XmlErrorsToLog(ReadLog* log);
    ~XmlErrorsToLog();
    XmlErrorsToLog(const XmlErrorsToLog&) = delete;
    XmlErrorsToLog& operator=(const XmlErrorsToLog&) = delete;

  private:
    // libxml2 2.12 made the error handler's argument const.
#if LIBXML_VERSION >= 21200
    using Error = const xmlError*;
#else
    using Error = xmlErrorPtr;
#endif
    static void logError(void* context, Error error);

    xmlStructuredErrorFunc mHandler;
    void* mContext;
};

}  // namespace velora
