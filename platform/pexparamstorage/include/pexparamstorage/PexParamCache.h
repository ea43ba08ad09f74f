/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <pexparamstorage/PexParamTypes.h>
#include <stddef.h>
#include <stdint.h>

#include <map>
#include <vector>

namespace android {

// The parameters of one device as read back from the store: parameter id -> values, ordered
// by id. A plain value holder; not synchronised.
class PexParamCache {
  public:
    typedef std::map<PexParameterId, std::vector<int32_t>> Params;

    explicit PexParamCache(uint32_t device) : mDevice(device) {}

    uint32_t getDevice() const { return mDevice; }

    // Replaces the values of `id`. `values` may be null when `count` is 0.
    void setParam(PexParameterId id, const int32_t* values, uint32_t count);
    // The values of `id`, or null when the device has no such parameter.
    const std::vector<int32_t>* getParam(PexParameterId id) const;
    bool hasParam(PexParameterId id) const { return mParams.count(id) != 0; }

    size_t size() const { return mParams.size(); }
    bool empty() const { return mParams.empty(); }
    const Params& getParams() const { return mParams; }
    Params::const_iterator begin() const { return mParams.begin(); }
    Params::const_iterator end() const { return mParams.end(); }

  private:
    uint32_t mDevice;
    Params mParams;
};

}  // namespace android
