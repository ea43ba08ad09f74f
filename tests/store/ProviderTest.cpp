/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "StoreTestSupport.h"
#include "store/Provider.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"
#include "tuning/DeviceData.h"

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

// A small tuning file's worth of records: two profiles with their endpoints and GEQ
// presets, two IEQ presets, a speaker and a headphone tuning and the devices that use them.
class SmallTuningData {
  public:
    SmallTuningData() {
        const char* names[] = {"Dynamic", "Movie"};
        for (int id = 0; id < 2; ++id) {
            Profile* profile = own(mProfiles, new Profile(id, names[id], PRESET_BALANCED));
            profile->set(ieq_enable, {1});
            profile->set(ieq_amount, {10 + id});
            profile->set(custom_drc_metadata, {});
            for (Parameter p : {mi_adaptive_virtualizer_steering_enable,
                                mi_dv_leveler_steering_enable, mi_ieq_steering_enable,
                                mi_surround_compressor_steering_enable, volume_modeler_enable}) {
                profile->set(p, {id});
            }
            for (int e = 0; e < kEndpointCount; ++e) {
                ProfileEndpoint* endpoint =
                    own(mEndpoints, new ProfileEndpoint(id, static_cast<Endpoint>(e)));
                int n = 0;
                for (Parameter p : ProfileEndpoint::kValidParams) {
                    endpoint->set(p, {100 * id + 10 * e + n++});
                }
            }
            GeqPreset* geq = own(mGeq, new GeqPreset(id));
            geq->set(geq_frequency, {32, 64, 125});
            geq->set(geq_gain, {id, 0, -id});
        }
        for (PresetType type : {PRESET_DETAILED, PRESET_WARM}) {
            IeqPreset* ieq = own(mIeq, new IeqPreset(type));
            ieq->set(ieq_frequency, {1000, 2000});
            ieq->set(ieq_target, {type, -type});
        }
        Tuning* speaker = own(mTunings, new Tuning("spk_tuning", ENDPOINT_SPEAKER, false));
        Tuning* headphone = own(mTunings, new Tuning("hp_tuning", ENDPOINT_HEADPHONE, true));
        int n = 0;
        for (Parameter p : Tuning::kValidParams) {
            speaker->set(p, {n, n + 1});
            headphone->set(p, {-n});
            ++n;
        }
        own(mDevices,
            new DeviceTuning("default_internal_speaker", "internal_speaker", "spk_tuning"));
        own(mDevices, new DeviceTuning("default_headphone", "headphone", "hp_tuning"));
        own(mDevices, new DeviceTuning("default_usb", "usb", "hp_tuning"));
        own(mDevices, new DeviceTuning("usb_orphan", "usb", "no_such_tuning"));

        mData.setFormatVersion("1.0.0");
        mData.setToolVersion("2.3.4");
        mData.setSignature("1700000000");
        mData.setIeqPresets(pointers(mIeq));
        mData.setGeqPresets(pointers(mGeq));
        mData.setProfiles(pointers(mProfiles));
        mData.setProfileEndPoints(pointers(mEndpoints));
        mData.setTunings(pointers(mTunings));
        mData.setDeviceTunings(pointers(mDevices));
    }

    DeviceData& data() { return mData; }
    Profile* profile(int id) { return mProfiles[static_cast<size_t>(id)].get(); }
    Tuning* tuning(int index) { return mTunings[static_cast<size_t>(index)].get(); }
    ProfileEndpoint* endpoint(int id, Endpoint e) {
        return mEndpoints[static_cast<size_t>(id * kEndpointCount + e)].get();
    }

  private:
    template <typename T>
    static T* own(std::vector<std::unique_ptr<T>>& list, T* record) {
        list.emplace_back(record);
        return record;
    }
    template <typename T>
    static std::set<T*> pointers(const std::vector<std::unique_ptr<T>>& list) {
        std::set<T*> result;
        for (const auto& record : list) result.insert(record.get());
        return result;
    }

