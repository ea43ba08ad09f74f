/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "ContextTestSupport.h"
#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "context/KsContextManager.h"
#include "model/PresetType.h"
#include "model/Tuning.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

// Calls back into the context from every event, as the effect controller does: the context
// must have released its lock before it calls, or this deadlocks. It reads the state only
// through the context's own getters (which copy under the lock), never the live records it
// is handed, since other threads are changing them.
class CallingBackObserver : public OnKsContextChange {
  public:
    std::atomic<int> pexEvents{0};
    std::atomic<int> events{0};
    std::atomic<int> callbacks{0};

    void onLoad(KsContext& context) override { readBack(context); }
    void onPexOnChanged(KsContext& context, bool) override {
        ++pexEvents;
        readBack(context);
    }
    void onSelectedProfileChanged(KsContext& context) override { readBack(context); }
    void onSelectedProfileParameterChanged(KsContext& context, Profile&) override {
        readBack(context);
    }
    void onSelectedProfileEndpointChanged(KsContext& context, Port, ProfileEndpoint&) override {
        readBack(context);
    }
    void onSelectedProfileIeqChanged(KsContext& context, IeqPreset&) override {
        readBack(context);
    }
    void onSelectedProfileGeqChanged(KsContext& context, GeqPreset&) override {
        readBack(context);
    }
    void onSelectedTuningChanged(KsContext& context, Port, Tuning&) override {
        readBack(context);
    }

  private:
    void readBack(KsContext& context) {
        ++events;
        context.getPexOn();
        context.isSelected(0);
        context.getProfileParameter(0, ieq_amount);
        context.getProfileParameter(1, ENDPOINT_SPEAKER, volume_leveler_amount);
        context.getProfileGeqParameter(0, geq_gain);
        context.getSelectedTuningDevice(PORT_INTERNAL_SPEAKER);
        context.getSelectedTuningParameter(PORT_HEADPHONE, virtualizer_front_speaker_angle);
        context.isProfileModified(1);
        ++callbacks;
    }
};

TEST(KsContextConcurrencyTest, WritersOnSeveralThreadsWithAnObserverThatCallsBack) {
    testing::TempRoot root;
    root.install(testing::kContextTuningFile, SystemPaths::kDefaultTuningFile);
    KsContextManager manager;
    KsContext* context = manager.getKsContext();
    ASSERT_NE(context, nullptr);
    CallingBackObserver observer;
    context->registerObserver(&observer);
    observer.events = 0;
    observer.callbacks = 0;

    constexpr int kRounds = 200;  // even: the on/off writer ends where it began
    std::vector<std::thread> writers;
    writers.emplace_back([context] {
        for (int i = 0; i < kRounds; ++i) context->setPexOn(i % 2 != 0);
    });
    writers.emplace_back([context] {
        for (int i = 0; i < kRounds; ++i) {
            context->setProfileParameter(i % 2, ieq_amount, {i});
            context->setProfileParameter(i % 2, ieq_id, {i % kPresetTypeCount});
        }
    });
    writers.emplace_back([context] {
        for (int i = 0; i < kRounds; ++i) context->setSelectedProfile(i % 2);
    });
    writers.emplace_back([context] {
        for (int i = 0; i < kRounds; ++i) {
            context->setProfileParameter(i % 2, ENDPOINT_SPEAKER, volume_leveler_amount, {i});
            context->setProfileGeqParameter(i % 2, geq_gain, {i, i, i});
            context->setSelectedTuning(PORT_INTERNAL_SPEAKER,
                                       i % 2 ? "internal_speaker_mono" : "speaker_alias",
                                       /*forced=*/false);
        }
    });
    for (std::thread& writer : writers) writer.join();

    // The on/off writer is alone with its flag. The effect starts on and the writer begins
    // with "off", so every one of its writes is a change, and each is announced exactly once.
    EXPECT_EQ(observer.pexEvents.load(), kRounds);
    EXPECT_TRUE(context->getPexOn());
    EXPECT_EQ(observer.callbacks.load(), observer.events.load());
    EXPECT_GT(observer.events.load(), kRounds);
    // The last writes of each writer are what the state holds.
    EXPECT_EQ(context->getProfileParameter(1, ieq_amount), (std::vector<int>{kRounds - 1}));
    EXPECT_EQ(context->getProfileParameter(1, ENDPOINT_SPEAKER, volume_leveler_amount),
              (std::vector<int>{kRounds - 1}));
    EXPECT_EQ(context->getSelectedTuningDevice(PORT_INTERNAL_SPEAKER), "internal_speaker_mono");
    EXPECT_TRUE(context->isSelected(1));
    context->unregisterObserver(&observer);
}

}  // namespace
}  // namespace velora
