/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "EffectTestSupport.h"
#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "context/KsContextManager.h"
#include "effect/PexContext.h"
#include "effect/PexController.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

using namespace velora::testing;

constexpr uint32_t kDvla = 0x616C7664;
constexpr uint32_t kDom = 0x006D6F64;
constexpr uint32_t kGebs = 0x73626567;
constexpr uint32_t kIeid = 0x64696569;
constexpr int kDefaultDevice = 0x40000000;

// Every port but "other" feeds a device of its own.
TEST(PexContextTest, PortsFeedTheirOwnDevices) {
    const std::map<Port, int> expected = {{PORT_INTERNAL_SPEAKER, 2}, {PORT_HDMI, 0x400},
                                          {PORT_MIRACAST, 0x8000},    {PORT_HEADPHONE, 8},
                                          {PORT_BLUETOOTH, 0x80},     {PORT_USB, 0x4000}};
    const auto& actual = PexContext::kDeviceForPort;
    EXPECT_EQ(expected, (std::map<Port, int>(actual.begin(), actual.end())));
}

size_t count_one_to_one(const DecodedBatch& batch) {
    size_t count = 0;
    for (const auto& row : kOneToOne) count += batch.withId(row.id()).size();
    return count;
}

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
    }
    // Registers the controller, and unless asked not to, makes the first change and forgets
    // its batch, so that a test starts from everything loaded being in the store.
    void start(bool firstChange = true) {
        mContext->registerObserver(mController.get());
        mRegistered = true;
        if (!firstChange) return;
        changeLevelerAmount();
        mEffect.batches.clear();
        mGeneration = read_store().generation;
    }
    int selectedId() { return mContext->getSelectedProfile()->getProfileId(); }
    // Sets the amount on an endpoint of the selected profile to a new value, and returns it.
    int changeLevelerAmount(Endpoint endpoint = ENDPOINT_SPEAKER, int step = 1) {
        const V now = mContext->getProfileParameter(selectedId(), endpoint, volume_leveler_amount);
        const int next = now.empty() ? step : now.front() + step;
        mContext->setProfileParameter(selectedId(), endpoint, volume_leveler_amount, {next});
        return next;
    }
    static V cat(V a, const V& b) {
        a.insert(a.end(), b.begin(), b.end());
        return a;
    }

    // The store holds, per device, the state's value of every one-to-one parameter that the
    // state gives a value, and the output mode of the tuning in force; and the profile-wide
    // values under the default device.
    void expectStoreMatchesState() {
        const StoredParams stored = read_store();
        const int id = selectedId();
        for (const auto& [port, device] : PexContext::kDeviceForPort) {
            SCOPED_TRACE(kPortNames[port]);
            Tuning* tuning = mContext->getSelectedTuning(port);
            ASSERT_NE(nullptr, tuning);
            const Endpoint endpoint = tuning->getEndpoint();
            for (const auto& row : kOneToOne) {
                V expected;
                if (ProfileEndpoint::kValidParams.count(row.parameter))
                    expected = mContext->getProfileParameter(id, endpoint, row.parameter);
                else if (Tuning::kValidParams.count(row.parameter))
                    expected = mContext->getSelectedTuningParameter(port, row.parameter);
                else
                    continue;
                if (expected.empty()) {
                    EXPECT_TRUE(!stored.has(device, row.id()) ||
                                stored.at(device, row.id()).empty())
                        << row.text();
                } else {
                    ASSERT_TRUE(stored.has(device, row.id())) << row.text();
                    EXPECT_EQ(expected, stored.at(device, row.id())) << row.text();
                }
            }
            // Virtualizer, endpoint, orientation, and the matrix on the speaker; a mono
            // speaker has the virtualizer off and orientation 1.
            const bool monoSpeaker = tuning->isMono() && endpoint == ENDPOINT_SPEAKER;
            V dom = monoSpeaker ? V{0}
                                : mContext->getProfileParameter(id, endpoint, virtualizer_enable);
            dom.push_back(endpoint);
            dom = cat(dom,
                      monoSpeaker ? V{1} : mContext->getSelectedTuningParameter(port, orientation));
            if (endpoint == ENDPOINT_SPEAKER)
                dom = cat(dom, mContext->getSelectedTuningParameter(port, output_mix_matrix));
            ASSERT_TRUE(stored.has(device, kDom));
            EXPECT_EQ(dom, stored.at(device, kDom));
        }
        for (const auto& row : kOneToOne) {
            if (!Profile::kValidParams.count(row.parameter)) continue;
            const V expected = mContext->getProfileParameter(id, row.parameter);
            if (expected.empty()) continue;
            ASSERT_TRUE(stored.has(kDefaultDevice, row.id())) << row.text();
            EXPECT_EQ(expected, stored.at(kDefaultDevice, row.id())) << row.text();
        }
        ASSERT_NE(nullptr, mContext->getSelectedProfileIeq());
        EXPECT_EQ((V{mContext->getSelectedProfileIeq()->getType()}),
                  stored.at(kDefaultDevice, kIeid));
        const V frequencies = mContext->getProfileGeqParameter(id, geq_frequency);
        EXPECT_EQ(cat(cat({int(frequencies.size())}, frequencies),
                      mContext->getProfileGeqParameter(id, geq_gain)),
                  stored.at(kDefaultDevice, kGebs));
    }

    TempRoot mRoot;
    RecordingEffect mEffect;
    std::unique_ptr<KsContextManager> mManager;
    KsContext* mContext = nullptr;
    std::unique_ptr<PexController> mController;
    bool mRegistered = false;
    int mGeneration = -1;
};