    std::vector<std::unique_ptr<IeqPreset>> mIeq;
    std::vector<std::unique_ptr<GeqPreset>> mGeq;
    std::vector<std::unique_ptr<Profile>> mProfiles;
    std::vector<std::unique_ptr<ProfileEndpoint>> mEndpoints;
    std::vector<std::unique_ptr<Tuning>> mTunings;
    std::vector<std::unique_ptr<DeviceTuning>> mDevices;
    DeviceData mData;
};

// A stored vector reads back with one trailing 0.
std::vector<int> stored(std::vector<int> values) {
    values.push_back(0);
    return values;
}

class ProviderTest : public ::testing::Test {
  protected:
    void SetUp() override { provider = std::make_unique<Provider>(); }

    // Fills the database from the small data set and creates the records.
    void populateAndInit() {
        ASSERT_EQ(0, provider->populate(tuningData.data()));
        ASSERT_EQ(0, provider->init());
    }

    std::string dbPath() const { return root.hostPath("/data/vendor/velora/kiv_sqlite3.db"); }
    std::vector<Row> rows(const std::string& table, const std::string& where = "") const {
        return SecondConnection(dbPath()).query(
            "SELECT * FROM " + table + (where.empty() ? "" : " WHERE " + where) + " ORDER BY _id");
    }

    TempRoot root;
    LogCapture logs;
    SmallTuningData tuningData;
    std::unique_ptr<Provider> provider;
};

TEST_F(ProviderTest, FixedNames) {
    EXPECT_STREQ("default", Provider::kDefaultName);
    EXPECT_STREQ("custom", Provider::kCustomName);
    EXPECT_STREQ("oem", Provider::kOemName);
    EXPECT_STREQ("signature", Provider::kSignature);
    EXPECT_STREQ("version", Provider::kFormatVersion);
    EXPECT_STREQ("Profile", Provider::kSelectedProfile);
    EXPECT_STREQ("State", Provider::kPexState);
    EXPECT_EQ(dbPath(), provider->getDatabaseHelper().getPath());
}

TEST_F(ProviderTest, EmptyDatabaseHasNoProfilesAndDefaultState) {
    provider->initDatabase();
    EXPECT_EQ(-ENODEV, provider->init());
    EXPECT_TRUE(logs.contains("VlrDatabaseProvider", ANDROID_LOG_ERROR,
                              "init(): No profiles found from the database"));
    EXPECT_EQ(0, provider->getNumOfProfiles());
    EXPECT_EQ(nullptr, provider->loadProfile(0));
    EXPECT_EQ(nullptr, provider->loadIeqPreset(PRESET_OFF));
    EXPECT_TRUE(provider->loadProfileEndpoints(0).empty());
    // Without "State" and "Profile" rows: effect on, profile 0.
    EXPECT_TRUE(provider->isPexOn());
    EXPECT_EQ(0, provider->getSelectedProfile());
    EXPECT_EQ("", provider->getDefaultXmlSignature());
}

// Compresses a statement list into "VERB table" steps, dropping the row counts that come
// with inserts, so that the order of the rebuild can be compared as a whole.
std::vector<std::string> steps(const std::vector<std::string>& statements) {
    std::vector<std::string> result;
    for (const std::string& sql : statements) {
        if (sql.rfind("SELECT COUNT(*)", 0) == 0) continue;
        std::string step = sql;
        if (sql.rfind("INSERT INTO ", 0) == 0) {
            step = "INSERT " + sql.substr(12, sql.find(' ', 12) - 12);
        } else if (sql.rfind("CREATE TABLE", 0) == 0) {
            step = "CREATE";
        } else if (sql.rfind("DROP TABLE", 0) == 0) {
            step = "DROP";
        }
        if (result.empty() || result.back() != step) result.push_back(step);
    }
    return result;
}

