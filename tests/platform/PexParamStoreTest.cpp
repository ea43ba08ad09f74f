/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <errno.h>
#include <gtest/gtest.h>
#include <pexparamstorage/PexParamFileReader.h>
#include <pexparamstorage/PexParamStore.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "common/SystemPaths.h"
#include "testutil/TempRoot.h"

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

class PexParamStoreTest : public ::testing::Test {
  protected:
    PexParamStore& store = PexParamStore::getInstance();
    velora::testing::TempRoot root;

    int set(uint32_t device, PexParameterId id, std::vector<int32_t> values) {
        return store.setParam(device, id, values.data(), static_cast<uint32_t>(values.size()));
    }

    Params stored(int* generation = nullptr) {
        KeyedVector<uint32_t, PexParamCache*> caches;
        EXPECT_EQ(0, store.getStoredParams(&caches, /*changedOnly=*/false, generation));
        return take(&caches);
    }

    Params changedSince(int* generation) {
        KeyedVector<uint32_t, PexParamCache*> caches;
        EXPECT_EQ(0, store.getStoredParams(&caches, /*changedOnly=*/true, generation));
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
    EXPECT_TRUE(stored().empty());                  // nothing is visible before the commit
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

    // Later commits add to the state; every commit counts, even an empty one.
    ASSERT_EQ(0, set(kHeadphone, kVol, {9}));
    ASSERT_EQ(0, store.commitChange());
    ASSERT_EQ(0, store.commitChange());
    Params more = expected;
    more[kHeadphone][kVol] = {9};
    EXPECT_EQ(more, stored(&generation));
    EXPECT_EQ(3, generation);
    EXPECT_EQ(more, published(&publishedGeneration));
    EXPECT_EQ(3, publishedGeneration);
}

TEST_F(PexParamStoreTest, RefusesValuesItCannotHold) {
    EXPECT_EQ(-EINVAL, store.setParam(kSpeaker, kVol, nullptr, 1));
    int32_t one = 1;
    EXPECT_EQ(-E2BIG, store.setParam(kSpeaker, kVol, &one, PexParamStore::kMaxValueCount + 1));
    EXPECT_EQ(0, store.setParam(kSpeaker, kVol, nullptr, 0));
    ASSERT_EQ(0, store.commitChange());
    EXPECT_EQ((Params{{kSpeaker, {{kVol, {}}}}}), stored());

    KeyedVector<uint32_t, PexParamCache*> caches;
    EXPECT_EQ(-EINVAL, store.getStoredParams(nullptr, false, nullptr));
    EXPECT_EQ(-EINVAL, store.getStoredParams(&caches, /*changedOnly=*/true, nullptr));
}

TEST_F(PexParamStoreTest, ChangedOnlyGivesWhatChangedByValueSinceAGeneration) {
    ASSERT_EQ(0, set(kAllDevices, kDvla, {1}));
    ASSERT_EQ(0, set(kAllDevices, kVol, {2}));
    ASSERT_EQ(0, store.commitChange());
    int seen = 0;
    EXPECT_EQ((Params{{kAllDevices, {{kDvla, {1}}, {kVol, {2}}}}}), changedSince(&seen));
    EXPECT_EQ(1, seen);

    ASSERT_EQ(0, set(kAllDevices, kDvla, {1}));  // same values: not a change
    ASSERT_EQ(0, set(kAllDevices, kVol, {3}));
    ASSERT_EQ(0, set(kSpeaker, kCeqt, {4, 5}));
    ASSERT_EQ(0, store.commitChange());
    int since = seen;
    EXPECT_EQ((Params{{kAllDevices, {{kVol, {3}}}}, {kSpeaker, {{kCeqt, {4, 5}}}}}),
              changedSince(&since));
    EXPECT_EQ(2, since);
    EXPECT_TRUE(changedSince(&since).empty());  // nothing new since
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

TEST_F(PexParamStoreTest, ANewRootIsANewStore) {
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

TEST_F(PexParamStoreTest, FileGrowsAndOpenReadersFollow) {
    ASSERT_EQ(0, set(kAllDevices, kVol, {1}));
    ASSERT_EQ(0, store.commitChange());
    PexParamFileReader reader(root.hostPath(kParamFile));
    KeyedVector<uint32_t, PexParamCache*> caches;
    ASSERT_EQ(0, reader.read(&caches, false, nullptr));  // maps the file at its first size
    PexParamStore::releaseStoredParams(&caches);
    const auto firstSize = std::filesystem::file_size(root.hostPath(kParamFile));

    std::vector<int32_t> big(20000);
    for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<int32_t>(i * 3);
    ASSERT_EQ(0, set(kSpeaker, kCeqt, big));
    ASSERT_EQ(0, store.commitChange());
    EXPECT_GT(std::filesystem::file_size(root.hostPath(kParamFile)), firstSize);

    int generation = 0;
    ASSERT_EQ(0, reader.read(&caches, false, &generation));
    EXPECT_EQ(2, generation);
    const Params params = take(&caches);
    ASSERT_EQ(1u, params.count(kSpeaker));
    EXPECT_EQ(big, params.at(kSpeaker).at(kCeqt));
    EXPECT_EQ((std::vector<int32_t>{1}), params.at(kAllDevices).at(kVol));
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
    int publishedGeneration = 0;
    EXPECT_EQ((Params{{kSpeaker, {{kVol, {5}}}}, {kHeadphone, {{kVol, {6}}}}}),
              published(&publishedGeneration));
    EXPECT_EQ(2, publishedGeneration);
}

TEST_F(PexParamStoreTest, ReaderRefusesWhatIsNotAParameterFile) {
    KeyedVector<uint32_t, PexParamCache*> caches;
    PexParamFileReader missing(root.hostPath(kParamFile));
    EXPECT_EQ(-ENOENT, missing.read(&caches, false, nullptr));

    root.write(kParamFile, std::string(4096, 'x'));
    PexParamFileReader garbage(root.hostPath(kParamFile));
    EXPECT_EQ(-EBADMSG, garbage.read(&caches, false, nullptr));
    root.write(kParamFile, "short");
    EXPECT_EQ(-EBADMSG, garbage.read(&caches, false, nullptr));
    EXPECT_EQ(0u, caches.size());

    // The store starts such a file over, and the same reader then reads it.
    ASSERT_EQ(0, set(kSpeaker, kVol, {1}));
    ASSERT_EQ(0, store.commitChange());
    ASSERT_EQ(0, garbage.read(&caches, false, nullptr));
    EXPECT_EQ((Params{{kSpeaker, {{kVol, {1}}}}}), take(&caches));
}

// One writer thread commits batches in which every parameter holds the commit's number, while
// other threads read through the store and through the file: every read must show one commit.
TEST_F(PexParamStoreTest, ConcurrentReadersNeverSeeHalfACommit) {
    constexpr int kCommits = 400;
    const std::vector<uint32_t> devices = {kAllDevices, kSpeaker, kHeadphone};
    std::atomic<bool> done{false};
    std::atomic<int> torn{0};
    std::atomic<int> reads{0};

    auto check = [&](const Params& params, int generation) {
        for (const auto& device : params) {
            for (const auto& param : device.second) {
                for (int32_t value : param.second) {
                    if (value != generation) torn++;
                }
            }
        }
        reads++;
    };
    std::thread storeReader([&] {
        while (!done) {
            int generation = 0;
            KeyedVector<uint32_t, PexParamCache*> caches;
            store.getStoredParams(&caches, false, &generation);
            check(take(&caches), generation);
        }
    });
    std::thread fileReader([&] {
        PexParamFileReader reader(store.getPublishedPath());
        while (!done) {
            int generation = 0;
            KeyedVector<uint32_t, PexParamCache*> caches;
            if (reader.read(&caches, false, &generation) == 0) check(take(&caches), generation);
        }
    });
    for (int commit = 1; commit <= kCommits; ++commit) {
        for (uint32_t device : devices) {
            for (PexParameterId id = 1; id <= 20; ++id) {
                ASSERT_EQ(0, set(device, id, std::vector<int32_t>(8, commit)));
            }
        }
        ASSERT_EQ(0, store.commitChange());
    }
    done = true;
    storeReader.join();
    fileReader.join();
    EXPECT_EQ(0, torn.load());
    EXPECT_GT(reads.load(), 0);
}

}  // namespace
}  // namespace android
