/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "StoreTestSupport.h"
#include "store/DatabaseHelper.h"
#include "store/ScopedTransaction.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

using testing::cell;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::LogCapture;
using testing::Row;
using testing::SecondConnection;
using testing::StatementTrace;
using testing::TempRoot;

constexpr const char* kDbFile = "/data/vendor/velora/kiv_sqlite3.db";
constexpr const char* kTag = "DatabaseHelper";

class DatabaseHelperTest : public ::testing::Test {
  protected:
    void SetUp() override {
        db = std::make_unique<DatabaseHelper>("kiv_sqlite3.db");
        ASSERT_EQ(0, db->init());
    }

    // The rows of a table as a second connection sees them, in the order written.
    std::vector<Row> rows(const std::string& table, const std::string& where = "1") const {
        return SecondConnection(root.hostPath(kDbFile))
            .query("SELECT * FROM " + table + " WHERE " + where + " ORDER BY rowid");
    }
    // Messages carrying a source line number are compared up to it.
    bool loggedWithPrefix(int priority, const std::string& prefix) const {
        for (const auto& line : logs.lines()) {
            if (line.tag == kTag && line.priority == priority &&
                line.message.compare(0, prefix.size(), prefix) == 0) {
                return true;
            }
        }
        return false;
    }

    TempRoot root;
    LogCapture logs;
    std::unique_ptr<DatabaseHelper> db;
};

TEST(DatabaseHelperOpenTest, CreatesItsFolderAndFileUnderTheRoot) {
    TempRoot root;
    std::filesystem::remove_all(root.hostPath("/data/vendor/velora"));
    DatabaseHelper db("kiv_sqlite3.db");
    EXPECT_TRUE(db.isOpen());
    EXPECT_EQ(root.hostPath(kDbFile), db.getPath());
    EXPECT_TRUE(std::filesystem::is_regular_file(root.hostPath(kDbFile)));
}

TEST(DatabaseHelperOpenTest, UnopenableFileLeavesEveryOperationReportingIt) {
    TempRoot root;
    std::filesystem::create_directories(root.hostPath(kDbFile));  // a folder in its place
    LogCapture logs;
    DatabaseHelper db("kiv_sqlite3.db");
    EXPECT_FALSE(db.isOpen());
    EXPECT_EQ(1, db.execSQL("BEGIN EXCLUSIVE"));
    EXPECT_EQ(-1, db.getRowCount("profiles"));
    EXPECT_EQ(2u, logs.countMessage("the db is not open..."));
    db.insertConfigurationValue("State", "true");
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_ERROR, "db is not connected"));
    EXPECT_FALSE(db.queryPexStatus("State"));
    Profile profile(0, "p", PRESET_OFF);
    db.queryProfileValue("0", "custom", &profile);
    EXPECT_TRUE(db.queryDeviceTunings("headphone").empty());
    EXPECT_EQ(3u, logs.countMessage("the database is not connected"));
}