TEST_F(ProviderTest, PopulateRebuildsInOneTransactionThenWritesSignatureAndVersion) {
    StatementTrace trace(provider->getDatabaseHelper().getConnection());
    ASSERT_EQ(0, provider->populate(tuningData.data()));

    EXPECT_THAT(steps(trace.statements()),
                ElementsAre("BEGIN EXCLUSIVE", "DROP", "CREATE", "INSERT ieq_presets",
                            "INSERT geq_presets", "INSERT profiles", "INSERT profile_endpoints",
                            "INSERT tunings", "INSERT device_tunings", "INSERT configuration",
                            "COMMIT", "INSERT configuration"));
    EXPECT_THAT(trace.startingWith("INSERT INTO configuration"),
                ElementsAre("INSERT INTO configuration "
                            "VALUES(1,'internal_speaker','default_internal_speaker')\n",
                            "INSERT INTO configuration VALUES(2,'hdmi','default_hdmi')\n",
                            "INSERT INTO configuration VALUES(3,'miracast','default_miracast')\n",
                            "INSERT INTO configuration VALUES(4,'headphone','default_headphone')\n",
                            "INSERT INTO configuration VALUES(5,'bluetooth','default_bluetooth')\n",
                            "INSERT INTO configuration VALUES(6,'usb','default_usb')\n",
                            "INSERT INTO configuration VALUES(7,'signature','1700000000')\n",
                            "INSERT INTO configuration VALUES(8,'Profile','0')\n",
                            "INSERT INTO configuration VALUES(9,'State','true')\n",
                            "INSERT INTO configuration VALUES(10,'version','1.0.0')\n"));

    // Profiles, endpoints and GEQ presets twice, IEQ presets, tunings and devices once.
    EXPECT_EQ(2u, rows("ieq_presets", "custom_name='default'").size());
    EXPECT_EQ(0u, rows("ieq_presets", "custom_name='custom'").size());
    for (const char* table : {"profiles", "profile_endpoints", "geq_presets"}) {
        std::vector<Row> defaults = rows(table, "custom_name='default'");
        std::vector<Row> customs = rows(table, "custom_name='custom'");
        ASSERT_EQ(defaults.size(), customs.size()) << table;
        EXPECT_EQ(std::string(table) == "profile_endpoints" ? 6u : 2u, defaults.size());
    }
    EXPECT_EQ(2u, rows("tunings", "custom_name='default'").size());
    EXPECT_EQ(4u, rows("device_tunings", "custom_name='default'").size());
    // The record keeps the _id of its custom row.
    Profile* profile = tuningData.profile(1);
    std::vector<Row> custom = rows("profiles", "custom_name='custom' AND profile_id='1'");
    ASSERT_EQ(1u, custom.size());
    EXPECT_EQ(std::to_string(profile->getId()), cell(custom[0], "_id"));

    EXPECT_EQ("1700000000", provider->getDefaultXmlSignature());
    EXPECT_EQ("1.0.0", provider->getDefaultXmlFormatVersion());
    EXPECT_EQ("default_bluetooth", provider->getDeviceTuning("bluetooth"));
    EXPECT_EQ("", provider->getDeviceTuning("other"));
    EXPECT_TRUE(provider->isPexOn());
    EXPECT_EQ(0, provider->getSelectedProfile());
}

TEST_F(ProviderTest, PopulateOverAnEarlierDatabaseReplacesEverything) {
    ASSERT_EQ(0, provider->populate(tuningData.data()));
    provider->setPexOn(false);
    tuningData.profile(0)->set(ieq_amount, {42});
    tuningData.data().setSignature("1800000000");
    ASSERT_EQ(0, provider->populate(tuningData.data()));

    EXPECT_EQ(1u, rows("configuration", "key='signature'").size());
    EXPECT_EQ("1800000000", provider->getDefaultXmlSignature());
    EXPECT_TRUE(provider->isPexOn());
    EXPECT_EQ("42,", cell(rows("profiles", "profile_id='0' AND custom_name='custom'").at(0),
                          "ieq_amount"));
}

TEST_F(ProviderTest, PopulateThatCannotStartKeepsTheDatabaseAsItWas) {
    ASSERT_EQ(0, provider->populate(tuningData.data()));
    SecondConnection writer(dbPath(), /*readOnly=*/false);
    ASSERT_EQ(SQLITE_OK, writer.exec("BEGIN IMMEDIATE"));

    tuningData.data().setSignature("1800000000");
    EXPECT_EQ(-EBUSY, provider->populate(tuningData.data()));
    writer.exec("ROLLBACK");

    EXPECT_EQ("1700000000", provider->getDefaultXmlSignature());
    EXPECT_EQ(4u, rows("profiles").size());
}

