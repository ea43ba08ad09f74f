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

namespace velora::testing {

// A host program run as a child process by a test or a benchmark: standard output comes back
// through a pipe and is read line by line with a deadline; standard error goes to a file the
// caller may read at any time ("/dev/null" to drop it). Every wait is bounded; a child still
// running when the object goes is killed.
class ToolProcess {
  public:
    using Clock = std::chrono::steady_clock;

    ToolProcess() = default;
    ~ToolProcess();
    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;

    // False when the program could not be started.
    bool start(const std::vector<std::string>& argv, const std::string& stderrPath);

    // The next line of standard output, without its newline; false at end of output or when
    // the deadline passes first.
    bool readLine(std::string* line, Clock::duration timeout);
    // Reads lines until one begins with prefix; false at end of output or past the deadline.
    bool waitForLine(const std::string& prefix, Clock::duration timeout);
    // Everything left on standard output until it closes (or the deadline).
    std::string readRest(Clock::duration timeout);
    // A field of the child's /proc/PID/status in KiB ("VmRSS", "RssAnon"); -1 when unknown.
    long statusKib(const std::string& field) const;

    void signal(int sig);
    // The exit status (or 128 + signal), -1 when the child has not ended in time. usage, when
    // given, receives the child's resource usage (ru_maxrss: its peak resident size).
    int wait(Clock::duration timeout, struct rusage* usage = nullptr);
    bool running() const { return mPid > 0; }
    pid_t pid() const { return mPid; }

  private:
    pid_t mPid = -1;
    int mOut = -1;
    std::string mBuffer;
    bool mEof = false;
};

struct ToolResult {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs a program to its end (at most `timeout`) and collects both outputs.
ToolResult run_tool(const std::vector<std::string>& argv, const std::string& scratchDir,
                    ToolProcess::Clock::duration timeout = std::chrono::seconds(20));

std::string read_file(const std::string& path);

// The text of a string member, the digits of a number member, or the text of an array member
// (between its brackets) in a one-line JSON document: enough for veloractl's output.
std::string json_member(const std::string& json, const std::string& key);

}  // namespace velora::testing
