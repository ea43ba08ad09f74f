/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace velora::bench {

// A program run as a child of the benchmark, with its standard output read through a pipe
// and its standard error discarded, so that its memory can be read while it runs
// (/proc/PID/status) and its peak taken from the kernel when it ends (wait4).
class ChildProcess {
  public:
    ChildProcess() = default;
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Starts program with the arguments; false when it cannot be started.
    bool start(const std::vector<std::string>& argv);
    // Reads standard output until a line beginning with prefix arrives; false on end of
    // output or timeout.
    bool waitForLine(const std::string& prefix, std::chrono::milliseconds timeout);
    // A field of /proc/PID/status in KiB ("VmHWM", "RssAnon"); -1 when unknown.
    long statusKib(const std::string& field) const;
    // Sends the signal (0 sends none) and waits for the end; the exit status as waitpid
    // gives it, -1 on failure. usage receives the child's resource usage.
    int finish(int signal, struct rusage* usage);

    // Runs a program to its end; true when it exited with status 0.
    static bool run(const std::vector<std::string>& argv);

  private:
    pid_t mPid = -1;
    int mOutput = -1;
    std::string mBuffered;
};

}  // namespace velora::bench