TEST_F(ProviderTest, ProfilesLoadFromCustomRowsAndResetFromDefaultRows) {
    populateAndInit();
    EXPECT_EQ(2, provider->getNumOfProfiles());

    Profile* custom = provider->loadProfile(1);
    ASSERT_NE(nullptr, custom);
    EXPECT_EQ(custom, provider->loadProfile(1));  // one record per profile, reloaded in place
    Profile* defaults = provider->loadDefaultProfile(1);
    ASSERT_NE(nullptr, defaults);
    EXPECT_NE(custom, defaults);
    EXPECT_EQ("Movie", custom->getName());
    EXPECT_EQ(PRESET_BALANCED, custom->getSelectedIeqPreset());
    EXPECT_EQ(stored({11}), custom->getValues().at(ieq_amount));
    EXPECT_EQ(stored({}), custom->getValues().at(custom_drc_metadata));

    // The user's change goes into the custom row only.
    custom->set(ieq_amount, {3});
    custom->setSelectedIeqPreset(PRESET_WARM);
    provider->save(custom);
    EXPECT_EQ("3,", cell(rows("profiles", "profile_id='1' AND custom_name='custom'").at(0),
                         "ieq_amount"));
    EXPECT_EQ("11,", cell(rows("profiles", "profile_id='1' AND custom_name='default'").at(0),
                          "ieq_amount"));
    EXPECT_EQ(stored({11}), provider->loadDefaultProfile(1)->getValues().at(ieq_amount));

    // A reset reads the default row back into the record; saving it makes it the custom row.
    EXPECT_EQ(custom, provider->reset(custom));
    EXPECT_EQ(stored({11}), custom->getValues().at(ieq_amount));
    EXPECT_EQ(PRESET_BALANCED, custom->getSelectedIeqPreset());
    provider->save(custom);
    EXPECT_EQ(2u, rows("profiles", "profile_id='1'").size());
    // Values read back carry their trailing 0 into the next save, as on a device.
    EXPECT_EQ("11,0,", cell(rows("profiles", "profile_id='1' AND custom_name='custom'").at(0),
                            "ieq_amount"));
}

TEST_F(ProviderTest, SavingANewProfileInsertsACustomRowWithANewId) {
    populateAndInit();
    Profile extra(7, "Extra", PRESET_OFF);
    extra.set(ieq_amount, {1});
    provider->save(&extra);
    std::vector<Row> added = rows("profiles", "profile_id='7'");
    ASSERT_EQ(1u, added.size());
    EXPECT_EQ("custom", cell(added[0], "custom_name"));
    EXPECT_EQ("5", cell(added[0], "_id"));
    EXPECT_EQ(5, extra.getId());
}

