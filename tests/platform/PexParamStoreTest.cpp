/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <errno.h>
#include <gtest/gtest.h>
#include <pexparamstorage/PexParamFileReader.h>
#include <pexparamstorage/PexParamStore.h>
#include <stdio.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "common/SystemPaths.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"
#include "testutil/ToolProcess.h"

#ifndef PEXPARAM_TEST_PROCESS
#error "PEXPARAM_TEST_PROCESS must name the helper program"
#endif

namespace android {
namespace {

constexpr uint32_t kAllDevices = 0x40000000;
constexpr uint32_t kSpeaker = 0x2;
constexpr uint32_t kHeadphone = 0x8;
constexpr PexParameterId kDvla = 0x616C7664;  // "dvla"
constexpr PexParameterId kVol = 0x006C6F76;   // "vol"
constexpr PexParameterId kCeqt = 0x74716563;  // "ceqt"
constexpr const char* kParamFile = "/data/vendor/velora/pexparams.bin";

// What a read gave, as plain values: device -> id -> values. Frees the caches.
using Params = std::map<uint32_t, std::map<PexParameterId, std::vector<int32_t>>>;

Params take(KeyedVector<uint32_t, PexParamCache*>* caches) {
    Params params;
    for (size_t i = 0; i < caches->size(); ++i) {
        EXPECT_EQ(caches->keyAt(i), caches->valueAt(i)->getDevice());
        for (const auto& param : *caches->valueAt(i)) {
            params[caches->keyAt(i)][param.first] = param.second;
        }
    }
    PexParamStore::releaseStoredParams(caches);
    return params;
}

// Every parameter of commit k holds k; later commits carry more parameters, so that the file
// grows under the readers' mappings.
void commit_numbered(PexParamStore& store, int commit) {
    const std::vector<int32_t> values(4, commit);
    for (uint32_t device : {kAllDevices, kSpeaker, kHeadphone}) {
        for (PexParameterId id = 1; id <= static_cast<PexParameterId>(10 + commit / 5); ++id) {
            ASSERT_EQ(0, store.setParam(device, id, values.data(), 4));
        }
    }
    ASSERT_EQ(0, store.commitChange());
}

// The helper program with its arguments, run in a process of its own.
std::vector<std::string> helper(std::vector<std::string> args) {
    args.insert(args.begin(), PEXPARAM_TEST_PROCESS);
    return args;
}

class PexParamStoreTest : public ::testing::Test {
  protected:
    PexParamStore& store = PexParamStore::getInstance();
    velora::testing::TempRoot root;

    int set(uint32_t device, PexParameterId id, std::vector<int32_t> values) {
        return store.setParam(device, id, values.data(), static_cast<uint32_t>(values.size()));
    }

    Params stored(int* generation = nullptr, bool changedOnly = false) {
        KeyedVector<uint32_t, PexParamCache*> caches;
        EXPECT_EQ(0, store.getStoredParams(&caches, changedOnly, generation));
        return take(&caches);
    }

