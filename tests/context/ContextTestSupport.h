/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <gmock/gmock.h>

#include "context/OnKsContextChange.h"

namespace velora::testing {

// The runtime-state tests' own tuning file (in the repository), laid out so that every
// supported port exercises one rule of the default-device choice.
constexpr const char* kContextTuningFile = "tests/data/context/kiv_context.xml";

// A complete observer whose every slot is a mock.
class MockContextObserver : public OnKsContextChange {
  public:
    MOCK_METHOD(void, onLoad, (KsContext&), (override));
    MOCK_METHOD(void, onPexOnChanged, (KsContext&, bool), (override));
    MOCK_METHOD(void, onSelectedProfileChanged, (KsContext&), (override));
    MOCK_METHOD(void, onSelectedProfileParameterChanged, (KsContext&, Profile&), (override));
    MOCK_METHOD(void, onSelectedProfileEndpointChanged, (KsContext&, Port, ProfileEndpoint&),
                (override));
    MOCK_METHOD(void, onSelectedProfileIeqChanged, (KsContext&, IeqPreset&), (override));
    MOCK_METHOD(void, onSelectedProfileGeqChanged, (KsContext&, GeqPreset&), (override));
    MOCK_METHOD(void, onSelectedTuningChanged, (KsContext&, Port, Tuning&), (override));
};

MATCHER_P(IsTuning, name, "") { return arg.getName() == name; }

}  // namespace velora::testing