TEST_F(ProviderTest, EndpointsAndPresetsOfAProfile) {
    populateAndInit();
    std::set<ProfileEndpoint*> endpoints = provider->loadProfileEndpoints(1);
    ASSERT_EQ(3u, endpoints.size());
    EXPECT_EQ(endpoints, provider->loadProfileEndpoints(1));
    std::set<ProfileEndpoint*> defaults = provider->loadDefaultProfileEndpoints(1);
    ASSERT_EQ(3u, defaults.size());
    for (ProfileEndpoint* endpoint : endpoints) {
        EXPECT_EQ(0u, defaults.count(endpoint));
        EXPECT_EQ(1, endpoint->getProfileId());
        ProfileEndpoint* expected = tuningData.endpoint(1, endpoint->getEndpoint());
        ASSERT_EQ(expected->getValues().size(), endpoint->getValues().size());
        for (const auto& value : expected->getValues()) {
            EXPECT_EQ(stored(value.second), endpoint->getValues().at(value.first));
        }
    }

    // The working record takes the headphone row's values but keeps its own endpoint field.
    ProfileEndpoint* working = provider->loadProfileEndpoint(1, ENDPOINT_HEADPHONE);
    ASSERT_NE(nullptr, working);
    EXPECT_EQ(0u, endpoints.count(working));
    EXPECT_EQ(ENDPOINT_SPEAKER, working->getEndpoint());
    EXPECT_EQ(stored({110}), working->getValues().at(bass_enhancer_enable));
    EXPECT_EQ(nullptr, provider->loadProfileEndpoint(1, static_cast<Endpoint>(3)));

    // Save and reset of an endpoint touch its own custom row only.
    ProfileEndpoint* headphone = nullptr;
    for (ProfileEndpoint* endpoint : endpoints) {
        if (endpoint->getEndpoint() == ENDPOINT_HEADPHONE) headphone = endpoint;
    }
    ASSERT_NE(nullptr, headphone);
    headphone->set(peak_value, {-9});
    provider->save(headphone);
    EXPECT_EQ("-9,", cell(rows("profile_endpoints",
                               "profile_id='1' AND endpoint='headphone' AND custom_name='custom'")
                              .at(0),
                          "peak_value"));
    EXPECT_EQ(1u, rows("profile_endpoints", "peak_value='-9,'").size());
    provider->reset(headphone);
    EXPECT_NE((std::vector<int>{-9}), headphone->getValues().at(peak_value));

    GeqPreset* geq = provider->loadGeqPreset(1);
    ASSERT_NE(nullptr, geq);
    EXPECT_EQ(geq, provider->loadGeqPreset(1));
    EXPECT_NE(geq, provider->loadDefaultGeqPreset(1));
    EXPECT_EQ(stored({1, 0, -1}), geq->getValues().at(geq_gain));
    geq->set(geq_gain, {6, 6, 6});
    provider->save(geq);
    EXPECT_EQ(stored({1, 0, -1}), provider->loadDefaultGeqPreset(1)->getValues().at(geq_gain));
    EXPECT_EQ(stored({6, 6, 6}), provider->loadGeqPreset(1)->getValues().at(geq_gain));
    provider->reset(geq);
    EXPECT_EQ(stored({1, 0, -1}), geq->getValues().at(geq_gain));

    IeqPreset* warm = provider->loadIeqPreset(PRESET_WARM);
    ASSERT_NE(nullptr, warm);
    EXPECT_EQ(warm, provider->loadIeqPreset(PRESET_WARM));
    EXPECT_EQ(PRESET_WARM, warm->getType());
    EXPECT_EQ(stored({3, -3}), warm->getValues().at(ieq_target));
    EXPECT_EQ((std::vector<int>{PRESET_WARM}), warm->getValues().at(ieq_id));

    EXPECT_EQ(nullptr, provider->loadProfile(2));
    EXPECT_EQ(nullptr, provider->loadGeqPreset(-1));
}

TEST_F(ProviderTest, StateSelectionsAndTuningDevicesPersist) {
    populateAndInit();
    provider->setPexOn(false);
    provider->setSelectedProfile(1);
    provider->updateDeviceTuning("headphone", "usb_orphan");
    provider.reset();

    Provider reopened;
    EXPECT_FALSE(reopened.isPexOn());
    EXPECT_EQ(1, reopened.getSelectedProfile());
    EXPECT_EQ("usb_orphan", reopened.getDeviceTuning("headphone"));
    EXPECT_EQ("default_usb", reopened.getDeviceTuning("usb"));
    EXPECT_EQ(0, reopened.init());
    EXPECT_EQ(stored({10}), reopened.loadProfile(0)->getValues().at(ieq_amount));
}