    Params published(int* generation = nullptr) {
        PexParamFileReader reader(root.hostPath(kParamFile));
        KeyedVector<uint32_t, PexParamCache*> caches;
        EXPECT_EQ(0, reader.read(&caches, /*changedOnly=*/false, generation));
        return take(&caches);
    }
};

TEST_F(PexParamStoreTest, CommitPublishesEverythingStagedAtOnce) {
    int generation = -1;
    EXPECT_TRUE(stored(&generation).empty());
    EXPECT_EQ(0, generation);

    ASSERT_EQ(0, set(kAllDevices, kDvla, {1, 2, 3}));
    ASSERT_EQ(0, set(kSpeaker, kVol, {-4}));
    ASSERT_EQ(0, set(kSpeaker, kCeqt, {}));
    ASSERT_EQ(0, set(kAllDevices, kDvla, {7, 8}));  // restaged: the last values count
    EXPECT_EQ(-EINVAL, store.setParam(kSpeaker, kVol, nullptr, 1));
    EXPECT_EQ(-E2BIG,
              store.setParam(kSpeaker, kVol, &generation, PexParamStore::kMaxValueCount + 1));
    EXPECT_TRUE(stored().empty());  // nothing is visible before the commit
    EXPECT_TRUE(published().empty());

    ASSERT_EQ(0, store.commitChange());
    const Params expected = {{kAllDevices, {{kDvla, {7, 8}}}},
                             {kSpeaker, {{kVol, {-4}}, {kCeqt, {}}}}};
    EXPECT_EQ(expected, stored(&generation));
    EXPECT_EQ(1, generation);
    EXPECT_EQ(store.getPublishedPath(), root.hostPath(kParamFile));
    int publishedGeneration = -1;
    EXPECT_EQ(expected, published(&publishedGeneration));
    EXPECT_EQ(1, publishedGeneration);

    // Later commits add to the state, every commit counts (even an empty one), and a reader
    // that mapped the file at its first size follows it as it grows.
    PexParamFileReader reader(root.hostPath(kParamFile));
    KeyedVector<uint32_t, PexParamCache*> caches;
    ASSERT_EQ(0, reader.read(&caches, false, nullptr));
    PexParamStore::releaseStoredParams(&caches);
    const auto firstSize = std::filesystem::file_size(root.hostPath(kParamFile));
    std::vector<int32_t> big(PexParamStore::kMaxValueCount);
    for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<int32_t>(i * 3);
    Params more = expected;
    for (PexParameterId id : {kVol, kDvla, kCeqt}) {
        ASSERT_EQ(0, set(kHeadphone, id, big));
        more[kHeadphone][id] = big;
    }
    ASSERT_EQ(0, store.commitChange());
    ASSERT_EQ(0, store.commitChange());
    EXPECT_GT(std::filesystem::file_size(root.hostPath(kParamFile)), firstSize);
    EXPECT_EQ(more, stored(&generation));
    EXPECT_EQ(3, generation);
    ASSERT_EQ(0, reader.read(&caches, false, &publishedGeneration));
    EXPECT_EQ(more, take(&caches));
    EXPECT_EQ(3, publishedGeneration);

    KeyedVector<uint32_t, PexParamCache*> none;
    EXPECT_EQ(-EINVAL, store.getStoredParams(nullptr, false, nullptr));
    EXPECT_EQ(-EINVAL, store.getStoredParams(&none, /*changedOnly=*/true, nullptr));
}

TEST_F(PexParamStoreTest, ChangedOnlyGivesWhatChangedByValueSinceAGeneration) {
    ASSERT_EQ(0, set(kAllDevices, kDvla, {1}));
    ASSERT_EQ(0, set(kAllDevices, kVol, {2}));
    ASSERT_EQ(0, store.commitChange());
    int seen = 0;
    EXPECT_EQ((Params{{kAllDevices, {{kDvla, {1}}, {kVol, {2}}}}}), stored(&seen, true));
    EXPECT_EQ(1, seen);

    ASSERT_EQ(0, set(kAllDevices, kDvla, {1}));  // same values: not a change
    ASSERT_EQ(0, set(kAllDevices, kVol, {3}));
    ASSERT_EQ(0, set(kSpeaker, kCeqt, {4, 5}));
    ASSERT_EQ(0, store.commitChange());
    int since = seen;
    EXPECT_EQ((Params{{kAllDevices, {{kVol, {3}}}}, {kSpeaker, {{kCeqt, {4, 5}}}}}),
              stored(&since, true));
    EXPECT_EQ(2, since);
    EXPECT_TRUE(stored(&since, true).empty());  // nothing new since
    EXPECT_EQ(2, since);

    // A reader that keeps its caches follows the store: they are updated in place.
    KeyedVector<uint32_t, PexParamCache*> caches;
    int generation = 0;
    ASSERT_EQ(0, store.getStoredParams(&caches, true, &generation));
    PexParamCache* allDevices = caches.valueFor(kAllDevices);
    ASSERT_EQ(0, set(kAllDevices, kVol, {6}));
    ASSERT_EQ(0, store.commitChange());
    ASSERT_EQ(0, store.getStoredParams(&caches, true, &generation));
    EXPECT_EQ(allDevices, caches.valueFor(kAllDevices));
    EXPECT_EQ((std::vector<int32_t>{6}), *allDevices->getParam(kVol));
    EXPECT_EQ((std::vector<int32_t>{1}), *allDevices->getParam(kDvla));
    EXPECT_EQ(nullptr, allDevices->getParam(kCeqt));
    PexParamStore::releaseStoredParams(&caches);

    // The file's readers get the same answer.
    PexParamFileReader reader(root.hostPath(kParamFile));
    since = 2;
    ASSERT_EQ(0, reader.read(&caches, /*changedOnly=*/true, &since));
    EXPECT_EQ((Params{{kAllDevices, {{kVol, {6}}}}}), take(&caches));
    EXPECT_EQ(3, since);
}

TEST_F(PexParamStoreTest, ANewRootIsANewStoreAndAnOldRootsFileIsTakenOver) {
    ASSERT_EQ(0, set(kSpeaker, kVol, {1}));
    ASSERT_EQ(0, store.commitChange());
    {
        velora::testing::TempRoot other;
        int generation = -1;
        EXPECT_TRUE(stored(&generation).empty());
        EXPECT_EQ(0, generation);
        ASSERT_EQ(0, set(kHeadphone, kVol, {2}));
        ASSERT_EQ(0, store.commitChange());
        EXPECT_EQ((Params{{kHeadphone, {{kVol, {2}}}}}), stored());
    }
    // Back on a root whose file was published earlier: the store takes it over.
    velora::SystemPaths::setRoot(root.path());
    int generation = -1;
    EXPECT_EQ((Params{{kSpeaker, {{kVol, {1}}}}}), stored(&generation));
    EXPECT_EQ(1, generation);
}

TEST_F(PexParamStoreTest, ParametersAreBoundedSoTheFileStaysWithinItsSize) {
    const std::vector<int32_t> full(PexParamStore::kMaxValueCount, 7);
    // As many full parameters as the payload holds, each with its four-word record header,
    // then one that takes exactly the rest.
    const uint32_t words = PexParamStore::kMaxPayloadBytes / 4;
    const uint32_t fit = words / (4 + PexParamStore::kMaxValueCount);
    const uint32_t rest = words - fit * (4 + PexParamStore::kMaxValueCount) - 4;
    for (uint32_t id = 1; id <= fit; ++id) ASSERT_EQ(0, set(kSpeaker, id, full)) << id;
    EXPECT_EQ(-ENOSPC, set(kSpeaker, fit + 1, std::vector<int32_t>(rest + 1)));
    ASSERT_EQ(0, set(kSpeaker, fit + 1, std::vector<int32_t>(rest)));
    EXPECT_EQ(-ENOSPC, set(kSpeaker, fit + 2, {}));
    // Restaging, or replacing what is committed, counts the difference only; shrinking makes
    // room.
    ASSERT_EQ(0, set(kSpeaker, 1, full));
    ASSERT_EQ(0, store.commitChange());
    ASSERT_EQ(0, set(kSpeaker, fit, full));
    EXPECT_EQ(-ENOSPC, set(kSpeaker, fit + 2, {}));
    ASSERT_EQ(0, set(kSpeaker, 2, {1}));
    ASSERT_EQ(0, set(kSpeaker, fit + 2, {1, 2}));
    ASSERT_EQ(0, store.commitChange());

    const auto size = std::filesystem::file_size(root.hostPath(kParamFile));
    EXPECT_LE(size, (64 + PexParamStore::kMaxPayloadBytes + 4095) / 4096 * 4096);
    Params read = published();
    EXPECT_EQ(fit + 2, read[kSpeaker].size());
    EXPECT_EQ((std::vector<int32_t>{1, 2}), read[kSpeaker][fit + 2]);
}

// A file that no store with these bounds wrote is started over when a store first opens it,
// with a warning; readers of the old file go on with the new one.
TEST_F(PexParamStoreTest, DamagedFileIsStartedOverAndItsGenerationNeverWraps) {
    const std::string path = root.hostPath(kParamFile);
    // Leaves this root for another and comes back, so that the store opens the file afresh.
    auto reopen = [&] {
        {
            velora::testing::TempRoot other;
            stored();
        }
        velora::SystemPaths::setRoot(root.path());
    };
    auto set_generation = [&](uint32_t generation) {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(24);
        file.write(reinterpret_cast<const char*>(&generation), sizeof(generation));
    };
    ASSERT_EQ(0, set(kSpeaker, kVol, {1}));
    ASSERT_EQ(0, store.commitChange());
    PexParamFileReader reader(path);
    KeyedVector<uint32_t, PexParamCache*> caches;
    ASSERT_EQ(0, reader.read(&caches, false, nullptr));
    PexParamStore::releaseStoredParams(&caches);

    velora::testing::LogCapture log;
    // Grown beyond any store's bound (as an unbounded writer once did): replaced.
    std::filesystem::resize_file(path, 64u << 20);
    reopen();
    int generation = -1;
    EXPECT_TRUE(stored(&generation).empty());
    EXPECT_EQ(1, generation);
    ASSERT_EQ(0, set(kSpeaker, kVol, {2}));
    ASSERT_EQ(0, store.commitChange());
    EXPECT_EQ(16384u, std::filesystem::file_size(path));
    ASSERT_EQ(0, reader.read(&caches, false, &generation));
    EXPECT_EQ((Params{{kSpeaker, {{kVol, {2}}}}}), take(&caches));
    EXPECT_EQ(2, generation);

    // The last generation an int holds: the next commit starts the numbering over, and a
    // reader that asks for changes after a generation from before gets everything.
    set_generation(PexParamStore::kMaxGeneration);
    reopen();
    ASSERT_EQ(0, set(kHeadphone, kVol, {3}));
    ASSERT_EQ(0, store.commitChange());
    const Params both = {{kSpeaker, {{kVol, {2}}}}, {kHeadphone, {{kVol, {3}}}}};
    int since = PexParamStore::kMaxGeneration;
    EXPECT_EQ(both, stored(&since, /*changedOnly=*/true));
    EXPECT_EQ(1, since);
    EXPECT_TRUE(stored(&since, true).empty());
    since = PexParamStore::kMaxGeneration;
    ASSERT_EQ(0, reader.read(&caches, true, &since));
    EXPECT_EQ(both, take(&caches));
    EXPECT_EQ(1, since);

    // A generation beyond that is no generation of a parameter file: started over, not
    // wrapped, and the first commit after it is generation 1.
    set_generation(0xFFFFFFFF);
    EXPECT_EQ(-EBADMSG, reader.read(&caches, false, nullptr));
    reopen();
    ASSERT_EQ(0, store.commitChange());
    EXPECT_TRUE(published(&generation).empty());
    EXPECT_EQ(1, generation);

    EXPECT_EQ(2u, log.linesWithTag("PexParamFile").size()) << log.dump();
    EXPECT_EQ(1u, log.linesWithTag("PexParamStore").size()) << log.dump();
}

TEST_F(PexParamStoreTest, CommitHoldsInProcessWhenTheFileCannotBeWrittenAndIsPublishedLater) {
    // The folder of the file is a plain file: nothing can be created below it.
    const std::string dir = root.hostPath("/data/vendor/velora");
    std::filesystem::remove_all(dir);
    root.write("/data/vendor/velora", "not a folder");

    ASSERT_EQ(0, set(kSpeaker, kVol, {5}));
    EXPECT_EQ(-ENOTDIR, store.commitChange());
    int generation = 0;
    EXPECT_EQ((Params{{kSpeaker, {{kVol, {5}}}}}), stored(&generation));
    EXPECT_EQ(1, generation);

    std::filesystem::remove(dir);
    ASSERT_EQ(0, set(kHeadphone, kVol, {6}));
    ASSERT_EQ(0, store.commitChange());
    EXPECT_EQ((Params{{kSpeaker, {{kVol, {5}}}}, {kHeadphone, {{kVol, {6}}}}}),
              published(&generation));
    EXPECT_EQ(2, generation);
}

TEST_F(PexParamStoreTest, ReaderRefusesWhatIsNotAParameterFile) {
    KeyedVector<uint32_t, PexParamCache*> caches;
    PexParamFileReader reader(root.hostPath(kParamFile));
    EXPECT_EQ(-ENOENT, reader.read(&caches, false, nullptr));
    root.write(kParamFile, std::string(4096, 'x'));
    EXPECT_EQ(-EBADMSG, reader.read(&caches, false, nullptr));
    root.write(kParamFile, "short");
    EXPECT_EQ(-EBADMSG, reader.read(&caches, false, nullptr));
    // Neither a folder nor a pipe in its place is mapped, and the pipe is not waited on.
    const std::string path = root.hostPath(kParamFile);
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_EQ(-EISDIR, reader.read(&caches, false, nullptr));
    std::filesystem::remove(path);
    ASSERT_EQ(0, mkfifo(path.c_str(), 0644));
    EXPECT_EQ(-EBADMSG, reader.read(&caches, false, nullptr));
    std::filesystem::remove(path);
    EXPECT_EQ(0u, caches.size());

    // The store starts such a file over, and the same reader then reads it.
    ASSERT_EQ(0, set(kSpeaker, kVol, {1}));
    ASSERT_EQ(0, store.commitChange());
    ASSERT_EQ(0, reader.read(&caches, false, nullptr));
    EXPECT_EQ((Params{{kSpeaker, {{kVol, {1}}}}}), take(&caches));

    // A writer that died mid-commit leaves the counter odd with nobody holding the file: the
    // read fails at once instead of waiting for a commit that never ends.
    std::fstream file(root.hostPath(kParamFile), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(16);
    file.put(3);
    file.close();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(-EBADMSG, reader.read(&caches, false, nullptr));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

// One writer commits batches in which every value holds the commit's number, while a thread
// of this process reads through the store and another process reads the published file:
// every read must show one whole commit.
TEST_F(PexParamStoreTest, ReadersHereAndInAnotherProcessNeverSeeATornCommit) {
    commit_numbered(store, 1);
    constexpr int kLast = 300;  // each commit is synced: about 25 ms on a plain disk
    velora::testing::ToolProcess other;
    ASSERT_TRUE(other.start(helper({"read", store.getPublishedPath(), std::to_string(kLast)}),
                            "/dev/null"));
    std::string line;
    ASSERT_TRUE(other.readLine(&line, std::chrono::seconds(20)));
    ASSERT_EQ("ready", line);  // the reader has mapped the file
    std::atomic<bool> done{false};
    std::atomic<int> torn{0}, reads{0};
    std::thread reader([&] {
        for (; !done; reads++) {
            int generation = 0;
            for (const auto& device : stored(&generation)) {
                for (const auto& param : device.second) {
                    for (int32_t value : param.second) torn += value != generation;
                }
            }
        }
    });
    for (int commit = 2; commit <= kLast; ++commit) commit_numbered(store, commit);
    done = true;
    reader.join();
    EXPECT_EQ(0, torn.load());
    EXPECT_GT(reads.load(), 0);

    const std::string output = other.readRest(std::chrono::seconds(60));
    EXPECT_EQ(0, other.wait(std::chrono::seconds(10))) << output;
    EXPECT_EQ(0u, output.find("ok ")) << output;
}

TEST_F(PexParamStoreTest, CommitsOfTwoProcessesAddUp) {
    ASSERT_EQ(0, set(kSpeaker, kVol, {1}));
    ASSERT_EQ(0, store.commitChange());
    const velora::testing::ToolResult other = velora::testing::run_tool(
        helper({"commit", root.path(), std::to_string(kHeadphone), std::to_string(kVol), "2", "3"}),
        root.path());
    ASSERT_EQ(0, other.status) << other.out << other.err;

    // The other process's commit is seen here, and this process's next commit keeps it.
    int generation = 0;
    EXPECT_EQ((Params{{kSpeaker, {{kVol, {1}}}}, {kHeadphone, {{kVol, {2, 3}}}}}),
              stored(&generation));
    EXPECT_EQ(2, generation);
    ASSERT_EQ(0, set(kSpeaker, kDvla, {4}));
    ASSERT_EQ(0, store.commitChange());
    EXPECT_EQ((Params{{kSpeaker, {{kVol, {1}}, {kDvla, {4}}}}, {kHeadphone, {{kVol, {2, 3}}}}}),
              published(&generation));
    EXPECT_EQ(3, generation);
}

}  // namespace
}  // namespace android
