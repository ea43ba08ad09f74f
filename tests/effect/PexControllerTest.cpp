/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "BatchReader.h"
#include "ExpectedCodes.h"
#include "StoreReader.h"
#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "context/KsContextManager.h"
#include "effect/PexController.h"
#include "effect/PexEffect.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

using testing::BatchRecord;
using testing::decode_batch;
using testing::DecodedBatch;
using testing::kOneToOne;
using testing::read_published_file;
using testing::read_store;
using testing::StoredParams;
using V = std::vector<int>;

constexpr uint32_t kDvla = 0x616C7664;
constexpr uint32_t kDom = 0x006D6F64;
constexpr uint32_t kGebs = 0x73626567;
constexpr uint32_t kIeid = 0x64696569;
constexpr int kDefaultDevice = 0x40000000;

// Delivers to the real store, and keeps a copy of every batch it was handed.
class RecordingEffect : public PexEffect {
  public:
    RecordingEffect() : PexEffect(0, "KsService") {}
    int send(int command, std::vector<int>& data) override {
        batches.push_back(decode_batch(data));
        return PexEffect::send(command, data);
    }
    void setEnabled(bool enabled) override { this->enabled.push_back(enabled); }

    std::vector<DecodedBatch> batches;
    std::vector<bool> enabled;
};

// Start-up from the shipped example tuning file below a temporary root, as the service does
// it, with the controller as the state's observer.
class PexControllerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        mRoot.install("examples/multimedia_velora_kiv_default.xml",
                      SystemPaths::kDefaultTuningFile);
        mManager = std::make_unique<KsContextManager>();
        mContext = mManager->getKsContext();
        ASSERT_NE(nullptr, mContext);
        mController = std::make_unique<PexController>(2, mEffect);
    }

    void TearDown() override {
        if (mRegistered) mContext->unregisterObserver(mController.get());
        mController.reset();
        mManager.reset();
    }

    void registerController() {
        mContext->registerObserver(mController.get());
        mRegistered = true;
    }

    int selectedId() { return mContext->getSelectedProfile()->getProfileId(); }

    // Changes the speaker volume leveler amount of the selected profile to a new value.
    int changeSpeakerLevelerAmount() {
        const V current =
            mContext->getProfileParameter(selectedId(), ENDPOINT_SPEAKER, volume_leveler_amount);
        const int next = current.empty() ? 1 : current.front() + 1;
        mContext->setProfileParameter(selectedId(), ENDPOINT_SPEAKER, volume_leveler_amount,
                                      {next});
        return next;
    }

    // The store holds, per device, the state's value of every one-to-one parameter that the
    // state gives a value, and the output mode of the tuning in force.
    void expectStoreMatchesState(const StoredParams& stored) {
        const int id = selectedId();
        for (const auto& [port, device] : PexContext::kDeviceForPort) {
            SCOPED_TRACE(kPortNames[port]);
            Tuning* tuning = mContext->getSelectedTuning(port);
            ASSERT_NE(nullptr, tuning);
            const Endpoint endpoint = tuning->getEndpoint();
            for (const auto& row : kOneToOne) {
                V expected;
                if (ProfileEndpoint::kValidParams.count(row.parameter)) {
                    expected = mContext->getProfileParameter(id, endpoint, row.parameter);
                } else if (Tuning::kValidParams.count(row.parameter)) {
                    expected = mContext->getSelectedTuningParameter(port, row.parameter);
                } else {
                    continue;
                }
                if (expected.empty()) {
                    EXPECT_TRUE(!stored.has(device, row.id) || stored.at(device, row.id).empty())
                        << row.code;
                } else {
                    ASSERT_TRUE(stored.has(device, row.id)) << row.code;
                    EXPECT_EQ(expected, stored.at(device, row.id)) << row.code;
                }
            }
            // Output mode: virtualizer, endpoint, orientation, and the matrix on the speaker;
            // a mono speaker has the virtualizer off and orientation 1.
            V dom = tuning->isMono() && endpoint == ENDPOINT_SPEAKER
                        ? V{0}
                        : mContext->getProfileParameter(id, endpoint, virtualizer_enable);
            dom.push_back(static_cast<int>(endpoint));
            const V orient = tuning->isMono() && endpoint == ENDPOINT_SPEAKER
                                 ? V{1}
                                 : mContext->getSelectedTuningParameter(port, orientation);
            dom.insert(dom.end(), orient.begin(), orient.end());
            if (endpoint == ENDPOINT_SPEAKER) {
                const V matrix = mContext->getSelectedTuningParameter(port, output_mix_matrix);
                dom.insert(dom.end(), matrix.begin(), matrix.end());
            }
            ASSERT_TRUE(stored.has(device, kDom));
            EXPECT_EQ(dom, stored.at(device, kDom));
        }

        for (const auto& row : kOneToOne) {
            if (!Profile::kValidParams.count(row.parameter)) continue;
            const V expected = mContext->getProfileParameter(id, row.parameter);
            if (expected.empty()) continue;
            ASSERT_TRUE(stored.has(kDefaultDevice, row.id)) << row.code;
            EXPECT_EQ(expected, stored.at(kDefaultDevice, row.id)) << row.code;
        }
        IeqPreset* ieq = mContext->getSelectedProfileIeq();
        ASSERT_NE(nullptr, ieq);
        EXPECT_EQ((V{static_cast<int>(ieq->getType())}), stored.at(kDefaultDevice, kIeid));
        const V frequencies = mContext->getProfileGeqParameter(id, geq_frequency);
        const V gains = mContext->getProfileGeqParameter(id, geq_gain);
        V gebs{static_cast<int>(frequencies.size())};
        gebs.insert(gebs.end(), frequencies.begin(), frequencies.end());
        gebs.insert(gebs.end(), gains.begin(), gains.end());
        EXPECT_EQ(gebs, stored.at(kDefaultDevice, kGebs));
    }

    testing::TempRoot mRoot;
    RecordingEffect mEffect;
    std::unique_ptr<KsContextManager> mManager;
    KsContext* mContext = nullptr;
    std::unique_ptr<PexController> mController;
    bool mRegistered = false;
};

