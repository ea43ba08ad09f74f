/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

namespace velora {

// One user of libxml2's global state: the first live user of the process sets it up
// (xmlInitParser), the last one releases it (xmlCleanupParser). Cleaning up while another
// reader still holds a document would pull shared state from under it.
//
// Threading: users may come and go on any thread.
class XmlLibraryUse {
  public:
    XmlLibraryUse();
    ~XmlLibraryUse();
    XmlLibraryUse(const XmlLibraryUse&) = delete;
    XmlLibraryUse& operator=(const XmlLibraryUse&) = delete;
};

}  // namespace velora