TEST_F(DatabaseHelperTest, InitAndClearRunTheirExactStatements) {
    SecondConnection other(root.hostPath(kDbFile));
    for (int type = 0; type < kTableCount; ++type) {
        EXPECT_EQ(DatabaseHelper::getColumnNames(static_cast<TableType>(type)),
                  other.columns(DatabaseHelper::kTableNames[type]));
    }

    StatementTrace trace(db->getConnection());
    EXPECT_EQ(0, db->beginTransaction());
    db->clear();
    EXPECT_EQ(0, db->commitTransaction());
    EXPECT_THAT(trace.statements(),
                ElementsAre("BEGIN EXCLUSIVE", "DROP TABLE IF EXISTS ieq_presets",
                            "DROP TABLE IF EXISTS geq_presets", "DROP TABLE IF EXISTS profiles",
                            "DROP TABLE IF EXISTS profile_endpoints",
                            "DROP TABLE IF EXISTS tunings", "DROP TABLE IF EXISTS device_tunings",
                            "DROP TABLE IF EXISTS configuration", "COMMIT"));
    EXPECT_TRUE(other.columns("configuration").empty());

    trace.clear();
    ASSERT_EQ(0, db->init());
    const std::vector<std::string>& sql = trace.statements();
    ASSERT_EQ(7u, sql.size());
    EXPECT_EQ("CREATE TABLE configuration (_id INTEGER, key TEXT, value TEXT)", sql[0]);
    EXPECT_EQ(
        "CREATE TABLE ieq_presets (_id INTEGER, custom_name TEXT, preset_type TEXT, "
        "ieq_frequency TEXT, ieq_target TEXT)",
        sql[1]);
    EXPECT_EQ(
        "CREATE TABLE geq_presets (_id INTEGER, custom_name TEXT, profile_id TEXT, "
        "geq_frequency TEXT, geq_gain TEXT)",
        sql[2]);
    EXPECT_EQ(
        "CREATE TABLE profiles (_id INTEGER, custom_name TEXT, profile_id TEXT, name TEXT, "
        "selected_ieq_preset_type TEXT, selected_geq_preset_id TEXT, custom_drc_metadata "
        "TEXT, ieq_amount TEXT, ieq_enable TEXT, mi_adaptive_virtualizer_steering_enable "
        "TEXT, mi_dv_leveler_steering_enable TEXT, mi_ieq_steering_enable TEXT, "
        "mi_surround_compressor_steering_enable TEXT, volume_modeler_enable TEXT)",
        sql[3]);
    EXPECT_THAT(sql[4], HasSubstr("profile_endpoints (_id INTEGER, custom_name TEXT, profile_id "
                                  "TEXT, endpoint TEXT, bass_enhancer_enable TEXT, "));
    EXPECT_THAT(sql[5], HasSubstr("tunings (_id INTEGER, custom_name TEXT, name TEXT, endpoint "
                                  "TEXT, is_mono TEXT, is_readonly TEXT, audio_optimizer_enable"));
    EXPECT_EQ(
        "CREATE TABLE device_tunings (_id INTEGER, custom_name TEXT, device TEXT, "
        "port TEXT, tuning_id TEXT)",
        sql[6]);
}

// Records are stored by position, so each table lists exactly its record's parameters in
// Parameter order after the record's own columns (ieq_id travels as the preset's type).
TEST_F(DatabaseHelperTest, ParameterColumnsAreTheRecordsValidParametersInOrder) {
    auto check = [](TableType type, size_t ownColumns, const std::set<Parameter>& valid) {
        std::vector<std::string> expected(DatabaseHelper::getColumnNames(type));
        expected.erase(expected.begin(), expected.begin() + static_cast<long>(ownColumns));
        std::vector<std::string> names;
        for (Parameter p : valid) {
            if (p != ieq_id) names.push_back(kParameterNames[p]);
        }
        EXPECT_EQ(names, expected) << DatabaseHelper::kTableNames[type];
    };
    check(TABLE_IEQ_PRESETS, 3, IeqPreset::kValidParams);
    check(TABLE_GEQ_PRESETS, 3, GeqPreset::kValidParams);
    check(TABLE_PROFILES, 6, Profile::kValidParams);
    check(TABLE_PROFILE_ENDPOINTS, 4, ProfileEndpoint::kValidParams);
    check(TABLE_TUNINGS, 6, Tuning::kValidParams);
}

