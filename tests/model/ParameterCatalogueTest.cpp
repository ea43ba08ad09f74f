/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "model/DeviceParameters.h"
#include "model/Endpoint.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Parameter.h"
#include "model/Port.h"
#include "model/PresetType.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/ProfileParameters.h"
#include "model/Tuning.h"

namespace velora {
namespace {

// What a static table of another subsystem sees while it is built. These objects live in the
// test binary, which is linked before the model archive, so without an early init priority
// they would be built before the model's tables exist.
const std::vector<size_t> gEarlySizes = {
    kPortNameToEndpoint.size(), Tuning::kEndpNameToEndpoint.size(), Tuning::kValidParams.size(),
    DeviceParameters::kValidParams.size(), ProfileParameters::kValidParams.size()};
const Endpoint gEarlyBluetooth =
    kPortNameToEndpoint.count("bluetooth") ? kPortNameToEndpoint.at("bluetooth") : ENDPOINT_OTHER;

TEST(StaticTablesTest, ModelTablesAreBuiltBeforeOtherStaticObjects) {
    EXPECT_EQ((std::vector<size_t>{7, 3, 50, 73, 13}), gEarlySizes);
    EXPECT_EQ(ENDPOINT_HEADPHONE, gEarlyBluetooth);
}

// The names are the database's column names: sorted strictly, so that the column list and the
// enumerator order agree. Which parameter lands in which column is held by the recorded
// start-up results.
TEST(ParameterCatalogueTest, NamesAreSortedAndEveryParameterBelongsToOneRecordKind) {
    for (int v = 1; v < kParameterCount; ++v) {
        EXPECT_LT(strcmp(kParameterNames[v - 1], kParameterNames[v]), 0) << kParameterNames[v];
    }
    EXPECT_STREQ("geq_gain", parameter_name(geq_gain));
    EXPECT_STREQ(nullptr, parameter_name(static_cast<Parameter>(kParameterCount)));
    EXPECT_STREQ(nullptr, parameter_name(static_cast<Parameter>(-1)));

    const std::vector<std::pair<RecordKind, const std::set<Parameter>*>> kinds = {
        {RecordKind::Tuning, &Tuning::kValidParams},
        {RecordKind::ProfileEndpoint, &ProfileEndpoint::kValidParams},
        {RecordKind::Profile, &Profile::kValidParams},
        {RecordKind::IeqPreset, &IeqPreset::kValidParams},
        {RecordKind::GeqPreset, &GeqPreset::kValidParams}};
    for (int v = 0; v < kParameterCount; ++v) {
        const Parameter p = static_cast<Parameter>(v);
        int owners = 0;
        for (const auto& [kind, params] : kinds) {
            if (params->count(p) == 0) continue;
            ++owners;
            EXPECT_EQ(kind, kParameterRecordKinds[v]) << kParameterNames[v];
        }
        EXPECT_EQ(1, owners) << kParameterNames[v];
        // The profile-wide view takes the profile and its presets; the device view the rest.
        const bool profileWide = kParameterRecordKinds[v] == RecordKind::Profile ||
                                 kParameterRecordKinds[v] == RecordKind::IeqPreset ||
                                 kParameterRecordKinds[v] == RecordKind::GeqPreset;
        EXPECT_EQ(profileWide, ProfileParameters::kValidParams.count(p) == 1) << kParameterNames[v];
        EXPECT_EQ(!profileWide, DeviceParameters::kValidParams.count(p) == 1) << kParameterNames[v];
    }
}

TEST(NameTablesTest, NamesFollowTheEnumeratorsAndPortsMapToTheirEndpoints) {
    const std::vector<std::string> ports = {"internal_speaker", "hdmi", "miracast", "headphone",
                                            "bluetooth",        "usb",  "other"};
    ASSERT_EQ(static_cast<size_t>(kPortCount), ports.size());
    for (int p = 0; p < kPortCount; ++p) EXPECT_EQ(ports[p], kPortNames[p]);
    EXPECT_EQ("7", endpoint_name(static_cast<Endpoint>(7)));
    EXPECT_EQ("-1", preset_type_name(static_cast<PresetType>(-1)));

    // Each port name uses the settings of its endpoint.
    const std::map<std::string, Endpoint> expected = {{"internal_speaker", ENDPOINT_SPEAKER},
                                                      {"headphone", ENDPOINT_HEADPHONE},
                                                      {"bluetooth", ENDPOINT_HEADPHONE},
                                                      {"bus", ENDPOINT_HEADPHONE},
                                                      {"hdmi", ENDPOINT_OTHER},
                                                      {"miracast", ENDPOINT_OTHER},
                                                      {"other", ENDPOINT_OTHER}};
    // Nothing else: "usb" is a port but has no endpoint of its own, the caller decides.
    EXPECT_EQ(expected, kPortNameToEndpoint);
}

}  // namespace
}  // namespace velora
