/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "context/KsContextChangeObservable.h"

namespace velora {

void KsContextChangeObservable::registerObserver(OnKsContextChange* observer) {
    // A null entry would be called like any other observer; keep it out.
    if (observer == nullptr) return;
    mObservers.insert(observer);
}

void KsContextChangeObservable::unregisterObserver(OnKsContextChange* observer) {
    mObservers.erase(observer);
}

int KsContextChangeObservable::unregisterAll() {
    mObservers.clear();
    return 0;
}

void KsContextChangeObservable::onLoad(KsContext& context) {
    for (OnKsContextChange* observer : mObservers) observer->onLoad(context);
}

void KsContextChangeObservable::onPexOnChanged(KsContext& context, bool on) {
    for (OnKsContextChange* observer : mObservers) observer->onPexOnChanged(context, on);
}

void KsContextChangeObservable::onSelectedProfileChanged(KsContext& context) {
    for (OnKsContextChange* observer : mObservers) observer->onSelectedProfileChanged(context);
}

void KsContextChangeObservable::onSelectedProfileParameterChanged(KsContext& context,
                                                                  Profile& profile) {
    for (OnKsContextChange* observer : mObservers) {
        observer->onSelectedProfileParameterChanged(context, profile);
    }
}

void KsContextChangeObservable::onSelectedProfileEndpointChanged(KsContext& context, Port port,
                                                                 ProfileEndpoint& endpoint) {
    for (OnKsContextChange* observer : mObservers) {
        observer->onSelectedProfileEndpointChanged(context, port, endpoint);
    }
}

void KsContextChangeObservable::onSelectedProfileIeqChanged(KsContext& context, IeqPreset& preset) {
    for (OnKsContextChange* observer : mObservers) {
        observer->onSelectedProfileIeqChanged(context, preset);
    }
}

void KsContextChangeObservable::onSelectedProfileGeqChanged(KsContext& context, GeqPreset& preset) {
    for (OnKsContextChange* observer : mObservers) {
        observer->onSelectedProfileGeqChanged(context, preset);
    }
}

void KsContextChangeObservable::onSelectedTuningChanged(KsContext& context, Port port,
                                                        Tuning& tuning) {
    for (OnKsContextChange* observer : mObservers) {
        observer->onSelectedTuningChanged(context, port, tuning);
    }
}

}  // namespace velora
