/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <tuple>

#include "StoreTestSupport.h"
#include "store/Provider.h"
#include "store/Transaction.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"
#include "tuning/DeviceData.h"
#include "tuning/TuningFileParser.h"

namespace velora {
namespace {

using testing::cell;
using ::testing::ElementsAre;
using testing::Row;
using testing::SecondConnection;
using testing::StatementTrace;
using ::testing::UnorderedElementsAre;

constexpr const char* kTag = "VlrDatabaseProvider";

// What the database gives back for stored values: each vector with one trailing 0, and no
// ieq_id (an IEQ preset's type, which is not a column).
ParameterValues::Values read_back(ParameterValues::Values values) {
    values.erase(ieq_id);
    for (auto& value : values) value.second.push_back(0);
    return values;
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

// The provider over a database filled from the shipped example tuning file.
class ProviderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(0, parser.setTuningFile(testing::TempRoot::sourceDir() +
                                          "/examples/multimedia_velora_kiv_default.xml"));
        data = parser.getDeviceData();
        data->setSignature("1767225600");
        data->validateData();
    }
    void populateAndInit() {
        ASSERT_EQ(0, provider->populate(*data));
        ASSERT_EQ(0, provider->init());
    }
    std::vector<Row> rows(const std::string& table, const std::string& where = "1") const {
        return testing::table_rows(provider->getDatabaseHelper().getPath(), table, where);
    }

