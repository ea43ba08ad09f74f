/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <iostream>

#include "tools/common/ArgumentParser.h"
#include "tools/veloractl/CommandLine.h"
#include "tools/veloractl/Controller.h"
#include "tools/veloractl/SignalWatcher.h"

int main(int argc, char** argv) {
    // Before anything starts a thread, so that every thread inherits the signal mask.
    velora::SignalWatcher signals;
    velora::CommandLine line;
    velora::ArgumentParser parser("veloractl", "");
    velora::Controller::defineCommandLine(parser, &line);
    if (auto status = parser.parse(argc, argv, std::cout, std::cerr)) return *status;
    velora::Controller controller(line, signals);
    return controller.run();
}
