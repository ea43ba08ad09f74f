/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <iostream>

#include "tools/veloractl/CommandLine.h"
#include "tools/veloractl/Controller.h"
#include "tools/veloractl/SignalWatcher.h"
#include "tools/veloractl/VeloraClient.h"

int main(int argc, char** argv) {
    // Before anything starts a thread, so that every thread inherits the signal mask.
    velora::SignalWatcher signals;
    velora::CommandLine line;
    if (!line.parse(argc, argv)) {
        std::cerr << "veloractl: " << line.error() << " (see veloractl --help)" << std::endl;
        return velora::EXIT_USAGE;
    }
    velora::Controller controller(line, signals);
    return controller.run();
}