TEST_F(DatabaseHelperTest, CompleteRecordsGiveExactlyTheStatementOfTheirStorageText) {
    IeqPreset ieq(PRESET_BALANCED);
    ieq.set(ieq_frequency, {100, 200});
    ieq.set(ieq_target, {-3, 4});
    Profile profile(0, "Dynamic", PRESET_WARM);
    int n = 0;
    for (Parameter p : Profile::kValidParams) profile.set(p, {n++});
    GeqPreset geq(3);
    geq.set(geq_frequency, {20, 40});
    geq.set(geq_gain, {0, -1});
    geq.setId(12);
    DeviceTuning deviceTuning("wired", "headphone", "hp_tuning");
    Tuning tuning("spk", ENDPOINT_SPEAKER, true);
    std::string tuningSql = "INSERT INTO tunings VALUES(1,'default','spk','speaker','1','1',";
    n = 0;
    for (Parameter p : Tuning::kValidParams) {
        tuning.set(p, {n, -n});
        tuningSql += "'" + std::to_string(n) + "," + std::to_string(-n) + ",',";
        ++n;
    }
    tuningSql.back() = ')';

    StatementTrace trace(db->getConnection());
    db->insertValue(&ieq, "default");
    db->insertValue(&profile, "custom", -1);
    db->insertValue(&geq, "custom", 7);
    db->insertValue(&deviceTuning, "default");
    db->insertValue(&deviceTuning, "oem");
    db->insertValue(&tuning, "default");
    EXPECT_THAT(trace.startingWith("INSERT"),
                ElementsAre("INSERT INTO ieq_presets VALUES(1,'default','balanced','100,200,',"
                            "'-3,4,')",
                            "INSERT INTO profiles VALUES(1,'custom','0','Dynamic','warm','0',"
                            "'0,','1,','2,','3,','4,','5,','6,','7,')",
                            "INSERT INTO geq_presets VALUES(7,'custom','3','20,40,','0,-1,')",
                            "INSERT INTO device_tunings VALUES(1,'default','wired','headphone',"
                            "'hp_tuning')",
                            "INSERT INTO device_tunings VALUES(2,'oem','wired','headphone',"
                            "'hp_tuning')",
                            tuningSql));
    // A new row's _id goes back into the record; a given positive id is used as it is.
    EXPECT_EQ(1, profile.getId());
    EXPECT_EQ(12, geq.getId());
    Row stored = rows("tunings").at(0);
    n = 0;
    for (Parameter p : Tuning::kValidParams) {
        EXPECT_EQ(std::to_string(n) + "," + std::to_string(-n) + ",",
                  cell(stored, kParameterNames[p]));
        ++n;
    }
}

TEST_F(DatabaseHelperTest, QueriesReadEveryColumnBackWithATrailingZero) {
    Profile profile(1, "Movie", PRESET_DETAILED);
    profile.setSelectedGeqPreset(2);
    profile.set(ieq_amount, {9});
    profile.set(custom_drc_metadata, {});
    db->insertValue(&profile, "custom", -1);
    Tuning tuning("hp", ENDPOINT_HEADPHONE, true);
    tuning.set(orientation, {90});
    db->insertValue(&tuning, "default");
    IeqPreset ieq(PRESET_WARM);
    ieq.set(ieq_frequency, {1});
    db->insertValue(&ieq, "default");
    ProfileEndpoint endpoint(1, ENDPOINT_OTHER);
    endpoint.set(peak_value, {-4});
    db->insertValue(&endpoint, "custom", -1);
    EXPECT_EQ("9,", cell(rows("profiles").at(0), "ieq_amount"));
    EXPECT_EQ("", cell(rows("profiles").at(0), "custom_drc_metadata"));

    Profile readProfile(1, "", PRESET_OFF);
    Tuning readTuning("hp", ENDPOINT_OTHER, false);
    IeqPreset readIeq(PRESET_WARM);
    ProfileEndpoint readEndpoint(1, ENDPOINT_OTHER);
    StatementTrace trace(db->getConnection());
    db->queryProfileValue("1", "custom", &readProfile);
    db->queryTuning("hp", &readTuning);
    db->queryIeqValue("warm", "default", &readIeq);
    db->queryEndpointValue("1", "other", "custom", &readEndpoint);
    EXPECT_THAT(trace.statements(),
                ElementsAre("SELECT * FROM profiles WHERE profile_id='1' AND custom_name='custom'",
                            "SELECT * FROM tunings WHERE name='hp'",
                            "SELECT * FROM ieq_presets WHERE preset_type='warm' AND "
                            "custom_name='default'",
                            "SELECT * FROM profile_endpoints WHERE profile_id='1' AND "
                            "endpoint='other' AND custom_name='custom'"));

    EXPECT_EQ("Movie", readProfile.getName());
    EXPECT_EQ(PRESET_DETAILED, readProfile.getSelectedIeqPreset());
    EXPECT_EQ(2, readProfile.getSelectedGeqPreset());
    EXPECT_EQ((ParameterValues::Values{{custom_drc_metadata, {0}}, {ieq_amount, {9, 0}}}),
              readProfile.getValues());
    EXPECT_TRUE(readTuning.isMono());
    EXPECT_EQ(ENDPOINT_HEADPHONE, readTuning.getEndpoint());
    EXPECT_EQ((ParameterValues::Values{{orientation, {90, 0}}}), readTuning.getValues());
    EXPECT_EQ((std::vector<int>{1, 0}), readIeq.getValues().at(ieq_frequency));
    EXPECT_EQ((std::vector<int>{PRESET_WARM}), readIeq.getValues().at(ieq_id));
    EXPECT_EQ((std::vector<int>{-4, 0}), readEndpoint.getValues().at(peak_value));

    // A query that finds no row leaves the record as it was.
    Profile untouched(5, "keep", PRESET_WARM);
    untouched.setDirty(false);
    db->queryProfileValue("5", "custom", &untouched);
    EXPECT_EQ("keep", untouched.getName());
    EXPECT_TRUE(untouched.getValues().empty());
    EXPECT_FALSE(untouched.isDirty());
}

