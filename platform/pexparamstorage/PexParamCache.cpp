/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <pexparamstorage/PexParamCache.h>

namespace android {

void PexParamCache::setParam(PexParameterId id, const int32_t* values, uint32_t count) {
    std::vector<int32_t>& stored = mParams[id];
    if (count == 0) {
        stored.clear();
    } else {
        stored.assign(values, values + count);
    }
}

const std::vector<int32_t>* PexParamCache::getParam(PexParameterId id) const {
    auto it = mParams.find(id);
    return it == mParams.end() ? nullptr : &it->second;
}

}  // namespace android
