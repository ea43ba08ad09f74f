/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "KsContextManager"

#include "context/TuningFileDigest.h"

#include <fcntl.h>
#include <log/log.h>
#include <unistd.h>
#include <xxhash.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>

namespace velora {

std::string TuningFileDigest::of(const std::string& path) {
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        ALOGE("%s(): cannot open %s: %s", "digest", path.c_str(), strerror(errno));
        return std::string();
    }
    std::unique_ptr<XXH3_state_t, decltype(&XXH3_freeState)> state(XXH3_createState(),
                                                                   &XXH3_freeState);
    if (state == nullptr || XXH3_64bits_reset(state.get()) != XXH_OK) {
        close(fd);
        return std::string();
    }
    char buffer[64 * 1024];
    for (;;) {
        ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            ALOGE("%s(): cannot read %s: %s", "digest", path.c_str(), strerror(errno));
            close(fd);
            return std::string();
        }
        if (n == 0) break;
        XXH3_64bits_update(state.get(), buffer, static_cast<size_t>(n));
    }
    close(fd);
    char text[17];
    snprintf(text, sizeof(text), "%016" PRIx64,
             static_cast<uint64_t>(XXH3_64bits_digest(state.get())));
    return text;
}

}  // namespace velora