TEST_F(DatabaseHelperTest, IncompleteRecordsStoreNullAndReadBackWithoutTheMissingValues) {
    Profile profile(0, "Sparse", PRESET_OFF);
    profile.set(custom_drc_metadata, {4});
    profile.set(ieq_enable, {1});
    profile.set(mi_ieq_steering_enable, {0});
    Tuning tuning("bare", ENDPOINT_OTHER, false);  // as a tuning file may give it
    tuning.set(output_channels, {2});
    ProfileEndpoint endpoint(0, ENDPOINT_SPEAKER);
    endpoint.set(orientation, {3});  // a tuning's parameter: no column here
    StatementTrace trace(db->getConnection());
    db->insertValue(&profile, "default", -1);
    db->insertValue(&tuning, "oem");
    db->insertValue(&endpoint, "default", -1);

    EXPECT_EQ(
        "INSERT INTO profiles VALUES(1,'default','0','Sparse','off','0','4,',NULL,'1,',"
        "NULL,NULL,'0,',NULL,NULL)",
        trace.startingWith("INSERT").at(0));
    EXPECT_EQ("<NULL>", cell(rows("profiles").at(0), "ieq_amount"));
    Row storedTuning = rows("tunings").at(0);
    EXPECT_EQ("2,", cell(storedTuning, "output_channels"));
    EXPECT_EQ("<NULL>", cell(storedTuning, "audio_optimizer_enable"));
    EXPECT_EQ("<NULL>", cell(storedTuning, "volume_modeler_calibration"));
    EXPECT_EQ(1u, rows("profile_endpoints").size());
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_WARN,
                              "profile_endpoints has no column orientation, value not stored"));

    Profile readProfile(0, "", PRESET_OFF);
    db->queryProfileValue("0", "default", &readProfile);
    EXPECT_EQ(
        (ParameterValues::Values{
            {custom_drc_metadata, {4, 0}}, {ieq_enable, {1, 0}}, {mi_ieq_steering_enable, {0, 0}}}),
        readProfile.getValues());
    Tuning readTuning("bare", ENDPOINT_SPEAKER, true);
    db->queryTuning("bare", &readTuning);
    EXPECT_EQ(ENDPOINT_OTHER, readTuning.getEndpoint());
    EXPECT_EQ((ParameterValues::Values{{output_channels, {2, 0}}}), readTuning.getValues());
}

