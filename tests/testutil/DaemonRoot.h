/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "testutil/TempRoot.h"
#include "testutil/ToolProcess.h"

namespace velora::testing {

// velorad on a temporary root that holds the example tuning file (and, when asked, the
// example OEM file), with veloractl and velora-inspect pointed at it. A daemon still running
// when the object goes is killed.
class DaemonRoot {
  public:
    explicit DaemonRoot(bool withOemFile = true);
    ~DaemonRoot();

    TempRoot& root() { return mRoot; }
    std::string databasePath() const;

    // Starts velorad with the extra arguments; false (logged by the test) unless it says it
    // is ready in time.
    bool start(const std::vector<std::string>& extraArgs = {});
    // Starts velorad without waiting for it to be ready.
    bool launch(const std::vector<std::string>& extraArgs = {});
    // Signals the daemon and returns its exit status (128 + signal when killed).
    int stop(int sig);
    bool running() const { return mDaemon != nullptr && mDaemon->running(); }
    pid_t pid() const { return mDaemon != nullptr ? mDaemon->pid() : -1; }
    std::string daemonLog() const;

    // Waits (at most timeout) until the daemon's log holds the text.
    bool waitForLog(const std::string& text, ToolProcess::Clock::duration timeout) const;

    // veloractl's command line for this daemon, with the arguments after it.
    std::vector<std::string> ctlArgs(const std::vector<std::string>& args) const;
    ToolResult ctl(const std::vector<std::string>& args);
    ToolResult inspect(const std::vector<std::string>& args);
    const std::string& socket() const { return mSocket; }

  private:
    TempRoot mRoot;
    std::string mSocket;
    std::string mLog;
    std::unique_ptr<ToolProcess> mDaemon;
};

// Every row of every table of the database in the order SQLite keeps them, _id included,
// as one text; empty when the file cannot be read.
std::string raw_dump(const std::string& path);
// The answer of PRAGMA integrity_check.
std::string integrity_check(const std::string& path);
// The value texts of the first row a query gives, by column name; empty without a row.
std::vector<std::pair<std::string, std::string>> first_row(const std::string& path,
                                                           const std::string& sql);

}  // namespace velora::testing
