/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "PexEffect"

#include "effect/PexEffect.h"

#include <errno.h>
#include <log/log.h>
#include <pexparamstorage/EffectParamParser.h>
#include <pexparamstorage/PexParamStore.h>

namespace velora {

PexEffect::PexEffect(int /*sessionId*/, const std::string& /*clientName*/) {}

PexEffect::~PexEffect() {}

int PexEffect::send(int /*command*/, std::vector<int>& data) {
    sendSharedStore(data.data(), static_cast<unsigned int>(data.size() * sizeof(int)));
    return -EINVAL;
}

int PexEffect::receive(int /*command*/, std::vector<int>& /*out*/) { return 0; }

bool PexEffect::hasControl() { return true; }

void PexEffect::setEnabled(bool /*enabled*/) {}

void PexEffect::sendSharedStore(void* data, unsigned int size) {
    android::EffectParamParser parser(data, size);
    if (!parser.validate()) {
        ALOGE("%s() Invalid data for setting parameter values.", "sendSharedStore");
        return;
    }
    parser.begin();
    for (;;) {
        uint32_t device = 0;
        android::PexParameterId id = 0;
        const int32_t* values = nullptr;
        uint32_t count = 0;
        const bool more = parser.next(&device, &id, &values, &count);
        android::PexParamStore& store = android::PexParamStore::getInstance();
        if (!more) {
            break;
        }
        store.setParam(device, id, values, count);
    }
    // One commit for the whole batch: the effect must never see half of a state change.
    android::PexParamStore::getInstance().commitChange();
}

}  // namespace velora
