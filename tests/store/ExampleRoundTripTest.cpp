/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>

#include "model/Port.h"
#include "store/Provider.h"
#include "testutil/TempRoot.h"
#include "tuning/DeviceData.h"
#include "tuning/TuningFileParser.h"

namespace velora {
namespace {

using testing::TempRoot;

// A stored vector reads back with one trailing 0.
ParameterValues::Values as_read_back(const ParameterValues::Values& values) {
    ParameterValues::Values expected;
    for (const auto& value : values) {
        if (value.first == ieq_id) continue;  // not a column: the preset's type says it
        std::vector<int> vector = value.second;
        vector.push_back(0);
        expected[value.first] = vector;
    }
    return expected;
}

ParameterValues::Values without_ieq_id(const ParameterValues::Values& values) {
    ParameterValues::Values result = values;
    result.erase(ieq_id);
    return result;
}

// The shipped example tuning file, written into a fresh database, closed, and read back by a
// second provider: every record must come back value for value.
class ExampleRoundTripTest : public ::testing::Test {
  protected:
    void SetUp() override {
        parser = std::make_unique<TuningFileParser>();
        ASSERT_EQ(0, parser->setTuningFile(TempRoot::sourceDir() +
                                           "/examples/multimedia_velora_kiv_default.xml"));
        data = parser->getDeviceData();
        ASSERT_NE(nullptr, data);
        data->setSignature("1767225600");
        data->validateData();
        ASSERT_FALSE(data->getProfiles().empty());
        ASSERT_FALSE(data->getTunings().empty());
        {
            Provider writer;
            ASSERT_EQ(0, writer.populate(*data));
        }
        provider = std::make_unique<Provider>();
        ASSERT_EQ(0, provider->init());
    }