TEST_F(PexControllerTest, RegisteringDeliversOnLoadWhichOnlyFillsTheViews) {
    const int generation = read_store().generation;
    {
        testing::LogCapture log;
        registerController();
        EXPECT_TRUE(log.contains("PexController", ANDROID_LOG_INFO, "onLoad()")) << log.dump();
        EXPECT_EQ(1u, log.countMessage("onLoad()"));
    }
    EXPECT_TRUE(mEffect.batches.empty());
    EXPECT_EQ(generation, read_store().generation);
    for (AndroidDevice device : PexController::kDevices) {
        EXPECT_FALSE(mController->getTranslator(device)->getPending().empty())
            << std::hex << device;
    }
    EXPECT_EQ(mContext->getSelectedProfile(),
              mController->getContext().getProfileParameters()->getProfile());
    EXPECT_EQ(mContext->getSelectedTuning(PORT_HEADPHONE),
              mController->getContext().getDeviceParameters(PORT_HEADPHONE)->getTuning());
}

TEST_F(PexControllerTest, FirstChangeCarriesEverythingLoadedInOneCommit) {
    registerController();
    const int generation = read_store().generation;
    const int amount = changeSpeakerLevelerAmount();

    ASSERT_EQ(1u, mEffect.batches.size());
    const DecodedBatch& batch = mEffect.batches[0];
    EXPECT_FALSE(batch.malformed);
    EXPECT_EQ(kDefaultDevice, batch.device);
    EXPECT_EQ(static_cast<int>(batch.records.size()), batch.count);

    // Every device's records are there, each tagged with its own device.
    std::set<int> devices;
    for (const auto& record : batch.records) devices.insert(record.device);
    std::set<int> expectedDevices;
    for (AndroidDevice device : PexController::kDevices) expectedDevices.insert(device);
    EXPECT_EQ(expectedDevices, devices);
    // The change itself is sent once, for the speaker, with its new value.
    auto dvla = batch.withId(kDvla);
    int speakerRecords = 0;
    for (const auto& record : dvla) {
        if (record.device == DEVICE_OUT_SPEAKER) {
            ++speakerRecords;
            EXPECT_EQ((V{amount}), record.values);
        }
    }
    EXPECT_EQ(1, speakerRecords);

    StoredParams stored = read_store();
    EXPECT_EQ(generation + 1, stored.generation);
    expectStoreMatchesState(stored);
    // Another process reading the published file sees the same commit.
    StoredParams published = read_published_file();
    EXPECT_EQ(stored.generation, published.generation);
    EXPECT_EQ(stored.values, published.values);

    for (AndroidDevice device : PexController::kDevices) {
        EXPECT_TRUE(mController->getTranslator(device)->getPending().empty());
    }
}

