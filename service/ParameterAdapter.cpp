/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "ParameterAdapter"

#include "service/ParameterAdapter.h"

#include <log/log.h>

#include <algorithm>

#include "context/KsContext.h"

namespace velora {

namespace {

// The endpoints a write without an endpoint goes to, in the order they are written.
constexpr Endpoint kAllEndpoints[] = {ENDPOINT_SPEAKER, ENDPOINT_HEADPHONE, ENDPOINT_OTHER};

}  // namespace

ParameterAdapter::ParameterStrategy::ParameterStrategy(int minimum, int maximum,
                                                       Parameter parameter, int length)
    : mMinimum(minimum), mMaximum(maximum), mParameter(parameter), mLength(length) {}

ParameterAdapter::ParameterStrategy::~ParameterStrategy() = default;

void ParameterAdapter::ParameterStrategy::setParameter(KsContext* /*context*/, int /*profile*/,
                                                       Endpoint /*endpoint*/,
                                                       std::vector<int>& /*values*/) {}

std::vector<int> ParameterAdapter::ParameterStrategy::getParameter(KsContext* /*context*/,
                                                                   int /*profile*/,
                                                                   Endpoint /*endpoint*/) {
    return {};
}

Parameter ParameterAdapter::ParameterStrategy::getParameter() const { return mParameter; }

int ParameterAdapter::ParameterStrategy::getParamLength() const { return mLength; }

void ParameterAdapter::ParameterStrategy::clamp(std::vector<int>& values) const {
    for (int& value : values) {
        value = std::clamp(value, mMinimum, mMaximum);
    }
}

void ParameterAdapter::ProfileParameterStrategy::setParameter(KsContext* context, int profile,
                                                              std::vector<int>& values) {
    clamp(values);
    context->setProfileParameter(profile, mParameter, values);
}

std::vector<int> ParameterAdapter::ProfileParameterStrategy::getParameter(KsContext* context,
                                                                          int profile) {
    std::vector<int> values = context->getProfileParameter(profile, mParameter);
    return values;
}

void ParameterAdapter::ProfileEndpointParameterStrategy::setParameter(KsContext* context,
                                                                      int profile,
                                                                      std::vector<int>& values) {
    clamp(values);
    // One external write stands for the profile as a whole: every endpoint gets the value,
    // each write announcing its own change.
    for (Endpoint endpoint : kAllEndpoints) {
        context->setProfileParameter(profile, endpoint, mParameter, values);
    }
}

void ParameterAdapter::ProfileEndpointParameterStrategy::setParameter(KsContext* context,
                                                                      int profile,
                                                                      Endpoint endpoint,
                                                                      std::vector<int>& values) {
    clamp(values);
    context->setProfileParameter(profile, endpoint, mParameter, values);
}

std::vector<int> ParameterAdapter::ProfileEndpointParameterStrategy::getParameter(
    KsContext* context, int profile) {
    return getParameter(context, profile, ENDPOINT_SPEAKER);
}

std::vector<int> ParameterAdapter::ProfileEndpointParameterStrategy::getParameter(
    KsContext* context, int profile, Endpoint endpoint) {
    std::vector<int> values = context->getProfileParameter(profile, endpoint, mParameter);
    return values;
}

void ParameterAdapter::ProfileGeqParameterStrategy::setParameter(KsContext* context, int profile,
                                                                 std::vector<int>& values) {
    clamp(values);
    context->setProfileGeqParameter(profile, mParameter, values);
}

std::vector<int> ParameterAdapter::ProfileGeqParameterStrategy::getParameter(KsContext* context,
                                                                             int profile) {
    std::vector<int> values = context->getProfileGeqParameter(profile, mParameter);
    return values;
}

ParameterAdapter::VirtualizerStrategy::VirtualizerStrategy(int minimum, int maximum,
                                                           Parameter parameter, int length,
                                                           Endpoint endpoint, int reserved)
    : ParameterStrategy(minimum, maximum, parameter, length),
      mEndpoint(endpoint),
      mReserved(reserved) {}

void ParameterAdapter::VirtualizerStrategy::setParameter(KsContext* context, int profile,
                                                         std::vector<int>& values) {
    context->setProfileParameter(profile, mEndpoint, mParameter, values);
}

std::vector<int> ParameterAdapter::VirtualizerStrategy::getParameter(KsContext* context,
                                                                     int profile) {
    std::vector<int> values = context->getProfileParameter(profile, mEndpoint, mParameter);
    return values;
}

ParameterAdapter::ParameterAdapter(KsContext* context) : mContext(context) {
    mStrategies.reserve(kSlotCount);
    // 100: left empty on purpose; clients that still send it are told it is not supported.
    mStrategies.push_back(nullptr);
    // 101, 102: the headphone and the speaker virtualizer.
    mStrategies.push_back(
        new VirtualizerStrategy(0, 1, virtualizer_enable, 1, ENDPOINT_HEADPHONE, /*reserved=*/3));
    mStrategies.push_back(new VirtualizerStrategy(0, 1, virtualizer_enable, 1, ENDPOINT_SPEAKER,
                                                  /*reserved=*/0));
    // 103
    mStrategies.push_back(new ProfileEndpointParameterStrategy(0, 1, volume_leveler_enable, 1));
    // 104: selects the intelligent-equalizer preset (the context switches "ieq-enable" with it).
    mStrategies.push_back(new ProfileParameterStrategy(0, 3, ieq_id, 1));
    // 105, 106
    mStrategies.push_back(new ProfileEndpointParameterStrategy(0, 1, dialog_enhancer_enable, 1));
    mStrategies.push_back(new ProfileEndpointParameterStrategy(0, 1, graphic_equalizer_enable, 1));
    // 107
    mStrategies.push_back(new ProfileParameterStrategy(0, 16, ieq_amount, 1));
    // 108, 109
    mStrategies.push_back(new ProfileEndpointParameterStrategy(0, 16, dialog_enhancer_amount, 1));
    mStrategies.push_back(new ProfileEndpointParameterStrategy(0, 16, dialog_enhancer_ducking, 1));
    // 110: the twenty band gains of the graphic equalizer.
    mStrategies.push_back(new ProfileGeqParameterStrategy(-576, 576, geq_gain, 20));
    // 111: bass enhancer; 112: virtual bass (the context keeps it on the speaker only).
    mStrategies.push_back(new ProfileEndpointParameterStrategy(0, 1, bass_enhancer_enable, 1));
    mStrategies.push_back(new ProfileEndpointParameterStrategy(0, 1, virtual_bass_enable, 1));
}

ParameterAdapter::~ParameterAdapter() {
    for (ParameterStrategy* strategy : mStrategies) {
        delete strategy;
    }
}

ParameterAdapter::ParameterStrategy* ParameterAdapter::lookup(int id, bool logBeyondTable) const {
    // Ids below the first slot are as unknown as those past the last one.
    if (id < kFirstId || id - kFirstId >= static_cast<int>(mStrategies.size())) {
        if (logBeyondTable) {
            ALOGE("param id %d not supported", id);
        }
        return nullptr;
    }
    ParameterStrategy* strategy = mStrategies[id - kFirstId];
    if (strategy == nullptr) {
        ALOGE("param id %d not supported", id);
    }
    return strategy;
}

const ParameterAdapter::ParameterStrategy* ParameterAdapter::getStrategy(int id) const {
    if (id < kFirstId || id - kFirstId >= static_cast<int>(mStrategies.size())) {
        return nullptr;
    }
    return mStrategies[id - kFirstId];
}

void ParameterAdapter::setParameter(int profile, int id, std::vector<int>& values) {
    ParameterStrategy* strategy = lookup(id, /*logBeyondTable=*/false);
    if (strategy != nullptr) {
        strategy->setParameter(mContext, profile, values);
    }
}

std::vector<int> ParameterAdapter::getParameter(int profile, int id) {
    ParameterStrategy* strategy = lookup(id, /*logBeyondTable=*/true);
    if (strategy == nullptr) {
        return {};
    }
    return strategy->getParameter(mContext, profile);
}

void ParameterAdapter::setProfileEndpointParameter(int profile, Endpoint endpoint, int id,
                                                   std::vector<int>& values) {
    ParameterStrategy* strategy = lookup(id, /*logBeyondTable=*/false);
    if (strategy != nullptr) {
        strategy->setParameter(mContext, profile, endpoint, values);
    }
}

std::vector<int> ParameterAdapter::getProfileEndpointParameter(int profile, Endpoint endpoint,
                                                               int id) {
    ParameterStrategy* strategy = lookup(id, /*logBeyondTable=*/true);
    if (strategy == nullptr) {
        return {};
    }
    return strategy->getParameter(mContext, profile, endpoint);
}

int ParameterAdapter::getParameterLength(int id) {
    ParameterStrategy* strategy = lookup(id, /*logBeyondTable=*/true);
    if (strategy == nullptr) {
        return 1;
    }
    return strategy->getParamLength();
}

}  // namespace velora