    TempRoot root;
    std::unique_ptr<TuningFileParser> parser;
    DeviceData* data = nullptr;
    std::unique_ptr<Provider> provider;
};

TEST_F(ExampleRoundTripTest, ConfigurationComesBack) {
    EXPECT_EQ("1767225600", provider->getDefaultXmlSignature());
    EXPECT_EQ(data->getFormatVersion(), provider->getDefaultXmlFormatVersion());
    EXPECT_EQ("1.0.0", provider->getDefaultXmlFormatVersion());
    EXPECT_TRUE(provider->isPexOn());
    EXPECT_EQ(0, provider->getSelectedProfile());
    for (int port = 0; port < kPortCount; ++port) {
        std::string name = kPortNames[port];
        EXPECT_EQ(port == PORT_OTHER ? "" : "default_" + name, provider->getDeviceTuning(name));
    }
}

TEST_F(ExampleRoundTripTest, ProfilesEndpointsAndPresetsComeBack) {
    EXPECT_EQ(static_cast<int>(data->getProfiles().size()), provider->getNumOfProfiles());
    for (Profile* parsed : data->getProfiles()) {
        int id = parsed->getProfileId();
        SCOPED_TRACE("profile " + std::to_string(id));
        for (Profile* loaded : {provider->loadProfile(id), provider->loadDefaultProfile(id)}) {
            ASSERT_NE(nullptr, loaded);
            EXPECT_EQ(parsed->getName(), loaded->getName());
            EXPECT_EQ(parsed->getSelectedIeqPreset(), loaded->getSelectedIeqPreset());
            EXPECT_EQ(parsed->getSelectedGeqPreset(), loaded->getSelectedGeqPreset());
            EXPECT_EQ(as_read_back(parsed->getValues()), loaded->getValues());
        }
    }
    for (ProfileEndpoint* parsed : data->getProfileEndpoints()) {
        int id = parsed->getProfileId();
        SCOPED_TRACE("endpoint " + std::to_string(id) + "/" + endpoint_name(parsed->getEndpoint()));
        for (const auto& loadedSet :
             {provider->loadProfileEndpoints(id), provider->loadDefaultProfileEndpoints(id)}) {
            int matches = 0;
            for (ProfileEndpoint* loaded : loadedSet) {
                if (loaded->getEndpoint() != parsed->getEndpoint()) continue;
                ++matches;
                EXPECT_EQ(as_read_back(parsed->getValues()), loaded->getValues());
            }
            EXPECT_EQ(1, matches);
        }
    }
    for (GeqPreset* parsed : data->getGeqPresets()) {
        int id = parsed->getProfileId();
        SCOPED_TRACE("geq " + std::to_string(id));
        if (id >= provider->getNumOfProfiles()) continue;  // a preset without a profile
        EXPECT_EQ(as_read_back(parsed->getValues()), provider->loadGeqPreset(id)->getValues());
        EXPECT_EQ(as_read_back(parsed->getValues()),
                  provider->loadDefaultGeqPreset(id)->getValues());
    }
    for (IeqPreset* parsed : data->getIeqPresets()) {
        SCOPED_TRACE(std::string("ieq ") + kPresetTypeNames[parsed->getType()]);
        IeqPreset* loaded = provider->loadIeqPreset(parsed->getType());
        ASSERT_NE(nullptr, loaded);
        EXPECT_EQ(as_read_back(parsed->getValues()), without_ieq_id(loaded->getValues()));
        EXPECT_EQ(parsed->getValues().at(ieq_id), loaded->getValues().at(ieq_id));
    }
}

TEST_F(ExampleRoundTripTest, DevicesAndTheirTuningsComeBack) {
    std::map<std::string, Tuning*> parsedTunings;
    for (Tuning* tuning : data->getTunings()) parsedTunings[tuning->getName()] = tuning;

    using Entry = std::tuple<std::string, std::string, std::string>;
    std::set<Entry> expected;
    std::set<std::string> supportedPortNames;
    for (int port = 0; port < kPortCount; ++port) {
        if (port != PORT_OTHER) supportedPortNames.insert(kPortNames[port]);
    }
    for (DeviceTuning* parsed : data->getDeviceTunings()) {
        if (supportedPortNames.count(parsed->getPort()) == 0) continue;
        expected.emplace(parsed->getDevice(), parsed->getPort(), parsed->getTuning());
    }

    std::set<Entry> loaded;
    for (int port = 0; port < kPortCount; ++port) {
        if (port == PORT_OTHER) continue;
        for (DeviceTuning* device : provider->loadDeviceTuningsForPort(static_cast<Port>(port))) {
            loaded.emplace(device->getDevice(), device->getPort(), device->getTuning());
        }
    }
    EXPECT_EQ(expected, loaded);
    ASSERT_FALSE(loaded.empty());

    for (const Entry& entry : loaded) {
        const std::string& device = std::get<0>(entry);
        SCOPED_TRACE("device " + device);
        Tuning* tuning = provider->loadTuningForDevice(device);
        ASSERT_NE(nullptr, tuning);
        auto parsed = parsedTunings.find(std::get<2>(entry));
        ASSERT_NE(parsedTunings.end(), parsed);
        EXPECT_EQ(parsed->second->getName(), tuning->getName());
        EXPECT_EQ(parsed->second->getEndpoint(), tuning->getEndpoint());
        EXPECT_EQ(parsed->second->isMono(), tuning->isMono());
        EXPECT_TRUE(tuning->isReadonly());
        EXPECT_EQ(as_read_back(parsed->second->getValues()), tuning->getValues());
    }

    // Every tuning is stored, including those no supported port's device names.
    for (const auto& parsed : parsedTunings) {
        SCOPED_TRACE("tuning " + parsed.first);
        Tuning read(parsed.first, ENDPOINT_SPEAKER, false);
        provider->getDatabaseHelper().queryTuning(parsed.first, &read);
        EXPECT_EQ(parsed.second->getEndpoint(), read.getEndpoint());
        EXPECT_EQ(as_read_back(parsed.second->getValues()), read.getValues());
    }
}

}  // namespace
}  // namespace velora
