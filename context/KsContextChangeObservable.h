/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <set>

#include "context/OnKsContextChange.h"

namespace velora {

// Fans every state event out to the registered observers, in ascending order of their
// addresses, so the context can raise an event as if it had one observer. The observers are
// not owned: they are never deleted here.
//
// Threading: no lock of its own. Observers are registered while the service starts, before
// events flow; events may then be raised from several threads at once, which only read the
// set. Registering or removing an observer while an event is being fanned out is not
// supported.
class KsContextChangeObservable : public OnKsContextChange {
  public:
    KsContextChangeObservable() = default;
    ~KsContextChangeObservable() override = default;
    KsContextChangeObservable(const KsContextChangeObservable&) = delete;
    KsContextChangeObservable& operator=(const KsContextChangeObservable&) = delete;

    // Adds the observer; one that is already registered (or null) is ignored.
    void registerObserver(OnKsContextChange* observer);
    // Removes the observer; one that is not registered is ignored.
    void unregisterObserver(OnKsContextChange* observer);
    // Forgets every observer. Returns 0.
    int unregisterAll();

    void onLoad(KsContext& context) override;
    void onPexOnChanged(KsContext& context, bool on) override;
    void onSelectedProfileChanged(KsContext& context) override;
    void onSelectedProfileParameterChanged(KsContext& context, Profile& profile) override;
    void onSelectedProfileEndpointChanged(KsContext& context, Port port,
                                          ProfileEndpoint& endpoint) override;
    void onSelectedProfileIeqChanged(KsContext& context, IeqPreset& preset) override;
    void onSelectedProfileGeqChanged(KsContext& context, GeqPreset& preset) override;
    void onSelectedTuningChanged(KsContext& context, Port port, Tuning& tuning) override;

  private:
    // Ordered by pointer value: that order is the order of delivery.
    std::set<OnKsContextChange*> mObservers;
};

}  // namespace velora