TEST_F(PexControllerTest, LoadOnlyFillsTheViewsAndTheFirstChangeCarriesItAllInOneCommit) {
    const int generation = read_store().generation;
    {
        LogCapture log;
        start(/*firstChange=*/false);
        EXPECT_TRUE(log.contains("PexController", ANDROID_LOG_INFO, "onLoad()")) << log.dump();
        EXPECT_EQ(1u, log.countMessage("onLoad()"));
    }
    EXPECT_TRUE(mEffect.batches.empty());
    EXPECT_EQ(generation, read_store().generation);

    // Every device's records in one batch (the store check below sees their device tags); the
    // change itself is sent once, for the speaker, with its new value.
    const int amount = changeLevelerAmount();
    ASSERT_EQ(1u, mEffect.batches.size());
    const DecodedBatch& batch = mEffect.batches[0];
    EXPECT_FALSE(batch.malformed);
    EXPECT_EQ(kDefaultDevice, batch.device);
    EXPECT_EQ(static_cast<int>(batch.records.size()), batch.count);
    EXPECT_EQ(6u * 44u + 8u, count_one_to_one(batch));  // no view sends another view's codes
    std::vector<V> speakerDvla;
    for (const auto& record : batch.withId(kDvla))
        if (record.device == DEVICE_OUT_SPEAKER) speakerDvla.push_back(record.values);
    EXPECT_EQ((std::vector<V>{{amount}}), speakerDvla);
    EXPECT_EQ(generation + 1, read_store().generation);
    expectStoreMatchesState();
    for (AndroidDevice device : PexController::kDevices)
        EXPECT_TRUE(mController->getTranslator(device)->getPending().empty());

    // A later change sends only what changed.
    mEffect.batches.clear();
    const int next = changeLevelerAmount();
    ASSERT_EQ(1u, mEffect.batches.size());
    EXPECT_EQ((std::vector<BatchRecord>{{DEVICE_OUT_SPEAKER, kDvla, {next}}}),
              mEffect.batches[0].records);
    EXPECT_EQ(generation + 2, read_store().generation);
    expectStoreMatchesState();
}

TEST_F(PexControllerTest, NothingChangedIsDroppedAndAnEndpointChangeReachesEachOfItsDevices) {
    start();
    // The same profile announced again, a tuning for the port that feeds no device, the same
    // tuning again, a switch of the effect and the same value again: every batch is empty and
    // dropped before the store.
    mController->onSelectedProfileChanged(*mContext);
    mController->onSelectedTuningChanged(*mContext, PORT_OTHER,
                                         *mContext->getSelectedTuning(PORT_HDMI));
    mController->onSelectedTuningChanged(*mContext, PORT_HEADPHONE,
                                         *mContext->getSelectedTuning(PORT_HEADPHONE));
    mController->onPexOnChanged(*mContext, !mContext->getPexOn());
    changeLevelerAmount(ENDPOINT_SPEAKER, 0);
    EXPECT_TRUE(mEffect.batches.empty());
    EXPECT_EQ(mGeneration, read_store().generation);

    // Headphone, Bluetooth and USB use the headphone endpoint in the example file: the state
    // announces the change once per port, and each announcement is one batch.
    const int amount = changeLevelerAmount(ENDPOINT_HEADPHONE, 3);
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
    EXPECT_EQ(mGeneration + static_cast<int>(mEffect.batches.size()), read_store().generation);
    expectStoreMatchesState();
}

TEST_F(PexControllerTest, SelectingAnotherProfileOrAMonoTuningSendsItsDifferences) {
    start();
    {
        LogCapture log;
        mContext->setSelectedProfile(selectedId() == 2 ? 1 : 2);
        const std::string name = mContext->getSelectedProfile()->getName();
        EXPECT_TRUE(log.contains("PexController", ANDROID_LOG_INFO, "Profile Changed to " + name))
            << log.dump();
    }
    ASSERT_EQ(1u, mEffect.batches.size());
    EXPECT_FALSE(mEffect.batches[0].records.empty());
    EXPECT_EQ(mGeneration + 1, read_store().generation);
    expectStoreMatchesState();

    ASSERT_TRUE(mContext->setSelectedTuning(PORT_INTERNAL_SPEAKER, "internal_speaker_mono",
                                            /*forced=*/false));
    ASSERT_TRUE(mContext->getSelectedTuning(PORT_INTERNAL_SPEAKER)->isMono());
    EXPECT_EQ(2u, mEffect.batches.size());
    expectStoreMatchesState();  // "DOM" with the virtualizer off and orientation 1
    DeviceParameters* view = mController->getContext().getDeviceParameters(PORT_INTERNAL_SPEAKER);
    EXPECT_EQ((V{0}), view->lookup(virtualizer_enable));  // the view keeps the forced values
    EXPECT_EQ((V{1}), view->lookup(orientation));
}

TEST_F(PexControllerTest, NewEffectHandleGetsEverythingInOneBatch) {
    start();
    RecordingEffect replacement;
    mController->setPexEffect(replacement, *mContext);
    EXPECT_TRUE(mEffect.batches.empty());
    ASSERT_EQ(1u, replacement.batches.size());
    EXPECT_EQ(kDefaultDevice, replacement.batches[0].device);
    // Every one-to-one code of every device's view: 44 per output device, 8 profile-wide.
    EXPECT_EQ(6u * 44u + 8u, count_one_to_one(replacement.batches[0]));
    EXPECT_EQ((std::vector<bool>{mContext->getPexOn()}), replacement.enabled);
    EXPECT_EQ(mGeneration + 1, read_store().generation);
    expectStoreMatchesState();

    changeLevelerAmount();  // later changes go to the new handle
    EXPECT_EQ(2u, replacement.batches.size());
    EXPECT_TRUE(mEffect.batches.empty());
    mController->setPexEffect(mEffect, *mContext);
}

}  // namespace
}  // namespace velora