TEST_F(DatabaseHelperTest, SingleQuotesInValuesAreDoubledAndRoundTrip) {
    Profile profile(0, "Rock'n'Roll", PRESET_OFF);
    Tuning tuning("O'Brien's amp", ENDPOINT_HEADPHONE, true);
    tuning.set(orientation, {4});
    DeviceTuning deviceTuning("Bob's buds", "bluetooth", "O'Brien's amp");
    StatementTrace trace(db->getConnection());
    db->insertValue(&profile, "default", -1);
    db->insertValue(&tuning, "oem");
    db->insertValue(&deviceTuning, "oem");
    db->insertConfigurationValue("bluetooth", "Bob's buds");
    db->updateTuningDevice("bluetooth", "Ann's cans");
    db->updateProfileValue(&profile, "it's mine");
    EXPECT_THAT(trace.startingWith("INSERT INTO profiles").at(0), HasSubstr(",'Rock''n''Roll',"));
    EXPECT_THAT(trace.statements(),
                ::testing::Contains("UPDATE configuration SET value='Ann''s cans' WHERE "
                                    "key='bluetooth'"));
    EXPECT_THAT(trace.statements(),
                ::testing::Contains("DELETE FROM profiles WHERE custom_name='it''s mine' AND "
                                    "profile_id='0'"));

    std::vector<std::string> names;
    db->queryProfileNames(names, "default");
    EXPECT_THAT(names, ElementsAre("Rock'n'Roll"));
    EXPECT_TRUE(logs.containsMessage("queryProfileNames(): Profile Rock'n'Roll found"));
    Tuning read("O'Brien's amp", ENDPOINT_SPEAKER, false);
    db->queryTuning("O'Brien's amp", &read);
    EXPECT_EQ((std::vector<int>{4, 0}), read.getValues().at(orientation));
    std::set<DeviceTuning*> found = db->queryDeviceTunings("bluetooth");
    ASSERT_EQ(1u, found.size());
    std::unique_ptr<DeviceTuning> device(*found.begin());
    EXPECT_EQ("Bob's buds", device->getDevice());
    EXPECT_EQ("O'Brien's amp", device->getTuning());
    EXPECT_EQ(-1, device->getId());  // a new record, the caller's
    EXPECT_EQ("Ann's cans", db->queryConfigurationValue("bluetooth"));
}

TEST_F(DatabaseHelperTest, UpdatesReplaceTheCustomRowAndNeverTouchDefaultRows) {
    Profile profile(1, "Game", PRESET_OFF);
    profile.set(ieq_amount, {1});
    db->insertValue(&profile, "default", -1);
    db->insertValue(&profile, "custom", -1);
    ProfileEndpoint endpoint(1, ENDPOINT_HEADPHONE);
    db->insertValue(&endpoint, "default", -1);
    db->insertValue(&endpoint, "custom", -1);
    GeqPreset geq(1);
    db->insertValue(&geq, "default", -1);
    db->insertValue(&geq, "custom", -1);
    profile.set(ieq_amount, {6});
    endpoint.set(peak_value, {-2});
    geq.set(geq_gain, {5});

    StatementTrace trace(db->getConnection());
    db->updateProfileValue(&profile, "default");
    db->updateGeqValue(&geq, "default");
    db->updateProfileEndpointValue(&endpoint, "default");
    EXPECT_TRUE(trace.statements().empty());
    EXPECT_TRUE(loggedWithPrefix(ANDROID_LOG_ERROR, "the default value can't be updated, "));

    db->updateProfileValue(&profile, "custom");
    db->updateProfileEndpointValue(&endpoint, "custom");
    db->updateGeqValue(&geq, "custom");
    EXPECT_THAT(trace.statements(),
                ElementsAre("DELETE FROM profiles WHERE custom_name='custom' AND profile_id='1'",
                            "INSERT INTO profiles VALUES(2,'custom','1','Game','off','1',NULL,"
                            "'6,',NULL,NULL,NULL,NULL,NULL,NULL)",
                            "DELETE FROM profile_endpoints WHERE custom_name='custom' AND "
                            "profile_id='1' AND endpoint='headphone'",
                            "INSERT INTO profile_endpoints VALUES(2,'custom','1','headphone',"
                            "NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,'-2,',"
                            "NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL)",
                            "DELETE FROM geq_presets WHERE custom_name='custom' AND "
                            "profile_id='1'",
                            "INSERT INTO geq_presets VALUES(2,'custom','1',NULL,'5,')"));
    std::vector<Row> profiles = rows("profiles");
    ASSERT_EQ(2u, profiles.size());
    EXPECT_EQ("1,", cell(profiles[0], "ieq_amount"));  // default
    EXPECT_EQ("6,", cell(profiles[1], "ieq_amount"));  // custom, same _id
    EXPECT_EQ("2", cell(profiles[1], "_id"));
    EXPECT_EQ("<NULL>", cell(rows("geq_presets", "custom_name='default'").at(0), "geq_gain"));
}

