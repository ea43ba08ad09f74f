/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "VlrDatabaseProvider"

#include "store/DamagedDatabaseFiles.h"

#include <log/log.h>
#include <stdio.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

namespace velora {

namespace {

// Files SQLite keeps beside a database, which belong to it and go with it.
constexpr const char* kCompanions[] = {"-journal", "-wal", "-shm"};

bool exists_at(const std::string& path) {
    std::error_code error;
    return std::filesystem::symlink_status(path, error).type() !=
           std::filesystem::file_type::not_found;
}

std::string utc_now() {
    time_t now = time(nullptr);
    struct tm utc;
    gmtime_r(&now, &utc);
    char text[32];
    strftime(text, sizeof(text), "%Y%m%dT%H%M%SZ", &utc);
    return text;
}

bool is_companion(const std::string& name) {
    for (const char* suffix : kCompanions) {
        size_t length = strlen(suffix);
        if (name.size() > length && name.compare(name.size() - length, length, suffix) == 0) {
            return true;
        }
    }
    return false;
}

void remove_copy(const std::string& path) {
    std::error_code error;
    std::filesystem::remove_all(path, error);
    for (const char* suffix : kCompanions) std::filesystem::remove_all(path + suffix, error);
    if (error)
        ALOGW("cannot remove the old damaged database %s: %s", path.c_str(),
              error.message().c_str());
}

}  // namespace

bool DamagedDatabaseFiles::moveAside(const std::string& path, std::string* aside,
                                     std::string* error) {
    std::filesystem::path file(path);
    const std::string prefix = file.filename().string() + ".damaged-";
    std::string target = path + ".damaged-" + utc_now();
    // Two damaged files within one second (a damaged rebuild) must not overwrite each other.
    for (int n = 2; exists_at(target); ++n) {
        target = path + ".damaged-" + utc_now() + "-" + std::to_string(n);
    }
    if (rename(path.c_str(), target.c_str()) != 0) {
        *error = std::strerror(errno);
        return false;
    }
    for (const char* suffix : kCompanions) {
        // A journal left beside the new file would be played into it at the next open.
        if (exists_at(path + suffix) &&
            rename((path + suffix).c_str(), (target + suffix).c_str()) != 0) {
            ALOGW("cannot move %s%s aside: %s", path.c_str(), suffix, std::strerror(errno));
        }
    }
    *aside = target;

    std::vector<std::string> copies;
    std::error_code listError;
    std::filesystem::directory_iterator it(file.parent_path(), listError);
    for (; !listError && it != std::filesystem::directory_iterator(); it.increment(listError)) {
        std::string name = it->path().filename().string();
        if (name.compare(0, prefix.size(), prefix) == 0 && !is_companion(name)) {
            copies.push_back(it->path().string());
        }
    }
    // The names end in the time they were moved aside, so sorting them sorts by age.
    std::sort(copies.begin(), copies.end());
    for (size_t i = 0; i + kKeptCopies < copies.size(); ++i) remove_copy(copies[i]);
    return true;
}

}  // namespace velora
