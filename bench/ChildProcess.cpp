/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "bench/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>

namespace velora::bench {

namespace {

pid_t spawn(const std::vector<std::string>& argv, int outputFd) {
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    pid_t pid = fork();
    if (pid != 0) return pid;
    int devNull = open("/dev/null", O_RDWR);
    dup2(devNull, STDIN_FILENO);
    dup2(outputFd >= 0 ? outputFd : devNull, STDOUT_FILENO);
    dup2(devNull, STDERR_FILENO);
    execv(args[0], args.data());
    _exit(127);
}

}  // namespace

ChildProcess::~ChildProcess() {
    if (mPid > 0) finish(SIGKILL, nullptr);
}

bool ChildProcess::start(const std::vector<std::string>& argv) {
    int pipeFds[2];
    if (pipe2(pipeFds, O_CLOEXEC) != 0) return false;
    mPid = spawn(argv, pipeFds[1]);
    close(pipeFds[1]);
    if (mPid < 0) {
        close(pipeFds[0]);
        return false;
    }
    mOutput = pipeFds[0];
    return true;
}

bool ChildProcess::waitForLine(const std::string& prefix, std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        size_t newline;
        while ((newline = mBuffered.find('\n')) != std::string::npos) {
            std::string line = mBuffered.substr(0, newline);
            mBuffered.erase(0, newline + 1);
            if (line.compare(0, prefix.size(), prefix) == 0) return true;
        }
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        struct pollfd fd = {mOutput, POLLIN, 0};
        if (poll(&fd, 1, static_cast<int>(left.count())) <= 0) return false;
        char chunk[512];
        ssize_t got = read(mOutput, chunk, sizeof(chunk));
        if (got <= 0) return false;
        mBuffered.append(chunk, static_cast<size_t>(got));
    }
}

long ChildProcess::statusKib(const std::string& field) const {
    std::ifstream status("/proc/" + std::to_string(mPid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, field.size() + 1, field + ":") == 0) {
            return std::strtol(line.c_str() + field.size() + 1, nullptr, 10);
        }
    }
    return -1;
}

int ChildProcess::finish(int signal, struct rusage* usage) {
    if (mPid <= 0) return -1;
    if (signal != 0) kill(mPid, signal);
    int status = 0;
    struct rusage ignored;
    pid_t done;
    do {
        done = wait4(mPid, &status, 0, usage != nullptr ? usage : &ignored);
    } while (done < 0 && errno == EINTR);
    mPid = -1;
    if (mOutput >= 0) close(mOutput);
    mOutput = -1;
    return done < 0 ? -1 : status;
}

bool ChildProcess::run(const std::vector<std::string>& argv) {
    pid_t pid = spawn(argv, -1);
    if (pid < 0) return false;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return false;
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace velora::bench
