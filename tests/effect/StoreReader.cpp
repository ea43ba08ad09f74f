/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "StoreReader.h"

#include <gtest/gtest.h>
#include <pexparamstorage/PexParamFileReader.h>
#include <pexparamstorage/PexParamStore.h>

namespace velora::testing {

namespace {

StoredParams collect(android::KeyedVector<uint32_t, android::PexParamCache*>& caches,
                     int generation) {
    StoredParams stored;
    stored.generation = generation;
    for (size_t i = 0; i < caches.size(); ++i) {
        const android::PexParamCache* cache = caches.valueAt(i);
        for (const auto& [id, values] : *cache) {
            stored.values[{caches.keyAt(i), id}] = std::vector<int>(values.begin(), values.end());
        }
    }
    android::PexParamStore::releaseStoredParams(&caches);
    return stored;
}

}  // namespace

StoredParams read_store() {
    android::KeyedVector<uint32_t, android::PexParamCache*> caches;
    int generation = -1;
    EXPECT_EQ(0,
              android::PexParamStore::getInstance().getStoredParams(&caches, false, &generation));
    return collect(caches, generation);
}

StoredParams read_published_file() {
    android::PexParamFileReader reader(android::PexParamStore::getPublishedPath());
    android::KeyedVector<uint32_t, android::PexParamCache*> caches;
    int generation = -1;
    EXPECT_EQ(0, reader.read(&caches, false, &generation));
    return collect(caches, generation);
}

}  // namespace velora::testing