TEST_F(PexControllerTest, LaterChangeSendsOnlyWhatChanged) {
    registerController();
    changeSpeakerLevelerAmount();
    const int generation = read_store().generation;
    mEffect.batches.clear();

    const int amount = changeSpeakerLevelerAmount();
    ASSERT_EQ(1u, mEffect.batches.size());
    EXPECT_EQ((std::vector<BatchRecord>{{DEVICE_OUT_SPEAKER, kDvla, {amount}}}),
              mEffect.batches[0].records);
    StoredParams stored = read_store();
    EXPECT_EQ(generation + 1, stored.generation);
    expectStoreMatchesState(stored);
}

TEST_F(PexControllerTest, EndpointChangeReachesEveryDeviceOfThatEndpoint) {
    registerController();
    changeSpeakerLevelerAmount();
    mEffect.batches.clear();
    const int generation = read_store().generation;

    // Headphone, Bluetooth and USB all use the headphone endpoint in the example file: the
    // state announces the change once per port, and each announcement is one batch.
    const V current =
        mContext->getProfileParameter(selectedId(), ENDPOINT_HEADPHONE, volume_leveler_amount);
    const int amount = current.front() + 3;
    mContext->setProfileParameter(selectedId(), ENDPOINT_HEADPHONE, volume_leveler_amount,
                                  {amount});

    std::set<int> devices;
    for (const auto& batch : mEffect.batches) {
        ASSERT_EQ(1u, batch.records.size());
        EXPECT_EQ(kDvla, batch.records[0].id);
        EXPECT_EQ((V{amount}), batch.records[0].values);
        devices.insert(batch.records[0].device);
    }
    EXPECT_EQ((std::set<int>{DEVICE_OUT_WIRED_HEADPHONE, DEVICE_OUT_BLUETOOTH_A2DP,
                             DEVICE_OUT_USB_DEVICE}),
              devices);
    StoredParams stored = read_store();
    EXPECT_EQ(generation + static_cast<int>(mEffect.batches.size()), stored.generation);
    expectStoreMatchesState(stored);
}

TEST_F(PexControllerTest, NothingChangedMeansNothingReachesTheStore) {
    registerController();
    changeSpeakerLevelerAmount();
    mEffect.batches.clear();
    const int generation = read_store().generation;

    // The same profile announced again, a tuning for the port that feeds no device, and a
    // switch of the effect: every batch is empty and dropped before the store.
    mController->onSelectedProfileChanged(*mContext);
    mController->onSelectedTuningChanged(*mContext, PORT_OTHER,
                                         *mContext->getSelectedTuning(PORT_HDMI));
    mController->onSelectedTuningChanged(*mContext, PORT_HEADPHONE,
                                         *mContext->getSelectedTuning(PORT_HEADPHONE));
    mController->onPexOnChanged(*mContext, !mContext->getPexOn());
    const V same =
        mContext->getProfileParameter(selectedId(), ENDPOINT_SPEAKER, volume_leveler_amount);
    mContext->setProfileParameter(selectedId(), ENDPOINT_SPEAKER, volume_leveler_amount, same);

    EXPECT_TRUE(mEffect.batches.empty());
    EXPECT_EQ(generation, read_store().generation);
}