TEST_F(DatabaseHelperTest, ConfigurationRowsAndTheirUpdates) {
    EXPECT_TRUE(db->queryPexStatus("State"));  // no row: on
    EXPECT_EQ("", db->querySelectedProfile("Profile"));
    db->insertConfigurationValue("State", "false");
    EXPECT_FALSE(db->queryPexStatus("State"));
    db->insertConfigurationValue("State", "true");
    EXPECT_TRUE(db->queryPexStatus("State"));  // the last row wins
    db->insertConfigurationValue("Profile", "0");

    StatementTrace trace(db->getConnection());
    db->updatePexStatus("State", false);
    db->updateSelectedProfile("Profile", "2");
    db->updateTuningDevice("usb", "dock");  // no such key: nothing is added
    EXPECT_EQ("", db->queryConfigurationValue("usb"));
    EXPECT_THAT(trace.statements(),
                ElementsAre("UPDATE configuration SET value='false' WHERE key='State'",
                            "UPDATE configuration SET value='2' WHERE key='Profile'",
                            "UPDATE configuration SET value='dock' WHERE key='usb'",
                            "SELECT value FROM configuration WHERE key='usb'"));
    EXPECT_FALSE(db->queryPexStatus("State"));
    EXPECT_EQ("2", db->querySelectedProfile("Profile"));
    EXPECT_EQ(3, db->getRowCount("configuration"));
    db->insertConfigurationValue("State", "maybe");  // neither word: changes nothing
    EXPECT_FALSE(db->queryPexStatus("State"));
}

TEST_F(DatabaseHelperTest, ClearingOemRowsKeepsEveryOtherRow) {
    for (const char* name : {"default", "oem", "custom"}) {
        Tuning tuning(name, ENDPOINT_SPEAKER, false);
        db->insertValue(&tuning, name);
        DeviceTuning device(name, "headphone", name);
        db->insertValue(&device, name);
    }
    StatementTrace trace(db->getConnection());
    db->clearOemTunings();
    db->clearOemDeviceTunings();
    EXPECT_THAT(trace.statements(),
                ElementsAre("DELETE from tunings WHERE custom_name = 'oem'",
                            "DELETE from device_tunings WHERE custom_name = 'oem'"));
    EXPECT_TRUE(logs.containsMessage(
        "Delete existing tuning with SQL [DELETE from tunings WHERE custom_name = 'oem']"));
    EXPECT_TRUE(
        logs.containsMessage("Delete existing device tuning with SQL [DELETE from "
                             "device_tunings WHERE custom_name = 'oem']"));
    EXPECT_EQ(2u, rows("tunings", "custom_name<>'oem'").size());
    EXPECT_TRUE(rows("tunings", "custom_name='oem'").empty());
    EXPECT_EQ(2u, rows("device_tunings").size());
}

