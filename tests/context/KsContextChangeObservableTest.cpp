/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "context/KsContextChangeObservable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "ContextTestSupport.h"
#include "context/KsContext.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"
#include "store/Provider.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

using ::testing::InSequence;
using ::testing::Ref;
using ::testing::StrictMock;

// Records which observer received which event, so the order across observers is visible.
class RecordingObserver : public OnKsContextChange {
  public:
    RecordingObserver(std::vector<std::string>* log, std::string name)
        : mLog(log), mName(std::move(name)) {}
    void onLoad(KsContext&) override { note("load"); }
    void onPexOnChanged(KsContext&, bool on) override { note(on ? "on" : "off"); }
    void onSelectedProfileChanged(KsContext&) override { note("profile"); }
    void onSelectedProfileParameterChanged(KsContext&, Profile&) override { note("param"); }
    void onSelectedProfileEndpointChanged(KsContext&, Port port, ProfileEndpoint&) override {
        note("endpoint" + std::to_string(port));
    }
    void onSelectedProfileIeqChanged(KsContext&, IeqPreset&) override { note("ieq"); }
    void onSelectedProfileGeqChanged(KsContext&, GeqPreset&) override { note("geq"); }
    void onSelectedTuningChanged(KsContext&, Port port, Tuning&) override {
        note("tuning" + std::to_string(port));
    }

  private:
    void note(const std::string& event) { mLog->push_back(mName + ":" + event); }
    std::vector<std::string>* mLog;
    std::string mName;
};

// The events only pass a context through; an empty one over an empty database will do.
class KsContextChangeObservableTest : public ::testing::Test {
  protected:
    testing::TempRoot mRoot;
    Provider mProvider;
    KsContextChangeObservable mUnused;
    KsContext mContext{&mProvider, &mUnused};
};

TEST_F(KsContextChangeObservableTest, EveryEventReachesEveryObserverInAddressOrder) {
    std::vector<std::string> log;
    // Two observers in one array: the first element has the lower address.
    std::vector<RecordingObserver> observers;
    observers.reserve(2);
    observers.emplace_back(&log, "low");
    observers.emplace_back(&log, "high");

    KsContextChangeObservable observable;
    observable.registerObserver(&observers[1]);  // registration order must not matter
    observable.registerObserver(&observers[0]);

    Profile profile(0, "p", PRESET_OFF);
    ProfileEndpoint endpoint(0, ENDPOINT_HEADPHONE);
    IeqPreset ieq(PRESET_WARM);
    GeqPreset geq(0);
    Tuning tuning("t", ENDPOINT_SPEAKER, false);
    KsContext& context = mContext;
    observable.onLoad(context);
    observable.onPexOnChanged(context, true);
    observable.onSelectedProfileChanged(context);
    observable.onSelectedProfileParameterChanged(context, profile);
    observable.onSelectedProfileEndpointChanged(context, PORT_USB, endpoint);
    observable.onSelectedProfileIeqChanged(context, ieq);
    observable.onSelectedProfileGeqChanged(context, geq);
    observable.onSelectedTuningChanged(context, PORT_HDMI, tuning);

    EXPECT_EQ(log, (std::vector<std::string>{
                           "low:load", "high:load", "low:on", "high:on", "low:profile",
                           "high:profile", "low:param", "high:param", "low:endpoint5",
                           "high:endpoint5", "low:ieq", "high:ieq", "low:geq", "high:geq",
                           "low:tuning1", "high:tuning1"}));
}

TEST_F(KsContextChangeObservableTest, ArgumentsArePassedThroughUnchanged) {
    StrictMock<testing::MockContextObserver> observer;
    KsContextChangeObservable observable;
    observable.registerObserver(&observer);

    KsContext& context = mContext;
    Profile profile(1, "p", PRESET_OFF);
    ProfileEndpoint endpoint(1, ENDPOINT_OTHER);
    Tuning tuning("t", ENDPOINT_OTHER, false);
    {
        InSequence order;
        EXPECT_CALL(observer, onPexOnChanged(Ref(context), false));
        EXPECT_CALL(observer, onSelectedProfileParameterChanged(Ref(context), Ref(profile)));
        EXPECT_CALL(observer,
                    onSelectedProfileEndpointChanged(Ref(context), PORT_MIRACAST, Ref(endpoint)));
        EXPECT_CALL(observer, onSelectedTuningChanged(Ref(context), PORT_HEADPHONE, Ref(tuning)));
    }
    observable.onPexOnChanged(context, false);
    observable.onSelectedProfileParameterChanged(context, profile);
    observable.onSelectedProfileEndpointChanged(context, PORT_MIRACAST, endpoint);
    observable.onSelectedTuningChanged(context, PORT_HEADPHONE, tuning);
}

TEST_F(KsContextChangeObservableTest, RegistrationIsASetOfObservers) {
    std::vector<std::string> log;
    RecordingObserver a(&log, "a");
    RecordingObserver b(&log, "b");
    KsContextChangeObservable observable;
    KsContext& context = mContext;

    // Nobody registered: events go nowhere.
    observable.onSelectedProfileChanged(context);
    EXPECT_TRUE(log.empty());

    // A second registration of the same observer does not double its events; a null one is
    // not an observer.
    observable.registerObserver(&a);
    observable.registerObserver(&a);
    observable.registerObserver(nullptr);
    observable.onSelectedProfileChanged(context);
    EXPECT_EQ(log, std::vector<std::string>{"a:profile"});

    // Removing an observer that never registered leaves the others alone.
    log.clear();
    observable.unregisterObserver(&b);
    observable.onSelectedProfileChanged(context);
    EXPECT_EQ(log, std::vector<std::string>{"a:profile"});

    // One removal is enough, however often it was registered.
    log.clear();
    observable.unregisterObserver(&a);
    observable.onSelectedProfileChanged(context);
    EXPECT_TRUE(log.empty());

    // unregisterAll empties the set; registering afterwards works as before.
    observable.registerObserver(&a);
    observable.registerObserver(&b);
    EXPECT_EQ(observable.unregisterAll(), 0);
    observable.onSelectedProfileChanged(context);
    EXPECT_TRUE(log.empty());
    observable.registerObserver(&b);
    observable.onSelectedProfileChanged(context);
    EXPECT_EQ(log, std::vector<std::string>{"b:profile"});
}

}  // namespace
}  // namespace velora