TEST_F(ProviderTest, TuningsAreLoadedOnceAndServedFromTheCache) {
    populateAndInit();
    // Nothing is cached before the port's device list is loaded.
    EXPECT_EQ(nullptr, provider->loadTuningForDevice("default_headphone"));
    EXPECT_TRUE(logs.contains("VlrDatabaseProvider", ANDROID_LOG_WARN,
                              "Cannot find device with name default_headphone in mDeviceTunings"));

    std::set<DeviceTuning*> devices = provider->loadDeviceTuningsForPort(PORT_HEADPHONE);
    ASSERT_EQ(1u, devices.size());
    EXPECT_EQ("default_headphone", (*devices.begin())->getDevice());
    EXPECT_EQ(devices, provider->loadDeviceTuningsForPort(PORT_HEADPHONE));

    logs.clear();
    Tuning* tuning = provider->loadTuningForDevice("default_headphone");
    ASSERT_NE(nullptr, tuning);
    EXPECT_TRUE(
        logs.containsMessage("Load tuning[hp_tuning] from cache device[default_headphone], "
                             "and put it in cached mTunings"));
    EXPECT_EQ("hp_tuning", tuning->getName());
    EXPECT_EQ(ENDPOINT_HEADPHONE, tuning->getEndpoint());
    EXPECT_TRUE(tuning->isMono());
    EXPECT_TRUE(tuning->isReadonly());
    Tuning* expected = tuningData.tuning(1);
    ASSERT_EQ(expected->getValues().size(), tuning->getValues().size());
    for (const auto& value : expected->getValues()) {
        EXPECT_EQ(stored(value.second), tuning->getValues().at(value.first));
    }

    logs.clear();
    EXPECT_EQ(tuning, provider->loadTuningForDevice("default_headphone"));
    EXPECT_TRUE(logs.containsMessage(
        "Found existing tuning[hp_tuning] from cache device[default_headphone]"));
    // Another device with the same tuning shares the cached record.
    provider->loadDeviceTuningsForPort(PORT_USB);
    EXPECT_EQ(tuning, provider->loadTuningForDevice("default_usb"));
    EXPECT_EQ(nullptr, provider->loadTuningForDevice("nope"));
}

TEST_F(ProviderTest, ReloadReplacesTheCachedDevicesAndTunings) {
    populateAndInit();
    provider->loadDeviceTuningsForPort(PORT_HEADPHONE);
    ASSERT_NE(nullptr, provider->loadTuningForDevice("default_headphone"));

    DeviceTuning added("studio", "headphone", "spk_tuning");
    provider->create(&added, Provider::kOemName);
    EXPECT_EQ(1u, provider->loadDeviceTuningsForPort(PORT_HEADPHONE).size());  // still cached

    logs.clear();
    provider->reloadCachedDeviceTunings();
    EXPECT_TRUE(
        logs.contains("VlrDatabaseProvider", ANDROID_LOG_DEBUG,
                      "Clear cached device tuning Port[headphone]:Device[default_headphone]"));
    std::vector<std::string> names;
    for (DeviceTuning* d : provider->loadDeviceTuningsForPort(PORT_HEADPHONE)) {
        names.push_back(d->getDevice());
    }
    EXPECT_THAT(names, UnorderedElementsAre("default_headphone", "studio"));
    // Every supported port was read again; the tunings are loaded afresh.
    EXPECT_EQ(2u, provider->loadDeviceTuningsForPort(PORT_USB).size());
    logs.clear();
    Tuning* reloaded = provider->loadTuningForDevice("default_headphone");
    ASSERT_NE(nullptr, reloaded);
    EXPECT_TRUE(
        logs.containsMessage("Load tuning[hp_tuning] from cache device[default_headphone], "
                             "and put it in cached mTunings"));
    Tuning* studio = provider->loadTuningForDevice("studio");
    ASSERT_NE(nullptr, studio);
    EXPECT_EQ("spk_tuning", studio->getName());
    EXPECT_EQ(ENDPOINT_SPEAKER, studio->getEndpoint());
}

TEST_F(ProviderTest, DeviceOnAPortWithoutEndpointStillGetsItsTuning) {
    populateAndInit();
    provider->loadDeviceTuningsForPort(PORT_USB);
    // "usb" names no endpoint; the stored tuning row says headphone.
    Tuning* tuning = provider->loadTuningForDevice("default_usb");
    ASSERT_NE(nullptr, tuning);
    EXPECT_EQ(ENDPOINT_HEADPHONE, tuning->getEndpoint());
    EXPECT_TRUE(logs.contains("VlrDatabaseProvider", ANDROID_LOG_WARN,
                              "Port[usb] of device[default_usb] names no endpoint, "
                              "tuning[hp_tuning] starts as speaker"));
    // A device whose tuning has no row gets an empty tuning of the fallback endpoint rather
    // than nothing, so that its port still has a tuning in force.
    Tuning* orphan = provider->loadTuningForDevice("usb_orphan");
    ASSERT_NE(nullptr, orphan);
    EXPECT_EQ("no_such_tuning", orphan->getName());
    EXPECT_EQ(ENDPOINT_SPEAKER, orphan->getEndpoint());
    EXPECT_TRUE(orphan->getValues().empty());
}

