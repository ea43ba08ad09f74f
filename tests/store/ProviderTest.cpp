/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <tuple>

#include "StoreTestSupport.h"
#include "store/Provider.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"
#include "tuning/DeviceData.h"
#include "tuning/TuningFileParser.h"

namespace velora {
namespace {

using testing::cell;
using ::testing::ElementsAre;
using testing::LogCapture;
using testing::Row;
using testing::SecondConnection;
using testing::StatementTrace;
using testing::TempRoot;
using ::testing::UnorderedElementsAre;

constexpr const char* kTag = "VlrDatabaseProvider";

// What the database gives back for stored values: each vector with one trailing 0, and no
// ieq_id (an IEQ preset's type, which is not a column).
ParameterValues::Values read_back(const ParameterValues::Values& values) {
    ParameterValues::Values expected;
    for (const auto& value : values) {
        if (value.first == ieq_id) continue;
        expected[value.first] = value.second;
        expected[value.first].push_back(0);
    }
    return expected;
}

ParameterValues::Values without_ieq_id(ParameterValues::Values values) {
    values.erase(ieq_id);
    return values;
}

// The provider over a database filled from the shipped example tuning file.
class ProviderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(0, parser.setTuningFile(TempRoot::sourceDir() +
                                          "/examples/multimedia_velora_kiv_default.xml"));
        data = parser.getDeviceData();
        data->setSignature("1767225600");
        data->validateData();
        provider = std::make_unique<Provider>();
    }

    void populateAndInit() {
        ASSERT_EQ(0, provider->populate(*data));
        ASSERT_EQ(0, provider->init());
    }
    std::vector<Row> rows(const std::string& table, const std::string& where = "1") const {
        return SecondConnection(root.hostPath("/data/vendor/velora/kiv_sqlite3.db"))
            .query("SELECT * FROM " + table + " WHERE " + where + " ORDER BY rowid");
    }
    template <typename T>
    T* parsed(const std::set<T*>& records, int profileId) {
        for (T* record : records) {
            if (record->getProfileId() == profileId) return record;
        }
        return nullptr;
    }

    TempRoot root;
    LogCapture logs;
    TuningFileParser parser;
    DeviceData* data = nullptr;
    std::unique_ptr<Provider> provider;
};

TEST_F(ProviderTest, EmptyDatabaseHasNoProfilesAndTheDefaultState) {
    provider->initDatabase();
    EXPECT_EQ(-ENODEV, provider->init());
    EXPECT_TRUE(
        logs.contains(kTag, ANDROID_LOG_ERROR, "init(): No profiles found from the database"));
    EXPECT_EQ(0, provider->getNumOfProfiles());
    EXPECT_EQ(nullptr, provider->loadProfile(0));
    EXPECT_EQ(nullptr, provider->loadIeqPreset(PRESET_OFF));
    EXPECT_TRUE(provider->loadProfileEndpoints(0).empty());
    EXPECT_TRUE(provider->isPexOn());              // no "State" row
    EXPECT_EQ(0, provider->getSelectedProfile());  // no "Profile" row
    EXPECT_EQ("", provider->getDefaultXmlSignature());

    StatementTrace trace(provider->getDatabaseHelper().getConnection());
    provider->create(static_cast<IeqPreset*>(nullptr));
    provider->create(static_cast<Profile*>(nullptr));
    provider->create(static_cast<Tuning*>(nullptr), Provider::kDefaultName);
    EXPECT_TRUE(trace.statements().empty());
}

// "VERB table" steps of a statement list, row counts left out, repeats folded.
std::vector<std::string> steps(const std::vector<std::string>& statements) {
    std::vector<std::string> result;
    for (const std::string& sql : statements) {
        if (sql.rfind("SELECT COUNT(*)", 0) == 0) continue;
        std::string step = sql.substr(0, sql.find(' '));
        if (step == "INSERT") step += " " + sql.substr(12, sql.find(' ', 12) - 12);
        if (result.empty() || result.back() != step) result.push_back(step);
    }
    return result;
}

