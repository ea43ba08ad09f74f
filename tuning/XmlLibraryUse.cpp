/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tuning/XmlLibraryUse.h"

#include <libxml/parser.h>
#include <utils/Mutex.h>

namespace velora {

namespace {

android::Mutex& library_lock() {
    static android::Mutex lock;
    return lock;
}

int& live_users() {
    static int count = 0;
    return count;
}

}  // namespace

XmlLibraryUse::XmlLibraryUse() {
    android::Mutex::Autolock guard(library_lock());
    if (live_users()++ == 0) xmlInitParser();
}

XmlLibraryUse::~XmlLibraryUse() {
    android::Mutex::Autolock guard(library_lock());
    if (--live_users() == 0) xmlCleanupParser();
}

}  // namespace velora