    testing::TempRoot root;
    testing::LogCapture logs;
    TuningFileParser parser;
    DeviceData* data = nullptr;
    std::unique_ptr<Provider> provider = std::make_unique<Provider>();
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
}

TEST_F(ProviderTest, PopulateRebuildsInOneTransactionAndAFailedRebuildKeepsTheOld) {
    StatementTrace trace(provider->getDatabaseHelper().getConnection());
    ASSERT_EQ(0, provider->populate(*data));
    EXPECT_THAT(steps(trace.statements()),
                ElementsAre("BEGIN", "DROP", "CREATE", "INSERT ieq_presets", "INSERT geq_presets",
                            "INSERT profiles", "INSERT profile_endpoints", "INSERT tunings",
                            "INSERT device_tunings", "INSERT configuration", "COMMIT",
                            "INSERT configuration"));
    // Configuration rows keep the newline their statement ends with.
    EXPECT_EQ("INSERT INTO configuration VALUES(10,'version','1.0.0')\n",
              trace.startingWith("INSERT INTO configuration").back());
    std::string configuration;
    for (const Row& row : rows("configuration")) {
        configuration += cell(row, "_id") + ":" + cell(row, "key") + "=" + cell(row, "value") + " ";
    }
    EXPECT_EQ(
        "1:internal_speaker=default_internal_speaker 2:hdmi=default_hdmi "
        "3:miracast=default_miracast 4:headphone=default_headphone "
        "5:bluetooth=default_bluetooth 6:usb=default_usb 7:signature=1767225600 "
        "8:Profile=0 9:State=true 10:version=1.0.0 ",
        configuration);
    // Profiles, endpoints and GEQ presets as "default" and "custom"; the rest once.
    EXPECT_EQ(data->getIeqPresets().size(), rows("ieq_presets", "custom_name='default'").size());
    EXPECT_TRUE(rows("ieq_presets", "custom_name<>'default'").empty());
    EXPECT_EQ(2 * data->getProfiles().size(), rows("profiles").size());
    EXPECT_EQ(2 * data->getProfileEndpoints().size(),
              rows("profile_endpoints", "custom_name IN ('default','custom')").size());
    EXPECT_EQ(2 * data->getGeqPresets().size(), rows("geq_presets").size());
    EXPECT_EQ(data->getTunings().size(), rows("tunings", "custom_name='default'").size());
    EXPECT_EQ(data->getDeviceTunings().size(), rows("device_tunings").size());
    for (Profile* profile : data->getProfiles()) {  // a record keeps its custom row's _id
        std::string id = std::to_string(profile->getProfileId());
        Row row = rows("profiles", "custom_name='custom' AND profile_id='" + id + "'").at(0);
        EXPECT_EQ(std::to_string(profile->getId()), cell(row, "_id"));
    }

    // A second rebuild replaces everything, the state included.
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

// A save of the whole state leaves the file exactly as replacing every custom row one after
// another does (rows, their order and _id), and one that changes nothing writes nothing:
// seeded random rounds of changes, each checked against a copy of the file on which every
// replacement is made.
TEST_F(ProviderTest, SavesLeaveTheFileAsEveryReplacementWouldAndUnchangedOnesWriteNothing) {
    populateAndInit();
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::string path = provider->getDatabaseHelper().getPath();
    const auto bytes = [](const std::string& file) {
        std::ifstream in(file, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    };
    std::vector<ParameterValues*> records;
    for (int id = 0; id < provider->getNumOfProfiles(); ++id) {
        records.push_back(provider->loadProfile(id));
        for (ProfileEndpoint* endpoint : provider->loadProfileEndpoints(id)) {
            records.push_back(endpoint);
        }
        records.push_back(provider->loadGeqPreset(id));
    }
    const auto saveAll = [&records](auto&& save) {
        for (ParameterValues* record : records) save(record);
    };
    const auto save = [](DatabaseHelper& db) {
        return [&db](ParameterValues* record) {
            if (auto* profile = dynamic_cast<Profile*>(record)) {
                db.updateProfileValue(profile, "custom");
            } else if (auto* endpoint = dynamic_cast<ProfileEndpoint*>(record)) {
                db.updateProfileEndpointValue(endpoint, "custom");
            } else {
                db.updateGeqValue(dynamic_cast<GeqPreset*>(record), "custom");
            }
        };
    };
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const int changes = round < 2 ? 0 : static_cast<int>(random() % 3);
        for (int c = 0; c < changes; ++c) {
            ParameterValues* record = records[random() % records.size()];
            auto values = record->getValues();
            if (values.empty()) continue;
            auto it = std::next(values.begin(), static_cast<long>(random() % values.size()));
            record->set(it->first, {static_cast<int>(random() % 5)});
        }
        const std::string reference = path + ".reference";
        std::filesystem::copy_file(path, reference,
                                   std::filesystem::copy_options::overwrite_existing);
        {
            DatabaseHelper replaced("kiv_sqlite3.db.reference");
            Transaction transaction(replaced);
            saveAll(save(replaced));
            ASSERT_EQ(0, transaction.commit());
        }
        const std::string before = bytes(path);
        const int totalChanges =
            sqlite3_total_changes(provider->getDatabaseHelper().getConnection());
        ASSERT_EQ(0, provider->beginSave());
        saveAll(save(provider->getDatabaseHelper()));
        provider->setPexOn(true);
        provider->setSelectedProfile(0);
        ASSERT_EQ(0, provider->endSave());
        for (int table = 0; table < kTableCount; ++table) {
            EXPECT_EQ(testing::table_rows(reference, DatabaseHelper::kTableNames[table]),
                      rows(DatabaseHelper::kTableNames[table]))
                << DatabaseHelper::kTableNames[table];
        }
        // The first save after a rebuild moves the custom rows behind the default ones.
        if (round > 0 && changes == 0) {
            EXPECT_EQ(before, bytes(path));
            EXPECT_EQ(totalChanges,
                      sqlite3_total_changes(provider->getDatabaseHelper().getConnection()));
        }
    }
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
        for (GeqPreset* geq : data->getGeqPresets()) {
            if (geq->getProfileId() == id) {
                EXPECT_EQ(read_back(geq->getValues()), provider->loadGeqPreset(id)->getValues());
            }
        }
        for (const auto& endpoints :
             {provider->loadProfileEndpoints(id), provider->loadDefaultProfileEndpoints(id)}) {
            ASSERT_EQ(3u, endpoints.size());
            for (ProfileEndpoint* loaded : endpoints) {
                for (ProfileEndpoint* e : data->getProfileEndpoints()) {
                    if (e->getProfileId() == id && e->getEndpoint() == loaded->getEndpoint()) {
                        EXPECT_EQ(read_back(e->getValues()), loaded->getValues());
                    }
                }
            }
        }
    }
    for (IeqPreset* expected : data->getIeqPresets()) {
        IeqPreset* loaded = provider->loadIeqPreset(expected->getType());
        EXPECT_EQ(expected->getValues().at(ieq_id), loaded->getValues().at(ieq_id));
        ParameterValues::Values values = loaded->getValues();
        values.erase(ieq_id);
        EXPECT_EQ(read_back(expected->getValues()), values);
    }

    std::map<std::string, Tuning*> tunings;
    for (Tuning* tuning : data->getTunings()) tunings[tuning->getName()] = tuning;
    using Entry = std::tuple<std::string, std::string, std::string>;
    std::set<Entry> expectedDevices, loadedDevices;
    for (DeviceTuning* d : data->getDeviceTunings()) {
        if (d->getPort() != "other")
            expectedDevices.emplace(d->getDevice(), d->getPort(), d->getTuning());
    }
    for (int port = 0; port < PORT_OTHER; ++port) {
        for (DeviceTuning* d : provider->loadDeviceTuningsForPort(static_cast<Port>(port)))
            loadedDevices.emplace(d->getDevice(), d->getPort(), d->getTuning());
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
    std::vector<Row> saved = rows("profile_endpoints", "peak_value='-9,'");
    ASSERT_EQ(1u, saved.size());
    EXPECT_EQ("custom", cell(saved[0], "custom_name"));
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
    EXPECT_EQ(static_cast<int64_t>(2 * data->getProfiles().size() + 1), extra.getId());
    EXPECT_EQ(std::to_string(extra.getId()), cell(added[0], "_id"));
}

TEST_F(ProviderTest, WorkingEndpointPresetsStateAndOutOfRangeIds) {
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
    EXPECT_EQ(nullptr, provider->loadProfile(provider->getNumOfProfiles()));
    EXPECT_EQ(nullptr, provider->loadGeqPreset(-1));
    EXPECT_EQ(nullptr, provider->loadProfileEndpoint(0, static_cast<Endpoint>(3)));
    EXPECT_EQ(nullptr, provider->loadIeqPreset(static_cast<PresetType>(4)));

    // State and selections survive a new provider.
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

TEST_F(ProviderTest, TuningsAreLoadedOnceServedFromTheCacheAndReloaded) {
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

    // After a reload the caches hold what the database holds now, on every port.
    DeviceTuning added("studio", "headphone", "speaker_stereo");
    provider->create(&added, Provider::kOemName);
    DeviceTuning orphan("dock", "usb", "no_such_tuning");
    provider->create(&orphan, Provider::kOemName);
    EXPECT_EQ(1u, provider->loadDeviceTuningsForPort(PORT_HEADPHONE).size());
    logs.clear();
    provider->reloadCachedDeviceTunings();
    EXPECT_TRUE(
        logs.contains(kTag, ANDROID_LOG_DEBUG,
                      "Clear cached device tuning Port[headphone]:Device[default_headphone]"));
    std::vector<std::string> names;
    for (DeviceTuning* d : provider->loadDeviceTuningsForPort(PORT_HEADPHONE))
        names.push_back(d->getDevice());
    EXPECT_THAT(names, UnorderedElementsAre("default_headphone", "studio"));
    EXPECT_EQ(3u, provider->loadDeviceTuningsForPort(PORT_USB).size());
    // The tuning cache is emptied too: tuning[headphone] is read again, now for a port that
    // names no endpoint; its stored row says headphone.
    Tuning* usb = provider->loadTuningForDevice("default_usb");
    ASSERT_NE(nullptr, usb);
    EXPECT_EQ(ENDPOINT_HEADPHONE, usb->getEndpoint());
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_WARN,
                              "Port[usb] of device[default_usb] names no endpoint, "
                              "tuning[headphone] starts as speaker"));
    EXPECT_EQ(ENDPOINT_SPEAKER, provider->loadTuningForDevice("studio")->getEndpoint());
    // Without a row the port still gets a tuning in force: empty, speaker.
    Tuning* empty = provider->loadTuningForDevice("dock");
    ASSERT_NE(nullptr, empty);
    EXPECT_EQ(ENDPOINT_SPEAKER, empty->getEndpoint());
    EXPECT_TRUE(empty->getValues().empty());
}

}  // namespace
}  // namespace velora