TEST_F(ProviderTest, PopulateRebuildsInOneTransactionThenWritesSignatureAndVersion) {
    StatementTrace trace(provider->getDatabaseHelper().getConnection());
    ASSERT_EQ(0, provider->populate(*data));
    EXPECT_THAT(steps(trace.statements()),
                ElementsAre("BEGIN", "DROP", "CREATE", "INSERT ieq_presets", "INSERT geq_presets",
                            "INSERT profiles", "INSERT profile_endpoints", "INSERT tunings",
                            "INSERT device_tunings", "INSERT configuration", "COMMIT",
                            "INSERT configuration"));
    EXPECT_THAT(trace.startingWith("INSERT INTO configuration"),
                ElementsAre("INSERT INTO configuration "
                            "VALUES(1,'internal_speaker','default_internal_speaker')\n",
                            "INSERT INTO configuration VALUES(2,'hdmi','default_hdmi')\n",
                            "INSERT INTO configuration VALUES(3,'miracast','default_miracast')\n",
                            "INSERT INTO configuration VALUES(4,'headphone','default_headphone')\n",
                            "INSERT INTO configuration VALUES(5,'bluetooth','default_bluetooth')\n",
                            "INSERT INTO configuration VALUES(6,'usb','default_usb')\n",
                            "INSERT INTO configuration VALUES(7,'signature','1767225600')\n",
                            "INSERT INTO configuration VALUES(8,'Profile','0')\n",
                            "INSERT INTO configuration VALUES(9,'State','true')\n",
                            "INSERT INTO configuration VALUES(10,'version','1.0.0')\n"));

    // Profiles, endpoints and GEQ presets as "default" and "custom"; the rest once.
    EXPECT_EQ(data->getIeqPresets().size(), rows("ieq_presets", "custom_name='default'").size());
    EXPECT_TRUE(rows("ieq_presets", "custom_name<>'default'").empty());
    EXPECT_EQ(2 * data->getProfiles().size(), rows("profiles").size());
    EXPECT_EQ(2 * data->getProfileEndpoints().size(),
              rows("profile_endpoints", "custom_name IN ('default','custom')").size());
    EXPECT_EQ(2 * data->getGeqPresets().size(), rows("geq_presets").size());
    EXPECT_EQ(data->getTunings().size(), rows("tunings", "custom_name='default'").size());
    EXPECT_EQ(data->getDeviceTunings().size(), rows("device_tunings").size());
    // A created record keeps the _id of its custom row.
    for (Profile* profile : data->getProfiles()) {
        Row custom = rows("profiles", "custom_name='custom' AND profile_id='" +
                                          std::to_string(profile->getProfileId()) + "'")
                         .at(0);
        EXPECT_EQ(std::to_string(profile->getId()), cell(custom, "_id"));
    }
}

TEST_F(ProviderTest, RebuildReplacesEverythingAndAFailedOneKeepsTheOld) {
    ASSERT_EQ(0, provider->populate(*data));
    provider->setPexOn(false);
    data->setSignature("1800000000");
    ASSERT_EQ(0, provider->populate(*data));
    EXPECT_EQ(1u, rows("configuration", "key='signature'").size());
    EXPECT_EQ("1800000000", provider->getDefaultXmlSignature());
    EXPECT_TRUE(provider->isPexOn());

    // Another writer holds the file: nothing is dropped.
    SecondConnection writer(provider->getDatabaseHelper().getPath(), /*readOnly=*/false);
    ASSERT_EQ(SQLITE_OK, writer.exec("BEGIN IMMEDIATE"));
    data->setSignature("1900000000");
    EXPECT_EQ(-EBUSY, provider->populate(*data));
    writer.exec("ROLLBACK");
    EXPECT_EQ("1800000000", provider->getDefaultXmlSignature());
    EXPECT_EQ(2 * data->getProfiles().size(), rows("profiles").size());
}