TEST_F(DatabaseHelperTest, FailuresAreReportedWithTheirMessages) {
    EXPECT_EQ(1, db->execSQL("no statement"));
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_DEBUG, "failed to prepare SQL : no statement"));
    EXPECT_EQ(1, db->execSQL("COMMIT"));  // prepares, fails when run
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_ERROR, "failed to exec SQL: COMMIT"));

    db->insertValue(static_cast<IeqPreset*>(nullptr), "default");
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_ERROR, "invalide value"));
    db->insertValue(static_cast<Tuning*>(nullptr), "default");
    db->updateProfileValue(nullptr, "custom");
    EXPECT_EQ(2u, logs.countMessage("invalid value"));
    db->queryTuning("x", nullptr);
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_ERROR, "the database is not connected"));

    // Without the table the row count is -1, so the new id is 0; the statement keeps its
    // newline.
    db->execSQL("DROP TABLE configuration");
    EXPECT_EQ(-1, db->getRowCount("configuration"));
    db->insertConfigurationValue("State", "true");
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_ERROR,
                              "failed to prepare SQL: SELECT COUNT(*) FROM configuration"));
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_DEBUG,
                              "failed to prepare SQL : INSERT INTO configuration "
                              "VALUES(0,'State','true')\n"));
    db->clear();
    IeqPreset ieq(PRESET_OFF);
    db->queryIeqValue("off", "default", &ieq);
    EXPECT_TRUE(loggedWithPrefix(ANDROID_LOG_ERROR,
                                 "failed to prepare sql: SELECT * FROM ieq_presets WHERE "
                                 "preset_type='off' AND custom_name='default', ret = 1, line "));
    Tuning tuning("x", ENDPOINT_SPEAKER, false);
    db->queryTuning("x", &tuning);
    EXPECT_TRUE(loggedWithPrefix(ANDROID_LOG_ERROR,
                                 "failed to prepare sql: SELECT * FROM tunings WHERE name='x', "
                                 "line "));
}

TEST_F(DatabaseHelperTest, DataSurvivesClosingAndReopening) {
    Profile profile(0, "Night", PRESET_BALANCED);
    profile.set(ieq_amount, {4});
    db->insertValue(&profile, "custom", -1);
    db->insertConfigurationValue("State", "false");
    db.reset();

    DatabaseHelper reopened("kiv_sqlite3.db");
    Profile read(0, "", PRESET_OFF);
    reopened.queryProfileValue("0", "custom", &read);
    EXPECT_EQ("Night", read.getName());
    EXPECT_EQ(PRESET_BALANCED, read.getSelectedIeqPreset());
    EXPECT_EQ((std::vector<int>{4, 0}), read.getValues().at(ieq_amount));
    EXPECT_FALSE(reopened.queryPexStatus("State"));
}

TEST_F(DatabaseHelperTest, ScopedTransactionRollsBackUnlessCommitted) {
    {
        ScopedTransaction transaction(*db);
        ASSERT_TRUE(transaction.isActive());
        db->insertConfigurationValue("lost", "1");
    }
    {
        ScopedTransaction transaction(*db);
        db->insertConfigurationValue("kept", "1");
        EXPECT_EQ(0, transaction.commit());
    }
    EXPECT_EQ("", db->queryConfigurationValue("lost"));
    EXPECT_EQ("1", db->queryConfigurationValue("kept"));

    // While another connection writes, the transaction cannot begin, and the guard does not
    // roll back what it never began.
    SecondConnection writer(root.hostPath(kDbFile), /*readOnly=*/false);
    ASSERT_EQ(SQLITE_OK, writer.exec("BEGIN IMMEDIATE"));
    StatementTrace trace(db->getConnection());
    {
        ScopedTransaction transaction(*db);
        EXPECT_FALSE(transaction.isActive());
        EXPECT_NE(0, transaction.commit());
    }
    EXPECT_THAT(trace.statements(), ElementsAre("BEGIN EXCLUSIVE"));
    writer.exec("ROLLBACK");
}

}  // namespace
}  // namespace velora
