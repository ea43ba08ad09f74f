/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "testutil/DaemonRoot.h"

#include <signal.h>
#include <sqlite3.h>

#include <chrono>
#include <thread>

#include "common/SystemPaths.h"

#ifndef VELORAD_PATH
#error "VELORAD_PATH must name the velorad binary"
#endif

namespace velora::testing {

namespace {

using namespace std::chrono_literals;

constexpr auto kStartTimeout = 20s;

// Runs a query on a read-only connection of its own and hands every row to visit.
template <typename Visit>
bool for_each_row(const std::string& path, const std::string& sql, Visit visit) {
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
        sqlite3_close_v2(db);
        return false;
    }
    sqlite3_stmt* statement = nullptr;
    bool ok = sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK;
    while (ok && sqlite3_step(statement) == SQLITE_ROW) visit(statement);
    sqlite3_finalize(statement);
    sqlite3_close_v2(db);
    return ok;
}

std::string column_text(sqlite3_stmt* statement, int i) {
    const unsigned char* text = sqlite3_column_text(statement, i);
    return text == nullptr ? "NULL" : "'" + std::string(reinterpret_cast<const char*>(text)) + "'";
}

}  // namespace

DaemonRoot::DaemonRoot(bool withOemFile) {
    mRoot.install("examples/multimedia_velora_kiv_default.xml", SystemPaths::kDefaultTuningFile);
    if (withOemFile) mRoot.install("examples/kiv-extra.xml", SystemPaths::kOemTuningFile);
    mSocket = mRoot.path() + "/test.sock";
    mLog = mRoot.path() + "/velorad.log";
}

DaemonRoot::~DaemonRoot() {
    if (running()) stop(SIGKILL);
}

std::string DaemonRoot::databasePath() const {
    return mRoot.hostPath("/data/vendor/velora/kiv_sqlite3.db");
}

bool DaemonRoot::launch(const std::vector<std::string>& extraArgs) {
    std::vector<std::string> args = {VELORAD_PATH, "--root", mRoot.path(), "--socket", mSocket};
    args.insert(args.end(), extraArgs.begin(), extraArgs.end());
    mDaemon = std::make_unique<ToolProcess>();
    return mDaemon->start(args, mLog);
}

bool DaemonRoot::start(const std::vector<std::string>& extraArgs) {
    if (!launch(extraArgs)) return false;
    std::string line;
    return mDaemon->readLine(&line, kStartTimeout) && line.rfind("velorad ready", 0) == 0;
}

int DaemonRoot::stop(int sig) {
    if (!running()) return -1;
    mDaemon->signal(sig);
    int status = mDaemon->wait(kStartTimeout);
    mDaemon.reset();
    return status;
}

std::string DaemonRoot::daemonLog() const { return read_file(mLog); }

bool DaemonRoot::waitForLog(const std::string& text, ToolProcess::Clock::duration timeout) const {
    const auto deadline = ToolProcess::Clock::now() + timeout;
    while (daemonLog().find(text) == std::string::npos) {
        if (ToolProcess::Clock::now() >= deadline) return false;
        // The log is a file the daemon appends to; nothing announces a new line.
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

std::vector<std::string> DaemonRoot::ctlArgs(const std::vector<std::string>& args) const {
    std::vector<std::string> all = {VELORACTL_PATH, "--socket", mSocket, "--root", mRoot.path()};
    all.insert(all.end(), args.begin(), args.end());
    return all;
}

ToolResult DaemonRoot::ctl(const std::vector<std::string>& args) {
    return run_tool(ctlArgs(args), mRoot.path());
}

ToolResult DaemonRoot::inspect(const std::vector<std::string>& args) {
    std::vector<std::string> all = {VELORA_INSPECT_PATH};
    all.insert(all.end(), args.begin(), args.end());
    return run_tool(all, mRoot.path());
}

std::string raw_dump(const std::string& path) {
    std::vector<std::string> tables;
    for_each_row(path, "SELECT name FROM sqlite_master WHERE type='table' ORDER BY name",
                 [&tables](sqlite3_stmt* row) { tables.push_back(column_text(row, 0)); });
    std::string dump;
    for (const std::string& quoted : tables) {
        const std::string table = quoted.substr(1, quoted.size() - 2);
        dump += "[" + table + "]\n";
        for_each_row(
            path, "SELECT * FROM " + table + " ORDER BY rowid", [&dump](sqlite3_stmt* row) {
                for (int i = 0; i < sqlite3_column_count(row); ++i) {
                    dump += column_text(row, i) + (i + 1 < sqlite3_column_count(row) ? "," : "\n");
                }
            });
    }
    return dump;
}

std::string integrity_check(const std::string& path) {
    std::string answer;
    if (!for_each_row(path, "PRAGMA integrity_check", [&answer](sqlite3_stmt* row) {
            answer += reinterpret_cast<const char*>(sqlite3_column_text(row, 0));
        })) {
        return "cannot read " + path;
    }
    return answer;
}

std::vector<std::pair<std::string, std::string>> first_row(const std::string& path,
                                                           const std::string& sql) {
    std::vector<std::pair<std::string, std::string>> cells;
    for_each_row(path, sql, [&cells](sqlite3_stmt* row) {
        if (!cells.empty()) return;
        for (int i = 0; i < sqlite3_column_count(row); ++i) {
            cells.emplace_back(sqlite3_column_name(row, i), column_text(row, i));
        }
    });
    return cells;
}

}  // namespace velora::testing