// Written, closed, and read back by a second provider: every record value for value.
TEST_F(ProviderTest, ExampleFileRoundTripsThroughAReopenedDatabase) {
    ASSERT_EQ(0, provider->populate(*data));
    provider = std::make_unique<Provider>();
    ASSERT_EQ(0, provider->init());
    EXPECT_EQ("1.0.0", provider->getDefaultXmlFormatVersion());
    EXPECT_EQ(parser.getNumOfProfiles(), provider->getNumOfProfiles());

    for (Profile* expected : data->getProfiles()) {
        int id = expected->getProfileId();
        SCOPED_TRACE("profile " + std::to_string(id));
        for (Profile* loaded : {provider->loadProfile(id), provider->loadDefaultProfile(id)}) {
            ASSERT_NE(nullptr, loaded);
            EXPECT_EQ(expected->getName(), loaded->getName());
            EXPECT_EQ(expected->getSelectedIeqPreset(), loaded->getSelectedIeqPreset());
            EXPECT_EQ(expected->getSelectedGeqPreset(), loaded->getSelectedGeqPreset());
            EXPECT_EQ(read_back(expected->getValues()), loaded->getValues());
        }
        EXPECT_EQ(read_back(parsed(data->getGeqPresets(), id)->getValues()),
                  provider->loadGeqPreset(id)->getValues());
        for (const auto& endpoints :
             {provider->loadProfileEndpoints(id), provider->loadDefaultProfileEndpoints(id)}) {
            ASSERT_EQ(3u, endpoints.size());
            for (ProfileEndpoint* loaded : endpoints) {
                for (ProfileEndpoint* e : data->getProfileEndpoints()) {
                    if (e->getProfileId() != id || e->getEndpoint() != loaded->getEndpoint()) {
                        continue;
                    }
                    EXPECT_EQ(read_back(e->getValues()), loaded->getValues());
                }
            }
        }
    }
    for (IeqPreset* expected : data->getIeqPresets()) {
        IeqPreset* loaded = provider->loadIeqPreset(expected->getType());
        EXPECT_EQ(read_back(expected->getValues()), without_ieq_id(loaded->getValues()));
        EXPECT_EQ(expected->getValues().at(ieq_id), loaded->getValues().at(ieq_id));
    }

    std::map<std::string, Tuning*> tunings;
    for (Tuning* tuning : data->getTunings()) tunings[tuning->getName()] = tuning;
    using Entry = std::tuple<std::string, std::string, std::string>;
    std::set<Entry> expectedDevices;
    for (DeviceTuning* d : data->getDeviceTunings()) {
        if (d->getPort() != "other")
            expectedDevices.emplace(d->getDevice(), d->getPort(), d->getTuning());
    }
    std::set<Entry> loadedDevices;
    for (int port = 0; port < kPortCount; ++port) {
        if (port == PORT_OTHER) continue;
        for (DeviceTuning* d : provider->loadDeviceTuningsForPort(static_cast<Port>(port))) {
            loadedDevices.emplace(d->getDevice(), d->getPort(), d->getTuning());
        }
    }
    EXPECT_EQ(expectedDevices, loadedDevices);
    for (const Entry& device : loadedDevices) {
        SCOPED_TRACE("device " + std::get<0>(device));
        Tuning* loaded = provider->loadTuningForDevice(std::get<0>(device));
        Tuning* expected = tunings.at(std::get<2>(device));
        ASSERT_NE(nullptr, loaded);
        EXPECT_EQ(expected->getName(), loaded->getName());
        EXPECT_EQ(expected->getEndpoint(), loaded->getEndpoint());
        EXPECT_EQ(expected->isMono(), loaded->isMono());
        EXPECT_TRUE(loaded->isReadonly());
        EXPECT_EQ(read_back(expected->getValues()), loaded->getValues());
    }
}

TEST_F(ProviderTest, ChangesGoToCustomRowsAndResetReadsTheDefaultRow) {
    populateAndInit();
    Profile* custom = provider->loadProfile(1);
    ASSERT_NE(nullptr, custom);
    EXPECT_EQ(custom, provider->loadProfile(1));  // one record per profile, reloaded in place
    EXPECT_NE(custom, provider->loadDefaultProfile(1));
    std::vector<int> original = custom->getValues().at(ieq_amount);

    custom->set(ieq_amount, {3});
    provider->save(custom);
    EXPECT_EQ("3,", cell(rows("profiles", "profile_id='1' AND custom_name='custom'").at(0),
                         "ieq_amount"));
    EXPECT_EQ(original, provider->loadDefaultProfile(1)->getValues().at(ieq_amount));
    EXPECT_EQ(custom, provider->reset(custom));
    EXPECT_EQ(original, custom->getValues().at(ieq_amount));
    provider->save(custom);
    EXPECT_EQ(2u, rows("profiles", "profile_id='1'").size());

    ProfileEndpoint* headphone = nullptr;
    for (ProfileEndpoint* e : provider->loadProfileEndpoints(1)) {
        if (e->getEndpoint() == ENDPOINT_HEADPHONE) headphone = e;
    }
    ASSERT_NE(nullptr, headphone);
    headphone->set(peak_value, {-9});
    provider->save(headphone);
    EXPECT_EQ(1u, rows("profile_endpoints", "peak_value='-9,'").size());
    EXPECT_EQ("custom", cell(rows("profile_endpoints", "peak_value='-9,'").at(0), "custom_name"));
    provider->reset(headphone);
    EXPECT_NE((std::vector<int>{-9}), headphone->getValues().at(peak_value));

    GeqPreset* geq = provider->loadGeqPreset(1);
    EXPECT_EQ(geq, provider->loadGeqPreset(1));
    std::vector<int> gains = geq->getValues().at(geq_gain);
    geq->set(geq_gain, {6, 6});
    provider->save(geq);
    EXPECT_EQ(gains, provider->loadDefaultGeqPreset(1)->getValues().at(geq_gain));
    EXPECT_EQ((std::vector<int>{6, 6, 0}), provider->loadGeqPreset(1)->getValues().at(geq_gain));
    EXPECT_EQ(gains, provider->reset(geq)->getValues().at(geq_gain));

    // A record without a row yet gets a new custom row, and its _id.
    Profile extra(7, "Extra", PRESET_OFF);
    provider->save(&extra);
    std::vector<Row> added = rows("profiles", "profile_id='7'");
    ASSERT_EQ(1u, added.size());
    EXPECT_EQ("custom", cell(added[0], "custom_name"));
    EXPECT_EQ(std::to_string(extra.getId()), cell(added[0], "_id"));
    EXPECT_EQ(static_cast<int64_t>(2 * data->getProfiles().size() + 1), extra.getId());
}

