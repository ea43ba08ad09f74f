/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include "model/Port.h"

namespace velora {

class GeqPreset;
class IeqPreset;
class KsContext;
class Profile;
class ProfileEndpoint;
class Tuning;

// Told of every change of the current state. The records passed in stay owned by the context
// (or the data-access caches behind it): an observer reads them during the call and must not
// keep or free them.
//
// Threading: called on the thread that made the change, after the context has released its
// lock, so an observer may call back into the context.
class OnKsContextChange {
  public:
    virtual ~OnKsContextChange() = default;

    // The whole state has been (re)loaded.
    virtual void onLoad(KsContext& context) = 0;
    // The effect was switched on or off; on is the new state.
    virtual void onPexOnChanged(KsContext& context, bool on) = 0;
    // Another profile was selected.
    virtual void onSelectedProfileChanged(KsContext& context) = 0;
    // A profile-wide parameter of the selected profile changed.
    virtual void onSelectedProfileParameterChanged(KsContext& context, Profile& profile) = 0;
    // An endpoint parameter of the selected profile changed for the endpoint behind port.
    virtual void onSelectedProfileEndpointChanged(KsContext& context, Port port,
                                                  ProfileEndpoint& endpoint) = 0;
    // The intelligent-equalizer preset in force for the selected profile changed.
    virtual void onSelectedProfileIeqChanged(KsContext& context, IeqPreset& preset) = 0;
    // The graphic-equalizer preset of the selected profile changed.
    virtual void onSelectedProfileGeqChanged(KsContext& context, GeqPreset& preset) = 0;
    // The tuning in force on port changed.
    virtual void onSelectedTuningChanged(KsContext& context, Port port, Tuning& tuning) = 0;
};

}  // namespace velora
