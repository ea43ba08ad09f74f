/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "ServiceTestSupport.h"
#include "context/KsContext.h"
#include "model/Profile.h"
#include "service/ParameterAdapter.h"
#include "testutil/LogCapture.h"

namespace velora {
namespace {

using testing::ExampleSettings;
using testing::LogCapture;
using Values = std::vector<int>;

constexpr int kProfile = 0;

// Values read back from the database carry a trailing 0 after their elements, and a write
// that equals the beginning of a stored vector leaves it as it is; what counts for a switch or
// an amount is its first element.
int first(const Values& values) { return values.empty() ? INT32_MIN : values[0]; }

class ParameterAdapterTest : public ::testing::Test {
  protected:
    KsContext& context() { return mSettings.context(); }
    Values endpointValue(Endpoint endpoint, Parameter parameter) {
        return context().getProfileParameter(kProfile, endpoint, parameter);
    }

    ExampleSettings mSettings;
    ParameterAdapter mAdapter{&mSettings.context()};
};

TEST_F(ParameterAdapterTest, LengthOfEveryIdAndOfUnknownOnes) {
    LogCapture log;
    const int expected[] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 20, 1, 1};
    for (int id = 100; id <= 112; ++id) {
        EXPECT_EQ(mAdapter.getParameterLength(id), expected[id - 100]) << "id " << id;
    }
    EXPECT_EQ(mAdapter.getParameterLength(113), 1);
    EXPECT_EQ(mAdapter.getParameterLength(99), 1);
    EXPECT_EQ(mAdapter.getParameterLength(-5), 1);
    // Only the unknown ids and the empty slot are reported.
    EXPECT_TRUE(log.contains("ParameterAdapter", ANDROID_LOG_ERROR, "param id 100 not supported"));
    EXPECT_TRUE(log.contains("ParameterAdapter", ANDROID_LOG_ERROR, "param id 113 not supported"));
    EXPECT_TRUE(log.contains("ParameterAdapter", ANDROID_LOG_ERROR, "param id 99 not supported"));
    EXPECT_EQ(log.linesWithTag("ParameterAdapter").size(), 4u) << log.dump();
}

TEST_F(ParameterAdapterTest, SettersIgnoreIdsBeyondTheTableSilentlyAndGettersLogThem) {
    LogCapture log;
    const Values before = endpointValue(ENDPOINT_SPEAKER, volume_leveler_enable);
    for (int id : {99, 113, 1000, -1}) {
        Values values{0};
        mAdapter.setParameter(kProfile, id, values);
        mAdapter.setProfileEndpointParameter(kProfile, ENDPOINT_SPEAKER, id, values);
    }
    EXPECT_TRUE(log.linesWithTag("ParameterAdapter").empty()) << log.dump();

    EXPECT_TRUE(mAdapter.getParameter(kProfile, 113).empty());
    EXPECT_TRUE(mAdapter.getProfileEndpointParameter(kProfile, ENDPOINT_HEADPHONE, 99).empty());
    EXPECT_EQ(log.countMessage("param id 113 not supported"), 1u);
    EXPECT_EQ(log.countMessage("param id 99 not supported"), 1u);

    // The empty slot is reported by the setters too.
    Values values{0};
    mAdapter.setParameter(kProfile, 100, values);
    mAdapter.setProfileEndpointParameter(kProfile, ENDPOINT_SPEAKER, 100, values);
    EXPECT_EQ(log.countMessage("param id 100 not supported"), 2u);
    EXPECT_TRUE(mAdapter.getParameter(kProfile, 100).empty());
    EXPECT_EQ(endpointValue(ENDPOINT_SPEAKER, volume_leveler_enable), before);
}

TEST_F(ParameterAdapterTest, EndpointIdsClampAndWriteEveryEndpoint) {
    struct Case {
        int id;
        Parameter parameter;
        int above;
        int clampedHigh;
        int clampedLow;
    };
    const Case cases[] = {
        {103, volume_leveler_enable, 7, 1, 0},     {105, dialog_enhancer_enable, 2, 1, 0},
        {106, graphic_equalizer_enable, 9, 1, 0},  {108, dialog_enhancer_amount, 17, 16, 0},
        {109, dialog_enhancer_ducking, 99, 16, 0}, {111, bass_enhancer_enable, 3, 1, 0},
    };
    for (const Case& c : cases) {
        Values high{c.above};
        mAdapter.setParameter(kProfile, c.id, high);
        // The caller's vector shows what was stored.
        EXPECT_EQ(high, Values{c.clampedHigh}) << "id " << c.id;
        for (Endpoint endpoint : {ENDPOINT_SPEAKER, ENDPOINT_HEADPHONE, ENDPOINT_OTHER}) {
            EXPECT_EQ(first(endpointValue(endpoint, c.parameter)), c.clampedHigh)
                << "id " << c.id << " endpoint " << endpoint;
        }
        Values low{-40};
        mAdapter.setParameter(kProfile, c.id, low);
        EXPECT_EQ(endpointValue(ENDPOINT_OTHER, c.parameter), Values{c.clampedLow});
        EXPECT_EQ(mAdapter.getParameter(kProfile, c.id), Values{c.clampedLow});
    }
}

TEST_F(ParameterAdapterTest, EndpointWriteChangesOneEndpointAndPlainReadIsTheSpeakers) {
    Values off{0};
    mAdapter.setProfileEndpointParameter(kProfile, ENDPOINT_HEADPHONE, 103, off);
    EXPECT_EQ(endpointValue(ENDPOINT_HEADPHONE, volume_leveler_enable), Values{0});
    EXPECT_EQ(first(endpointValue(ENDPOINT_SPEAKER, volume_leveler_enable)), 1);
    EXPECT_EQ(first(endpointValue(ENDPOINT_OTHER, volume_leveler_enable)), 1);
    EXPECT_EQ(first(mAdapter.getParameter(kProfile, 103)), 1);
    EXPECT_EQ(mAdapter.getProfileEndpointParameter(kProfile, ENDPOINT_HEADPHONE, 103), Values{0});

    Values tooMuch{40};
    mAdapter.setProfileEndpointParameter(kProfile, ENDPOINT_OTHER, 108, tooMuch);
    EXPECT_EQ(tooMuch, Values{16});
    EXPECT_EQ(endpointValue(ENDPOINT_OTHER, dialog_enhancer_amount), Values{16});
    EXPECT_EQ(first(endpointValue(ENDPOINT_SPEAKER, dialog_enhancer_amount)), 6);
}

TEST_F(ParameterAdapterTest, VirtualBassSwitchReachesTheSpeakerOnly) {
    LogCapture log;
    Values off{-3};
    mAdapter.setParameter(kProfile, 112, off);
    EXPECT_EQ(endpointValue(ENDPOINT_SPEAKER, virtual_bass_enable), Values{0});
    EXPECT_TRUE(log.containsMessage(
        "Setting virtual-bass-enable is not supported for non-speaker endpoints"));
    Values on{1};
    mAdapter.setParameter(kProfile, 112, on);
    EXPECT_EQ(endpointValue(ENDPOINT_SPEAKER, virtual_bass_enable), Values{1});
    EXPECT_EQ(first(endpointValue(ENDPOINT_HEADPHONE, virtual_bass_enable)), 0);
}

TEST_F(ParameterAdapterTest, VirtualizerIdsAreBoundToOneEndpointAndNotClamped) {
    Values five{5};
    mAdapter.setParameter(kProfile, 101, five);
    EXPECT_EQ(five, Values{5});
    EXPECT_EQ(endpointValue(ENDPOINT_HEADPHONE, virtualizer_enable), Values{5});
    EXPECT_EQ(first(endpointValue(ENDPOINT_SPEAKER, virtualizer_enable)), 1);
    EXPECT_EQ(mAdapter.getParameter(kProfile, 101), Values{5});

    Values minus{-2};
    mAdapter.setParameter(kProfile, 102, minus);
    EXPECT_EQ(endpointValue(ENDPOINT_SPEAKER, virtualizer_enable), Values{-2});
    EXPECT_EQ(first(endpointValue(ENDPOINT_OTHER, virtualizer_enable)), 1);

    // The endpoint forms do nothing for them.
    Values zero{0};
    mAdapter.setProfileEndpointParameter(kProfile, ENDPOINT_OTHER, 101, zero);
    EXPECT_EQ(first(endpointValue(ENDPOINT_OTHER, virtualizer_enable)), 1);
    EXPECT_TRUE(mAdapter.getProfileEndpointParameter(kProfile, ENDPOINT_SPEAKER, 102).empty());

    const auto* strategy =
        dynamic_cast<const ParameterAdapter::VirtualizerStrategy*>(mAdapter.getStrategy(101));
    ASSERT_NE(strategy, nullptr);
    EXPECT_EQ(strategy->getEndpoint(), ENDPOINT_HEADPHONE);
    EXPECT_EQ(strategy->getReserved(), 3);
}

TEST_F(ParameterAdapterTest, ProfileIdsClampAndIgnoreEndpoints) {
    Values amount{20};
    mAdapter.setParameter(kProfile, 107, amount);
    EXPECT_EQ(context().getProfileParameter(kProfile, ieq_amount), Values{16});
    EXPECT_EQ(mAdapter.getParameter(kProfile, 107), Values{16});
    Values negative{-1};
    mAdapter.setParameter(kProfile, 107, negative);
    EXPECT_EQ(context().getProfileParameter(kProfile, ieq_amount), Values{0});

    Values ignored{3};
    mAdapter.setProfileEndpointParameter(kProfile, ENDPOINT_SPEAKER, 107, ignored);
    EXPECT_EQ(context().getProfileParameter(kProfile, ieq_amount), Values{0});
    EXPECT_TRUE(mAdapter.getProfileEndpointParameter(kProfile, ENDPOINT_SPEAKER, 107).empty());
}

TEST_F(ParameterAdapterTest, PresetIdSelectsAClampedPresetAndSwitchesTheEqualizer) {
    Values preset{9};
    mAdapter.setParameter(kProfile, 104, preset);
    EXPECT_EQ(preset, Values{3});
    EXPECT_EQ(context().getProfile(kProfile)->getSelectedIeqPreset(), PRESET_WARM);
    EXPECT_EQ(first(context().getProfileParameter(kProfile, ieq_enable)), 1);

    Values off{-7};
    mAdapter.setParameter(kProfile, 104, off);
    EXPECT_EQ(context().getProfile(kProfile)->getSelectedIeqPreset(), PRESET_OFF);
    EXPECT_EQ(context().getProfileParameter(kProfile, ieq_enable), Values{0});
}

TEST_F(ParameterAdapterTest, GraphicEqualizerGainsClampEveryBand) {
    Values gains(20, 100);
    gains[0] = 1000;
    gains[19] = -1000;
    mAdapter.setParameter(kProfile, 110, gains);
    Values expected(20, 100);
    expected[0] = 576;
    expected[19] = -576;
    EXPECT_EQ(context().getProfileGeqParameter(kProfile, geq_gain), expected);
    EXPECT_EQ(mAdapter.getParameter(kProfile, 110), expected);
}

}  // namespace
}  // namespace velora
