/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <signal.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tools/velorad/Daemon.h"

namespace {

const char kUsage[] =
    "Usage: velorad --root DIR [--socket PATH] [--save-delay MS] [--verbose]\n"
    "\n"
    "Runs the Velora settings service over the filesystem root DIR (its tuning files under\n"
    "DIR/odm/etc/velora, DIR/data/vendor/..., its database in DIR/data/vendor/velora) and\n"
    "serves it to clients such as veloractl on a Unix socket, until SIGINT or SIGTERM; then\n"
    "it saves the settings and exits (with status 1 when they could not be saved).\n"
    "\n"
    "  --root DIR     the filesystem root (required)\n"
    "  --socket PATH  the socket to serve on (default DIR/velorad.sock); only its owner may\n"
    "                 connect\n"
    "  --save-delay MS  save the settings MS milliseconds after a change, with the changes\n"
    "                 made meanwhile (default 1000); 0 saves only when a client unregisters\n"
    "                 and at the end\n"
    "  --verbose      log debug and verbose lines too (the log goes to standard error)\n"
    "  --help         this text\n"
    "\n"
    "Prints \"velorad ready: root DIR socket PATH\" on standard output once it serves.\n";

int usage_error(const std::string& message) {
    std::fprintf(stderr, "velorad: %s\n\n%s", message.c_str(), kUsage);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    velora::Daemon::Options options;
    bool verbose = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (arg == "--verbose" || arg == "-v") {
            verbose = true;
        } else if (arg == "--root" || arg == "--socket") {
            if (i + 1 >= argc) return usage_error(arg + " needs a value");
            (arg == "--root" ? options.root : options.socket) = argv[++i];
        } else if (arg == "--save-delay" || arg.rfind("--save-delay=", 0) == 0) {
            std::string value;
            if (arg == "--save-delay") {
                if (i + 1 >= argc) return usage_error(arg + " needs a value");
                value = argv[++i];
            } else {
                value = arg.substr(13);
            }
            char* end = nullptr;
            errno = 0;
            const long long ms = std::strtoll(value.c_str(), &end, 10);
            if (value.empty() || *end != '\0' || errno != 0 || ms < 0 || ms > 86400000) {
                return usage_error("--save-delay needs milliseconds from 0 to 86400000, not " +
                                   value);
            }
            options.saveDelayMs = ms;
        } else if (arg == "--max-queued") {
            // Left out of the usage: it only lets a test drop a stuck client after a few
            // large callbacks instead of thousands.
            if (i + 1 >= argc) return usage_error(arg + " needs a value");
            const std::string value = argv[++i];
            char* end = nullptr;
            errno = 0;
            const long long count = std::strtoll(value.c_str(), &end, 10);
            if (value.empty() || *end != '\0' || errno != 0 || count < 1 || count > 1000000) {
                return usage_error("--max-queued needs a count from 1 to 1000000, not " + value);
            }
            options.maxQueuedCallbacks = static_cast<size_t>(count);
        } else if (arg.rfind("--root=", 0) == 0) {
            options.root = arg.substr(7);
        } else if (arg.rfind("--socket=", 0) == 0) {
            options.socket = arg.substr(9);
        } else {
            return usage_error("unknown argument " + arg);
        }
    }
    if (options.root.empty()) return usage_error("--root DIR is required");

    // Before any thread exists, so every thread inherits it: the signals are taken by the
    // daemon's main thread alone, with sigwait, and never interrupt the service's threads.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);
    // The socket and every file the service creates (database, parameter store) are the
    // owner's alone.
    umask(077);
    __android_log_set_minimum_priority(verbose ? ANDROID_LOG_VERBOSE : ANDROID_LOG_INFO);

    velora::Daemon daemon(options);
    return daemon.run();
}