TEST_F(PexControllerTest, SelectingAnotherProfileSendsItsDifferences) {
    registerController();
    changeSpeakerLevelerAmount();
    mEffect.batches.clear();
    const int generation = read_store().generation;
    const int other = selectedId() == 2 ? 1 : 2;
    {
        testing::LogCapture log;
        mContext->setSelectedProfile(other);
        const std::string name = mContext->getSelectedProfile()->getName();
        EXPECT_TRUE(log.contains("PexController", ANDROID_LOG_INFO, "Profile Changed to " + name))
            << log.dump();
    }
    ASSERT_EQ(1u, mEffect.batches.size());
    EXPECT_FALSE(mEffect.batches[0].records.empty());
    StoredParams stored = read_store();
    EXPECT_EQ(generation + 1, stored.generation);
    expectStoreMatchesState(stored);
}

TEST_F(PexControllerTest, MonoSpeakerTuningIsSentWithVirtualizerOffAndOrientationOne) {
    registerController();
    changeSpeakerLevelerAmount();
    mEffect.batches.clear();

    ASSERT_TRUE(mContext->setSelectedTuning(PORT_INTERNAL_SPEAKER, "internal_speaker_mono",
                                            /*forced=*/false));
    Tuning* mono = mContext->getSelectedTuning(PORT_INTERNAL_SPEAKER);
    ASSERT_TRUE(mono->isMono());
    ASSERT_EQ(1u, mEffect.batches.size());

    const V matrix = mContext->getSelectedTuningParameter(PORT_INTERNAL_SPEAKER, output_mix_matrix);
    V expected{0, 0, 1};
    expected.insert(expected.end(), matrix.begin(), matrix.end());
    EXPECT_EQ(expected, read_store().at(DEVICE_OUT_SPEAKER, kDom));
    // The view keeps the forced values.
    DeviceParameters* view = mController->getContext().getDeviceParameters(PORT_INTERNAL_SPEAKER);
    EXPECT_EQ((V{0}), view->lookup(virtualizer_enable));
    EXPECT_EQ((V{1}), view->lookup(orientation));
}

TEST_F(PexControllerTest, NewEffectHandleGetsEverythingInOneBatch) {
    registerController();
    changeSpeakerLevelerAmount();
    mEffect.batches.clear();
    const int generation = read_store().generation;

    RecordingEffect replacement;
    mController->setPexEffect(replacement, *mContext);

    EXPECT_TRUE(mEffect.batches.empty());
    ASSERT_EQ(1u, replacement.batches.size());
    const DecodedBatch& batch = replacement.batches[0];
    EXPECT_EQ(kDefaultDevice, batch.device);
    // Every one-to-one code of every device's view: 44 per output device, 8 profile-wide.
    size_t oneToOne = 0;
    for (const auto& row : kOneToOne) oneToOne += batch.withId(row.id).size();
    EXPECT_EQ(6u * 44u + 8u, oneToOne);
    EXPECT_EQ((std::vector<bool>{mContext->getPexOn()}), replacement.enabled);

    StoredParams stored = read_store();
    EXPECT_EQ(generation + 1, stored.generation);
    expectStoreMatchesState(stored);

    // Later changes go to the new handle.
    changeSpeakerLevelerAmount();
    EXPECT_EQ(2u, replacement.batches.size());
    EXPECT_TRUE(mEffect.batches.empty());
    mController->setPexEffect(mEffect, *mContext);
}

}  // namespace
}  // namespace velora
