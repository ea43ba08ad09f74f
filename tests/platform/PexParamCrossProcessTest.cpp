/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>
#include <pexparamstorage/PexParamFileReader.h>
#include <pexparamstorage/PexParamStore.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "testutil/TempRoot.h"

#ifndef PEXPARAM_TEST_PROCESS
#error "PEXPARAM_TEST_PROCESS must name the helper program"
#endif

extern char** environ;

namespace android {
namespace {

constexpr uint32_t kAllDevices = 0x40000000;
constexpr uint32_t kSpeaker = 0x2;
constexpr uint32_t kHeadphone = 0x8;
constexpr PexParameterId kVol = 0x006C6F76;   // "vol"
constexpr PexParameterId kDvla = 0x616C7664;  // "dvla"

// The helper program running in a process of its own, its standard output on a pipe.
class Helper {
  public:
    explicit Helper(const std::vector<std::string>& args) {
        int fds[2];
        if (pipe(fds) != 0) return;
        std::vector<char*> argv;
        std::vector<std::string> all = {PEXPARAM_TEST_PROCESS};
        all.insert(all.end(), args.begin(), args.end());
        for (std::string& arg : all) argv.push_back(&arg[0]);
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, fds[0]);
        posix_spawn_file_actions_addclose(&actions, fds[1]);
        if (posix_spawn(&mPid, argv[0], &actions, nullptr, argv.data(), environ) != 0) mPid = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(fds[1]);
        mOut = fds[0];
    }

    ~Helper() {
        if (mOut >= 0) close(mOut);
        if (mPid > 0) waitpid(mPid, nullptr, 0);
    }

    bool started() const { return mPid > 0; }

    // The next line of output; blocks until the helper writes it (or ends).
    std::string readLine() {
        std::string line;
        char c;
        while (read(mOut, &c, 1) == 1 && c != '\n') line += c;
        return line;
    }

    // Waits for the end; returns the exit status and the rest of the output.
    int wait(std::string* rest) {
        char buffer[256];
        ssize_t n;
        while ((n = read(mOut, buffer, sizeof(buffer))) > 0) rest->append(buffer, n);
        int status = 0;
        waitpid(mPid, &status, 0);
        mPid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

  private:
    pid_t mPid = -1;
    int mOut = -1;
};

// Every parameter of commit k holds k; later commits carry more parameters, so that the file
// grows under the reader's mapping.
void commit_numbered(PexParamStore& store, int commit) {
    const int ids = 10 + commit / 5;
    for (uint32_t device : {kAllDevices, kSpeaker, kHeadphone}) {
        for (PexParameterId id = 1; id <= static_cast<PexParameterId>(ids); ++id) {
            const std::vector<int32_t> values(4, commit);
            ASSERT_EQ(0, store.setParam(device, id, values.data(), 4));
        }
    }
    ASSERT_EQ(0, store.commitChange());
}

TEST(PexParamCrossProcessTest, ReaderInAnotherProcessNeverSeesATornCommit) {
    velora::testing::TempRoot root;
    PexParamStore& store = PexParamStore::getInstance();
    commit_numbered(store, 1);
    int generation = 0;
    KeyedVector<uint32_t, PexParamCache*> caches;
    ASSERT_EQ(0, store.getStoredParams(&caches, false, &generation));
    PexParamStore::releaseStoredParams(&caches);
    ASSERT_EQ(1, generation);

    constexpr int kLast = 1000;
    Helper reader({"read", store.getPublishedPath(), std::to_string(kLast)});
    ASSERT_TRUE(reader.started());
    ASSERT_EQ("ready", reader.readLine());
    for (int commit = 2; commit <= kLast; ++commit) commit_numbered(store, commit);

    std::string output;
    EXPECT_EQ(0, reader.wait(&output)) << output;
    EXPECT_EQ(0u, output.find("ok ")) << output;
}

TEST(PexParamCrossProcessTest, CommitsOfTwoProcessesAddUp) {
    velora::testing::TempRoot root;
    PexParamStore& store = PexParamStore::getInstance();
    const int32_t one = 1;
    ASSERT_EQ(0, store.setParam(kSpeaker, kVol, &one, 1));
    ASSERT_EQ(0, store.commitChange());

    std::string output;
    Helper other(
        {"commit", root.path(), std::to_string(kHeadphone), std::to_string(kVol), "2", "3"});
    ASSERT_TRUE(other.started());
    ASSERT_EQ(0, other.wait(&output)) << output;

    // The other process's commit is seen here, and this process's next commit keeps it.
    int generation = 0;
    KeyedVector<uint32_t, PexParamCache*> caches;
    ASSERT_EQ(0, store.getStoredParams(&caches, false, &generation));
    EXPECT_EQ(2, generation);
    ASSERT_GE(caches.indexOfKey(kHeadphone), 0);
    EXPECT_EQ((std::vector<int32_t>{2, 3}), *caches.valueFor(kHeadphone)->getParam(kVol));
    PexParamStore::releaseStoredParams(&caches);

    const int32_t four = 4;
    ASSERT_EQ(0, store.setParam(kSpeaker, kDvla, &four, 1));
    ASSERT_EQ(0, store.commitChange());
    PexParamFileReader reader(store.getPublishedPath());
    ASSERT_EQ(0, reader.read(&caches, false, &generation));
    EXPECT_EQ(3, generation);
    std::map<std::pair<uint32_t, PexParameterId>, std::vector<int32_t>> all;
    for (size_t i = 0; i < caches.size(); ++i) {
        for (const auto& param : *caches.valueAt(i))
            all[{caches.keyAt(i), param.first}] = param.second;
    }
    PexParamStore::releaseStoredParams(&caches);
    const std::map<std::pair<uint32_t, PexParameterId>, std::vector<int32_t>> expected = {
        {{kSpeaker, kVol}, {1}}, {{kSpeaker, kDvla}, {4}}, {{kHeadphone, kVol}, {2, 3}}};
    EXPECT_EQ(expected, all);
}

}  // namespace
}  // namespace android