TEST_F(ProviderTest, WorkingEndpointPresetsAndOutOfRangeIds) {
    populateAndInit();
    ProfileEndpoint* working = provider->loadProfileEndpoint(0, ENDPOINT_HEADPHONE);
    ASSERT_NE(nullptr, working);
    EXPECT_EQ(working, provider->loadProfileEndpoint(0, ENDPOINT_OTHER));
    EXPECT_EQ(0u, provider->loadProfileEndpoints(0).count(working));
    EXPECT_EQ(ENDPOINT_SPEAKER, working->getEndpoint());  // its own field is not changed
    for (ProfileEndpoint* e : data->getProfileEndpoints()) {
        if (e->getProfileId() == 0 && e->getEndpoint() == ENDPOINT_OTHER) {
            EXPECT_EQ(read_back(e->getValues()), working->getValues());
        }
    }
    IeqPreset* warm = provider->loadIeqPreset(PRESET_WARM);
    EXPECT_EQ(warm, provider->loadIeqPreset(PRESET_WARM));
    EXPECT_EQ(PRESET_WARM, warm->getType());

    int count = provider->getNumOfProfiles();
    EXPECT_EQ(nullptr, provider->loadProfile(count));
    EXPECT_EQ(nullptr, provider->loadGeqPreset(-1));
    EXPECT_EQ(nullptr, provider->loadProfileEndpoint(0, static_cast<Endpoint>(3)));
    EXPECT_EQ(nullptr, provider->loadIeqPreset(static_cast<PresetType>(4)));
}

TEST_F(ProviderTest, StateAndSelectionsPersist) {
    populateAndInit();
    provider->setPexOn(false);
    provider->setSelectedProfile(2);
    provider->updateDeviceTuning("usb", "usb_c_earphones");
    provider = std::make_unique<Provider>();
    EXPECT_FALSE(provider->isPexOn());
    EXPECT_EQ(2, provider->getSelectedProfile());
    EXPECT_EQ("usb_c_earphones", provider->getDeviceTuning("usb"));
    EXPECT_EQ("default_hdmi", provider->getDeviceTuning("hdmi"));
    EXPECT_EQ("", provider->getDeviceTuning("other"));
}

