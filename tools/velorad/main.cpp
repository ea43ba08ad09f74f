/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <signal.h>
#include <sys/stat.h>

#include <iostream>

#include "tools/common/ArgumentParser.h"
#include "tools/velorad/Daemon.h"

namespace {

const char kDescription[] =
    "Runs the Velora settings service over the filesystem root DIR (its tuning files under\n"
    "DIR/odm/etc/velora, DIR/data/vendor/..., its database in DIR/data/vendor/velora) and\n"
    "serves it to clients such as veloractl on a Unix socket, until SIGINT or SIGTERM; then\n"
    "it saves the settings and exits (with status 1 when they could not be saved). Prints\n"
    "\"velorad ready: root DIR socket PATH\" on standard output once it serves.";

}  // namespace

int main(int argc, char** argv) {
    velora::Daemon::Options options;
    bool verbose = false;
    velora::ArgumentParser parser("velorad", kDescription);
    CLI::App& app = parser.app();
    app.add_option("--root", options.root, "the filesystem root (or $VELORA_ROOT)")
        ->envname("VELORA_ROOT")
        ->required()
        ->type_name("DIR");
    app.add_option("--socket", options.socket,
                   "the socket to serve on (default DIR/velorad.sock); only its owner may "
                   "connect")
        ->type_name("PATH");
    app.add_option("--save-delay", options.saveDelayMs,
                   "save the settings MS milliseconds after a change, with the changes made "
                   "meanwhile (default 1000); 0 saves only when a client unregisters and at "
                   "the end")
        ->type_name("MS")
        ->check(CLI::Range(0, 86400000));
    // Left out of the help: it only lets a test drop a stuck client after a few large
    // callbacks instead of thousands.
    app.add_option("--max-queued", options.maxQueuedCallbacks)
        ->group("")
        ->check(CLI::Range(1, 1000000));
    app.add_flag("-v,--verbose", verbose,
                 "log debug and verbose lines too (the log goes to standard error)");
    if (auto status = parser.parse(argc, argv, std::cout, std::cerr)) return *status;

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
