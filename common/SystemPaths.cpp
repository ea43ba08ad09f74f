/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "common/SystemPaths.h"

#include <mutex>

namespace velora {

namespace {

std::mutex& rootLock() {
    static std::mutex lock;
    return lock;
}

// Held without the trailing slash, so "/" is stored as the empty text.
std::string& rootText() {
    static std::string root;
    return root;
}

}  // namespace

void SystemPaths::setRoot(const std::string& root) {
    std::string trimmed = root;
    while (!trimmed.empty() && trimmed.back() == '/') trimmed.pop_back();
    std::lock_guard<std::mutex> guard(rootLock());
    rootText() = trimmed;
}

std::string SystemPaths::getRoot() {
    std::lock_guard<std::mutex> guard(rootLock());
    return rootText().empty() ? std::string("/") : rootText();
}

std::string SystemPaths::resolve(const std::string& devicePath) {
    std::lock_guard<std::mutex> guard(rootLock());
    return rootText() + devicePath;
}

}  // namespace velora