TEST_F(ProviderTest, TuningsAreLoadedOnceAndServedFromTheCache) {
    populateAndInit();
    // Nothing is found before the port's devices are loaded.
    EXPECT_EQ(nullptr, provider->loadTuningForDevice("default_headphone"));
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_WARN,
                              "Cannot find device with name default_headphone in mDeviceTunings"));
    std::set<DeviceTuning*> devices = provider->loadDeviceTuningsForPort(PORT_HEADPHONE);
    ASSERT_EQ(1u, devices.size());
    EXPECT_EQ(devices, provider->loadDeviceTuningsForPort(PORT_HEADPHONE));

    Tuning* tuning = provider->loadTuningForDevice("default_headphone");
    ASSERT_NE(nullptr, tuning);
    EXPECT_TRUE(
        logs.containsMessage("Load tuning[headphone] from cache device[default_headphone], "
                             "and put it in cached mTunings"));
    EXPECT_EQ(tuning, provider->loadTuningForDevice("default_headphone"));
    EXPECT_TRUE(logs.containsMessage(
        "Found existing tuning[headphone] from cache device[default_headphone]"));
    provider->loadDeviceTuningsForPort(PORT_BLUETOOTH);
    EXPECT_EQ(tuning, provider->loadTuningForDevice("default_bluetooth"));  // same tuning name

    // After a reload the caches hold what the database holds now.
    DeviceTuning added("studio", "headphone", "speaker_stereo");
    provider->create(&added, Provider::kOemName);
    EXPECT_EQ(1u, provider->loadDeviceTuningsForPort(PORT_HEADPHONE).size());
    logs.clear();
    provider->reloadCachedDeviceTunings();
    EXPECT_TRUE(
        logs.contains(kTag, ANDROID_LOG_DEBUG,
                      "Clear cached device tuning Port[headphone]:Device[default_headphone]"));
    std::vector<std::string> names;
    for (DeviceTuning* d : provider->loadDeviceTuningsForPort(PORT_HEADPHONE)) {
        names.push_back(d->getDevice());
    }
    EXPECT_THAT(names, UnorderedElementsAre("default_headphone", "studio"));
    EXPECT_EQ(2u, provider->loadDeviceTuningsForPort(PORT_USB).size());  // every port reloaded
    logs.clear();
    ASSERT_NE(nullptr, provider->loadTuningForDevice("default_headphone"));
    EXPECT_EQ(0u, logs.countMessage(
                      "Found existing tuning[headphone] from cache device[default_headphone]"));
    EXPECT_EQ(ENDPOINT_SPEAKER, provider->loadTuningForDevice("studio")->getEndpoint());
}

TEST_F(ProviderTest, DeviceOnAPortWithoutEndpointStillGetsItsTuning) {
    populateAndInit();
    DeviceTuning orphan("dock", "usb", "no_such_tuning");
    provider->create(&orphan, Provider::kOemName);
    provider->loadDeviceTuningsForPort(PORT_USB);
    // "usb" names no endpoint; the stored row of the tuning says headphone.
    Tuning* tuning = provider->loadTuningForDevice("default_usb");
    ASSERT_NE(nullptr, tuning);
    EXPECT_EQ(ENDPOINT_HEADPHONE, tuning->getEndpoint());
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_WARN,
                              "Port[usb] of device[default_usb] names no endpoint, "
                              "tuning[headphone] starts as speaker"));
    // Without a row the port still gets a tuning in force: empty, speaker.
    Tuning* empty = provider->loadTuningForDevice("dock");
    ASSERT_NE(nullptr, empty);
    EXPECT_EQ(ENDPOINT_SPEAKER, empty->getEndpoint());
    EXPECT_TRUE(empty->getValues().empty());
}

TEST_F(ProviderTest, RecordsWithMissingValuesAndQuotedNamesRoundTrip) {
    Profile profile(0, "Tom's mix", PRESET_OFF);
    profile.set(ieq_enable, {0});
    Tuning tuning("Tom's amp", ENDPOINT_HEADPHONE, false);
    tuning.set(output_channels, {2});
    DeviceTuning device("Tom's cans", "headphone", "Tom's amp");
    DeviceData sparse;
    sparse.setProfiles({&profile});
    sparse.setTunings({&tuning});
    sparse.setDeviceTunings({&device});
    ASSERT_EQ(0, provider->populate(sparse));
    ASSERT_EQ(0, provider->init());

    Profile* loaded = provider->loadProfile(0);
    EXPECT_EQ("Tom's mix", loaded->getName());
    EXPECT_EQ((ParameterValues::Values{{ieq_enable, {0, 0}}}), loaded->getValues());
    loaded->set(ieq_amount, {4});
    provider->save(loaded);
    EXPECT_EQ((std::vector<int>{4, 0}), provider->loadProfile(0)->getValues().at(ieq_amount));

    provider->loadDeviceTuningsForPort(PORT_HEADPHONE);
    Tuning* loadedTuning = provider->loadTuningForDevice("Tom's cans");
    ASSERT_NE(nullptr, loadedTuning);
    EXPECT_EQ((ParameterValues::Values{{output_channels, {2, 0}}}), loadedTuning->getValues());
    provider->updateDeviceTuning("headphone", "Tom's cans");
    EXPECT_EQ("Tom's cans", provider->getDeviceTuning("headphone"));
}

}  // namespace
}  // namespace velora
