/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "testutil/ToolProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

namespace velora::testing {

ToolProcess::~ToolProcess() {
    if (mPid > 0) {
        kill(mPid, SIGKILL);
        waitpid(mPid, nullptr, 0);
    }
    if (mOut >= 0) close(mOut);
}

bool ToolProcess::start(const std::vector<std::string>& argv, const std::string& stderrPath) {
    int pipes[2];
    if (pipe2(pipes, O_CLOEXEC) != 0) return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipes[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, stderrPath.c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    // The child starts with no signal blocked, whatever this thread has.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    const int result = posix_spawn(&mPid, args[0], &actions, &attributes, args.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(pipes[1]);
    if (result != 0) {
        mPid = -1;
        close(pipes[0]);
        return false;
    }
    mOut = pipes[0];
    return true;
}

bool ToolProcess::readLine(std::string* line, Clock::duration timeout) {
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        const size_t newline = mBuffer.find('\n');
        if (newline != std::string::npos) {
            *line = mBuffer.substr(0, newline);
            mBuffer.erase(0, newline + 1);
            return true;
        }
        if (mEof) return false;
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        pollfd fd{mOut, POLLIN, 0};
        if (poll(&fd, 1, static_cast<int>(left.count())) <= 0) continue;
        char chunk[4096];
        const ssize_t count = read(mOut, chunk, sizeof(chunk));
        if (count <= 0) {
            mEof = true;
        } else {
            mBuffer.append(chunk, count);
        }
    }
}

bool ToolProcess::waitForLine(const std::string& prefix, Clock::duration timeout) {
    const auto deadline = Clock::now() + timeout;
    std::string line;
    while (readLine(&line, deadline - Clock::now())) {
        if (line.compare(0, prefix.size(), prefix) == 0) return true;
    }
    return false;
}

long ToolProcess::statusKib(const std::string& field) const {
    std::ifstream status("/proc/" + std::to_string(mPid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, field.size() + 1, field + ":") == 0) {
            return std::strtol(line.c_str() + field.size() + 1, nullptr, 10);
        }
    }
    return -1;
}

std::string ToolProcess::readRest(Clock::duration timeout) {
    const auto deadline = Clock::now() + timeout;
    std::string line;
    std::string text;
    while (Clock::now() < deadline && readLine(&line, deadline - Clock::now())) {
        text += line + "\n";
    }
    text += mBuffer;
    mBuffer.clear();
    return text;
}

void ToolProcess::signal(int sig) {
    if (mPid > 0) kill(mPid, sig);
}

int ToolProcess::wait(Clock::duration timeout, struct rusage* usage) {
    if (mPid <= 0) return -1;
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        int status = 0;
        struct rusage ignored;
        const pid_t done = wait4(mPid, &status, WNOHANG, usage != nullptr ? usage : &ignored);
        if (done == mPid) {
            mPid = -1;
            if (WIFEXITED(status)) return WEXITSTATUS(status);
            if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
            return -1;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return -1;
        // A pidfd becomes readable when the child ends; where the kernel has none, look again
        // shortly.
        const int pidfd = static_cast<int>(syscall(SYS_pidfd_open, mPid, 0));
        if (pidfd >= 0) {
            pollfd fd{pidfd, POLLIN, 0};
            poll(&fd, 1, static_cast<int>(left.count()));
            close(pidfd);
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
}

ToolResult run_tool(const std::vector<std::string>& argv, const std::string& scratchDir,
                    ToolProcess::Clock::duration timeout) {
    static std::atomic<int> counter{0};
    const std::string errPath =
        scratchDir + "/tool-" + std::to_string(getpid()) + "-" + std::to_string(counter++) + ".err";
    ToolResult result;
    ToolProcess process;
    if (!process.start(argv, errPath)) return result;
    const auto deadline = ToolProcess::Clock::now() + timeout;
    result.out = process.readRest(timeout);
    result.status = process.wait(deadline - ToolProcess::Clock::now());
    result.err = read_file(errPath);
    unlink(errPath.c_str());
    return result;
}

std::string read_file(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string json_member(const std::string& json, const std::string& key) {
    const std::string quoted = "\"" + key + "\":";
    const size_t at = json.find(quoted);
    if (at == std::string::npos) return "";
    size_t start = at + quoted.size();
    if (start >= json.size()) return "";
    if (json[start] == '"') {
        const size_t end = json.find('"', start + 1);
        return end == std::string::npos ? "" : json.substr(start + 1, end - start - 1);
    }
    if (json[start] == '[') {
        const size_t end = json.find(']', start);
        return end == std::string::npos ? "" : json.substr(start + 1, end - start - 1);
    }
    size_t end = start;
    while (end < json.size() && json[end] != ',' && json[end] != '}') ++end;
    return json.substr(start, end - start);
}

}  // namespace velora::testing