TEST_F(ProviderTest, CreateIgnoresNullRecords) {
    provider->initDatabase();
    StatementTrace trace(provider->getDatabaseHelper().getConnection());
    provider->create(static_cast<IeqPreset*>(nullptr));
    provider->create(static_cast<GeqPreset*>(nullptr));
    provider->create(static_cast<Profile*>(nullptr));
    provider->create(static_cast<ProfileEndpoint*>(nullptr));
    provider->create(static_cast<Tuning*>(nullptr), Provider::kDefaultName);
    provider->create(static_cast<DeviceTuning*>(nullptr), Provider::kDefaultName);
    EXPECT_TRUE(trace.statements().empty());
    EXPECT_EQ(nullptr, provider->reset(static_cast<Profile*>(nullptr)));
}

TEST_F(ProviderTest, ProfileAndTuningWithMissingParametersRoundTrip) {
    Profile sparse(0, "Sparse", PRESET_OFF);
    sparse.set(ieq_enable, {0});
    Tuning bare("bare", ENDPOINT_SPEAKER, false);
    bare.set(output_channels, {2});
    DeviceTuning device("default_internal_speaker", "internal_speaker", "bare");
    DeviceData data;
    data.setProfiles({&sparse});
    data.setTunings({&bare});
    data.setDeviceTunings({&device});
    ASSERT_EQ(0, provider->populate(data));
    ASSERT_EQ(0, provider->init());

    Profile* profile = provider->loadProfile(0);
    ASSERT_EQ(1u, profile->getValues().size());
    EXPECT_EQ(stored({0}), profile->getValues().at(ieq_enable));
    provider->loadDeviceTuningsForPort(PORT_INTERNAL_SPEAKER);
    Tuning* tuning = provider->loadTuningForDevice("default_internal_speaker");
    ASSERT_NE(nullptr, tuning);
    ASSERT_EQ(1u, tuning->getValues().size());
    EXPECT_EQ(stored({2}), tuning->getValues().at(output_channels));
    // Saving a record that still lacks values keeps it storable.
    profile->set(ieq_amount, {4});
    provider->save(profile);
    EXPECT_EQ(stored({4}), provider->loadProfile(0)->getValues().at(ieq_amount));
    EXPECT_EQ(stored({0, 0}), provider->loadProfile(0)->getValues().at(ieq_enable));
}

TEST_F(ProviderTest, NamesWithQuotesRoundTripThroughTheProvider) {
    Profile profile(0, "Tom's mix", PRESET_OFF);
    profile.set(ieq_amount, {1});
    Tuning tuning("Tom's amp", ENDPOINT_HEADPHONE, false);
    tuning.set(orientation, {0});
    DeviceTuning device("Tom's cans", "headphone", "Tom's amp");
    DeviceData data;
    data.setProfiles({&profile});
    data.setTunings({&tuning});
    data.setDeviceTunings({&device});
    ASSERT_EQ(0, provider->populate(data));
    ASSERT_EQ(0, provider->init());

    EXPECT_EQ("Tom's mix", provider->loadProfile(0)->getName());
    provider->loadDeviceTuningsForPort(PORT_HEADPHONE);
    Tuning* loaded = provider->loadTuningForDevice("Tom's cans");
    ASSERT_NE(nullptr, loaded);
    EXPECT_EQ(stored({0}), loaded->getValues().at(orientation));
    provider->updateDeviceTuning("headphone", "Tom's cans");
    EXPECT_EQ("Tom's cans", provider->getDeviceTuning("headphone"));
}

}  // namespace
}  // namespace velora
