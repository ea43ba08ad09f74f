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

class DatabaseHelperTest : public ::testing::Test {
  protected:
    void SetUp() override {
        db = std::make_unique<DatabaseHelper>("kiv_sqlite3.db");
        ASSERT_TRUE(db->isOpen());
        ASSERT_EQ(0, db->init());
    }

    std::string dbPath() const { return root.hostPath(kDbFile); }

    // Rows of a table seen through a connection of its own, in _id order.
    std::vector<Row> rows(const std::string& table, const std::string& where = "") const {
        SecondConnection other(dbPath());
        return other.query("SELECT * FROM " + table + (where.empty() ? "" : " WHERE " + where) +
                           " ORDER BY _id");
    }

    // Whether a message starting with prefix was logged with this tag and priority.
    bool loggedWithPrefix(int priority, const std::string& prefix) const {
        for (const auto& line : logs.lines()) {
            if (line.tag == "DatabaseHelper" && line.priority == priority &&
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

// Column names of a record's parameters, in Parameter order, as its table must list them.
std::vector<std::string> parameter_columns(const std::set<Parameter>& valid) {
    std::vector<std::string> names;
    for (Parameter p : valid) {
        if (p != ieq_id) names.push_back(kParameterNames[p]);
    }
    return names;
}

TEST(DatabaseHelperOpenTest, CreatesTheFolderAndTheFileUnderTheRoot) {
    TempRoot root;
    std::filesystem::remove_all(root.hostPath("/data/vendor/velora"));
    DatabaseHelper db("kiv_sqlite3.db");
    EXPECT_TRUE(db.isOpen());
    EXPECT_EQ(root.hostPath(kDbFile), db.getPath());
    EXPECT_TRUE(std::filesystem::is_regular_file(root.hostPath(kDbFile)));
}

TEST(DatabaseHelperOpenTest, UnopenableFileLeavesEveryOperationReportingIt) {
    TempRoot root;
    // A folder where the file should be: SQLite cannot open it.
    std::filesystem::create_directories(root.hostPath(kDbFile));
    LogCapture logs;
    DatabaseHelper db("kiv_sqlite3.db");
    EXPECT_FALSE(db.isOpen());

    EXPECT_EQ(1, db.execSQL("BEGIN EXCLUSIVE"));
    EXPECT_TRUE(logs.contains("DatabaseHelper", ANDROID_LOG_ERROR, "the db is not open..."));
    EXPECT_EQ(-1, db.getRowCount("profiles"));

    db.insertConfigurationValue("State", "true");
    EXPECT_TRUE(logs.contains("DatabaseHelper", ANDROID_LOG_ERROR, "db is not connected"));

    logs.clear();
    EXPECT_FALSE(db.queryPexStatus("State"));
    EXPECT_EQ("", db.queryConfigurationValue("signature"));
    Profile profile(0, "p", PRESET_OFF);
    db.queryProfileValue("0", "custom", &profile);
    EXPECT_EQ(3u, logs.countMessage("the database is not connected"));
    EXPECT_TRUE(db.queryDeviceTunings("headphone").empty());
}

TEST_F(DatabaseHelperTest, InitCreatesTheSevenTablesWithTheirExactStatements) {
    db->clear();
    StatementTrace trace(db->getConnection());
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
    EXPECT_THAT(sql[4], ::testing::StartsWith("CREATE TABLE profile_endpoints (_id INTEGER, "
                                              "custom_name TEXT, profile_id TEXT, endpoint TEXT, "
                                              "bass_enhancer_enable TEXT, "));
    EXPECT_THAT(sql[5], ::testing::StartsWith("CREATE TABLE tunings (_id INTEGER, custom_name "
                                              "TEXT, name TEXT, endpoint TEXT, is_mono TEXT, "
                                              "is_readonly TEXT, audio_optimizer_enable TEXT, "));
    EXPECT_THAT(sql[5], ::testing::EndsWith(", volume_modeler_calibration TEXT)"));
    EXPECT_EQ(
        "CREATE TABLE device_tunings (_id INTEGER, custom_name TEXT, device TEXT, "
        "port TEXT, tuning_id TEXT)",
        sql[6]);

    SecondConnection other(dbPath());
    EXPECT_THAT(other.tables(),
                ElementsAre("configuration", "device_tunings", "geq_presets", "ieq_presets",
                            "profile_endpoints", "profiles", "tunings"));
    for (int type = 0; type < kTableCount; ++type) {
        EXPECT_EQ(DatabaseHelper::getColumnNames(static_cast<TableType>(type)),
                  other.columns(DatabaseHelper::kTableNames[type]))
            << DatabaseHelper::kTableNames[type];
    }
}

// Records are stored by position, so every table must list exactly its record's parameters,
// in Parameter order, after the record's own columns.
TEST_F(DatabaseHelperTest, ParameterColumnsAreTheRecordsValidParametersInOrder) {
    auto tail = [](TableType type, size_t own) {
        std::vector<std::string> names = DatabaseHelper::getColumnNames(type);
        return std::vector<std::string>(names.begin() + static_cast<long>(own), names.end());
    };
    EXPECT_EQ(parameter_columns(IeqPreset::kValidParams), tail(TABLE_IEQ_PRESETS, 3));
    EXPECT_EQ(parameter_columns(GeqPreset::kValidParams), tail(TABLE_GEQ_PRESETS, 3));
    EXPECT_EQ(parameter_columns(Profile::kValidParams), tail(TABLE_PROFILES, 6));
    EXPECT_EQ(parameter_columns(ProfileEndpoint::kValidParams), tail(TABLE_PROFILE_ENDPOINTS, 4));
    EXPECT_EQ(parameter_columns(Tuning::kValidParams), tail(TABLE_TUNINGS, 6));
}

TEST_F(DatabaseHelperTest, ClearAndTransactionsRunTheirExactStatements) {
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
    EXPECT_TRUE(SecondConnection(dbPath()).tables().empty());
}

TEST_F(DatabaseHelperTest, ExecSqlReportsPrepareAndStepFailures) {
    EXPECT_EQ(1, db->execSQL("no statement at all"));
    EXPECT_TRUE(logs.contains("DatabaseHelper", ANDROID_LOG_DEBUG,
                              "failed to prepare SQL : no statement at all"));
    EXPECT_EQ(1, db->execSQL("COMMIT"));  // no transaction is open
    EXPECT_TRUE(logs.contains("DatabaseHelper", ANDROID_LOG_ERROR, "failed to exec SQL: COMMIT"));
    EXPECT_EQ(0, db->execSQL("DELETE FROM tunings"));
}

TEST_F(DatabaseHelperTest, CompleteRecordsGiveExactlyTheStatementOfTheirStorageText) {
    StatementTrace trace(db->getConnection());

    IeqPreset ieq(PRESET_BALANCED);
    ieq.set(ieq_frequency, {100, 200});
    ieq.set(ieq_target, {-3, 4});
    db->insertValue(&ieq, "default");

    Profile profile(0, "Dynamic", PRESET_WARM);
    profile.set(custom_drc_metadata, {1, 2});
    profile.set(ieq_amount, {3});
    profile.set(ieq_enable, {1});
    profile.set(mi_adaptive_virtualizer_steering_enable, {0});
    profile.set(mi_dv_leveler_steering_enable, {1});
    profile.set(mi_ieq_steering_enable, {1});
    profile.set(mi_surround_compressor_steering_enable, {0});
    profile.set(volume_modeler_enable, {1});
    db->insertValue(&profile, "custom", -1);

    GeqPreset geq(3);
    geq.set(geq_frequency, {20, 40});
    geq.set(geq_gain, {0, -1});
    geq.setId(12);
    db->insertValue(&geq, "custom", 7);

    DeviceTuning deviceTuning("wired", "headphone", "hp_tuning");
    db->insertValue(&deviceTuning, "default");
    db->insertValue(&deviceTuning, "oem");

    EXPECT_THAT(trace.startingWith("INSERT"),
                ElementsAre("INSERT INTO ieq_presets VALUES(1,'default','balanced','100,200,',"
                            "'-3,4,')",
                            "INSERT INTO profiles VALUES(1,'custom','0','Dynamic','warm','0',"
                            "'1,2,','3,','1,','0,','1,','1,','0,','1,')",
                            "INSERT INTO geq_presets VALUES(7,'custom','3','20,40,','0,-1,')",
                            "INSERT INTO device_tunings VALUES(1,'default','wired','headphone',"
                            "'hp_tuning')",
                            "INSERT INTO device_tunings VALUES(2,'oem','wired','headphone',"
                            "'hp_tuning')"));
    // A new row's _id goes back into the record; a given positive id is kept as it was.
    EXPECT_EQ(1, profile.getId());
    EXPECT_EQ(12, geq.getId());

    std::vector<Row> stored = rows("profiles");
    ASSERT_EQ(1u, stored.size());
    EXPECT_EQ("Dynamic", cell(stored[0], "name"));
    EXPECT_EQ("warm", cell(stored[0], "selected_ieq_preset_type"));
    EXPECT_EQ("3,", cell(stored[0], "ieq_amount"));
    EXPECT_EQ("1,", cell(stored[0], "volume_modeler_enable"));
}

TEST_F(DatabaseHelperTest, CompleteTuningAndEndpointFillEveryColumnInOrder) {
    Tuning tuning("spk", ENDPOINT_SPEAKER, true);
    std::string expected = "INSERT INTO tunings VALUES(1,'default','spk','speaker','1','1',";
    int n = 0;
    for (Parameter p : Tuning::kValidParams) {
        tuning.set(p, {n, -n});
        expected += "'" + std::to_string(n) + "," + std::to_string(-n) + ",',";
        ++n;
    }
    expected.back() = ')';

    ProfileEndpoint endpoint(2, ENDPOINT_HEADPHONE);
    std::string expectedEndpoint =
        "INSERT INTO profile_endpoints VALUES(1,'default','2','headphone',";
    n = 0;
    for (Parameter p : ProfileEndpoint::kValidParams) {
        endpoint.set(p, {n});
        expectedEndpoint += "'" + std::to_string(n) + ",',";
        ++n;
    }
    expectedEndpoint.back() = ')';

    StatementTrace trace(db->getConnection());
    db->insertValue(&tuning, "default");
    db->insertValue(&endpoint, "default", 0);
    EXPECT_THAT(trace.startingWith("INSERT"), ElementsAre(expected, expectedEndpoint));

    // Each value sits in the column of its own parameter.
    std::vector<Row> stored = rows("tunings");
    ASSERT_EQ(1u, stored.size());
    n = 0;
    for (Parameter p : Tuning::kValidParams) {
        EXPECT_EQ(std::to_string(n) + "," + std::to_string(-n) + ",",
                  cell(stored[0], kParameterNames[p]));
        ++n;
    }
}

TEST_F(DatabaseHelperTest, ConfigurationInsertEndsInANewlineAndCountsItsId) {
    db->insertConfigurationValue("signature", "1700000000");
    db->insertConfigurationValue("Profile", "0");
    db->execSQL("DROP TABLE configuration");
    db->insertConfigurationValue("State", "true");
    // With the table gone the row count is -1, so the id is 0, and the statement (with its
    // newline) cannot be prepared.
    EXPECT_TRUE(logs.contains("DatabaseHelper", ANDROID_LOG_DEBUG,
                              "failed to prepare SQL : INSERT INTO configuration "
                              "VALUES(0,'State','true')\n"));
    EXPECT_TRUE(logs.contains("DatabaseHelper", ANDROID_LOG_ERROR,
                              "failed to prepare SQL: SELECT COUNT(*) FROM configuration"));
}

TEST_F(DatabaseHelperTest, RowCountAndNewIds) {
    EXPECT_EQ(0, db->getRowCount("tunings"));
    Tuning tuning("a", ENDPOINT_SPEAKER, false);
    db->insertValue(&tuning, "default");
    db->insertValue(&tuning, "default");
    EXPECT_EQ(2, db->getRowCount("tunings"));
    EXPECT_EQ(-1, db->getRowCount("nowhere"));
    // The row count decides the id even after deletions, so ids can repeat; rows are found
    // by their names, never by _id.
    db->execSQL("DELETE FROM tunings WHERE _id=1");
    db->insertValue(&tuning, "oem");
    std::vector<Row> stored = rows("tunings");
    ASSERT_EQ(2u, stored.size());
    EXPECT_EQ("2", cell(stored[0], "_id"));
    EXPECT_EQ("2", cell(stored[1], "_id"));
}

TEST_F(DatabaseHelperTest, VectorsAreStoredWithATrailingCommaAndReadBackWithATrailingZero) {
    GeqPreset geq(0);
    geq.set(geq_frequency, {7});
    geq.set(geq_gain, {});
    db->insertValue(&geq, "custom", -1);

    std::vector<Row> stored = rows("geq_presets");
    ASSERT_EQ(1u, stored.size());
    EXPECT_EQ("7,", cell(stored[0], "geq_frequency"));
    EXPECT_EQ("", cell(stored[0], "geq_gain"));

    GeqPreset read(0);
    db->queryGeqValue("0", "custom", &read);
    EXPECT_EQ((std::vector<int>{7, 0}), read.getValues().at(geq_frequency));
    EXPECT_EQ((std::vector<int>{0}), read.getValues().at(geq_gain));
    EXPECT_EQ(2u, read.getValues().size());
}

TEST_F(DatabaseHelperTest, QueriesReadTheRecordsOwnColumnsAndTheirKeys) {
    Profile profile(1, "Movie", PRESET_DETAILED);
    profile.setSelectedGeqPreset(2);
    profile.set(ieq_amount, {5});
    db->insertValue(&profile, "default", -1);
    profile.set(ieq_amount, {9});
    profile.setName("Movie (mine)");
    db->insertValue(&profile, "custom", -1);

    Profile read(1, "", PRESET_OFF);
    StatementTrace trace(db->getConnection());
    db->queryProfileValue("1", "custom", &read);
    EXPECT_THAT(
        trace.statements(),
        ElementsAre("SELECT * FROM profiles WHERE profile_id='1' AND custom_name='custom'"));
    EXPECT_EQ("Movie (mine)", read.getName());
    EXPECT_EQ(PRESET_DETAILED, read.getSelectedIeqPreset());
    EXPECT_EQ(2, read.getSelectedGeqPreset());
    EXPECT_EQ((std::vector<int>{9, 0}), read.getValues().at(ieq_amount));
    // Absent in the stored record, absent in the one read: NULL columns are skipped.
    EXPECT_FALSE(read.has(ieq_enable));

    std::vector<std::string> names;
    db->queryProfileNames(names, "default");
    EXPECT_THAT(names, ElementsAre("Movie"));
    EXPECT_TRUE(logs.containsMessage("queryProfileNames(): Profile Movie found"));

    Tuning tuning("hp", ENDPOINT_HEADPHONE, true);
    tuning.set(orientation, {90});
    db->insertValue(&tuning, "default");
    Tuning readTuning("hp", ENDPOINT_OTHER, false);
    trace.clear();
    db->queryTuning("hp", &readTuning);
    EXPECT_THAT(trace.statements(), ElementsAre("SELECT * FROM tunings WHERE name='hp'"));
    EXPECT_TRUE(readTuning.isMono());
    EXPECT_EQ(ENDPOINT_HEADPHONE, readTuning.getEndpoint());
    EXPECT_EQ((std::vector<int>{90, 0}), readTuning.getValues().at(orientation));
    EXPECT_EQ(1u, readTuning.getValues().size());

    IeqPreset ieq(PRESET_WARM);
    ieq.set(ieq_frequency, {1});
    db->insertValue(&ieq, "default");
    IeqPreset readIeq(PRESET_WARM);
    trace.clear();
    db->queryIeqValue("warm", "default", &readIeq);
    EXPECT_THAT(trace.statements(),
                ElementsAre("SELECT * FROM ieq_presets WHERE preset_type='warm' AND "
                            "custom_name='default'"));
    EXPECT_EQ((std::vector<int>{1, 0}), readIeq.getValues().at(ieq_frequency));
    EXPECT_EQ((std::vector<int>{PRESET_WARM}), readIeq.getValues().at(ieq_id));

    ProfileEndpoint endpoint(1, ENDPOINT_OTHER);
    endpoint.set(peak_value, {-4});
    db->insertValue(&endpoint, "custom", -1);
    ProfileEndpoint readEndpoint(1, ENDPOINT_OTHER);
    trace.clear();
    db->queryEndpointValue("1", "other", "custom", &readEndpoint);
    EXPECT_THAT(trace.statements(),
                ElementsAre("SELECT * FROM profile_endpoints WHERE profile_id='1' AND "
                            "endpoint='other' AND custom_name='custom'"));
    EXPECT_EQ((std::vector<int>{-4, 0}), readEndpoint.getValues().at(peak_value));

    // A query that finds no row leaves the record as it was.
    Profile untouched(5, "keep", PRESET_WARM);
    untouched.set(ieq_amount, {1});
    untouched.setDirty(false);
    db->queryProfileValue("5", "custom", &untouched);
    EXPECT_EQ("keep", untouched.getName());
    EXPECT_EQ((std::vector<int>{1}), untouched.getValues().at(ieq_amount));
    EXPECT_FALSE(untouched.isDirty());
}

TEST_F(DatabaseHelperTest, QueryDeviceTuningsGivesNewRecordsOfThePort) {
    DeviceTuning a("speaker_a", "internal_speaker", "spk");
    DeviceTuning b("buds", "bluetooth", "hp");
    db->insertValue(&a, "default");
    db->insertValue(&b, "oem");

    StatementTrace trace(db->getConnection());
    std::set<DeviceTuning*> found = db->queryDeviceTunings("bluetooth");
    EXPECT_THAT(trace.statements(),
                ElementsAre("SELECT * FROM device_tunings WHERE port='bluetooth'"));
    ASSERT_EQ(1u, found.size());
    DeviceTuning* record = *found.begin();
    EXPECT_EQ("buds", record->getDevice());
    EXPECT_EQ("bluetooth", record->getPort());
    EXPECT_EQ("hp", record->getTuning());
    EXPECT_EQ(-1, record->getId());
    EXPECT_TRUE(record->isDirty());
    for (DeviceTuning* d : found) delete d;
}

TEST_F(DatabaseHelperTest, IncompleteProfileIsStoredWithNullWhereItLacksValues) {
    Profile profile(0, "Sparse", PRESET_OFF);
    profile.set(custom_drc_metadata, {4});
    profile.set(ieq_enable, {1});
    profile.set(mi_ieq_steering_enable, {0});
    StatementTrace trace(db->getConnection());
    db->insertValue(&profile, "default", -1);

    EXPECT_THAT(trace.startingWith("INSERT"),
                ElementsAre("INSERT INTO profiles VALUES(1,'default','0','Sparse','off','0',"
                            "'4,',NULL,'1,',NULL,NULL,'0,',NULL,NULL)"));
    std::vector<Row> stored = rows("profiles");
    ASSERT_EQ(1u, stored.size());
    EXPECT_EQ("<NULL>", cell(stored[0], "ieq_amount"));
    EXPECT_EQ("<NULL>", cell(stored[0], "volume_modeler_enable"));
    EXPECT_EQ("1,", cell(stored[0], "ieq_enable"));

    Profile read(0, "", PRESET_OFF);
    db->queryProfileValue("0", "default", &read);
    EXPECT_EQ("Sparse", read.getName());
    ASSERT_EQ(3u, read.getValues().size());
    EXPECT_EQ((std::vector<int>{4, 0}), read.getValues().at(custom_drc_metadata));
    EXPECT_EQ((std::vector<int>{1, 0}), read.getValues().at(ieq_enable));
    EXPECT_EQ((std::vector<int>{0, 0}), read.getValues().at(mi_ieq_steering_enable));
}

TEST_F(DatabaseHelperTest, TuningLackingMostParametersIsStoredAndReadBack) {
    // What a tuning file gives for a tuning that only names its orientation and channels.
    Tuning tuning("bare", ENDPOINT_OTHER, false);
    tuning.set(orientation, {1});
    tuning.set(output_channels, {2});
    db->insertValue(&tuning, "oem");

    std::vector<Row> stored = rows("tunings");
    ASSERT_EQ(1u, stored.size());
    EXPECT_EQ("bare", cell(stored[0], "name"));
    EXPECT_EQ("other", cell(stored[0], "endpoint"));
    EXPECT_EQ("0", cell(stored[0], "is_mono"));
    EXPECT_EQ("1,", cell(stored[0], "orientation"));
    EXPECT_EQ("<NULL>", cell(stored[0], "audio_optimizer_enable"));
    EXPECT_EQ("<NULL>", cell(stored[0], "volume_modeler_calibration"));

    Tuning read("bare", ENDPOINT_SPEAKER, true);
    db->queryTuning("bare", &read);
    EXPECT_FALSE(read.isMono());
    EXPECT_EQ(ENDPOINT_OTHER, read.getEndpoint());
    ASSERT_EQ(2u, read.getValues().size());
    EXPECT_EQ((std::vector<int>{2, 0}), read.getValues().at(output_channels));
}

TEST_F(DatabaseHelperTest, ValueWithoutAColumnIsLeftOutAndNamed) {
    ProfileEndpoint endpoint(0, ENDPOINT_SPEAKER);
    endpoint.set(peak_value, {1});
    endpoint.set(orientation, {3});  // a tuning's parameter, no column of profile endpoints
    db->insertValue(&endpoint, "default", -1);
    EXPECT_TRUE(logs.contains("DatabaseHelper", ANDROID_LOG_WARN,
                              "profile_endpoints has no column orientation, value not stored"));
    std::vector<Row> stored = rows("profile_endpoints");
    ASSERT_EQ(1u, stored.size());
    EXPECT_EQ("1,", cell(stored[0], "peak_value"));
}

TEST_F(DatabaseHelperTest, SingleQuotesInValuesAreDoubledAndRoundTrip) {
    StatementTrace trace(db->getConnection());
    Profile profile(0, "Rock'n'Roll", PRESET_OFF);
    profile.set(ieq_amount, {1});
    db->insertValue(&profile, "default", -1);
    EXPECT_THAT(trace.startingWith("INSERT")[0], HasSubstr(",'Rock''n''Roll',"));

    Tuning tuning("O'Brien's amp", ENDPOINT_HEADPHONE, true);
    tuning.set(orientation, {4});
    db->insertValue(&tuning, "oem");
    DeviceTuning deviceTuning("Bob's buds", "bluetooth", "O'Brien's amp");
    db->insertValue(&deviceTuning, "oem");
    db->insertConfigurationValue("bluetooth", "Bob's buds");

    std::vector<std::string> names;
    db->queryProfileNames(names, "default");
    EXPECT_THAT(names, ElementsAre("Rock'n'Roll"));
    EXPECT_EQ("Rock'n'Roll", cell(rows("profiles")[0], "name"));

    trace.clear();
    Tuning read("O'Brien's amp", ENDPOINT_SPEAKER, false);
    db->queryTuning("O'Brien's amp", &read);
    EXPECT_THAT(trace.statements(),
                ElementsAre("SELECT * FROM tunings WHERE name='O''Brien''s amp'"));
    EXPECT_TRUE(read.isMono());
    EXPECT_EQ((std::vector<int>{4, 0}), read.getValues().at(orientation));

    std::set<DeviceTuning*> found = db->queryDeviceTunings("bluetooth");
    ASSERT_EQ(1u, found.size());
    EXPECT_EQ("Bob's buds", (*found.begin())->getDevice());
    EXPECT_EQ("O'Brien's amp", (*found.begin())->getTuning());
    for (DeviceTuning* d : found) delete d;

    EXPECT_EQ("Bob's buds", db->queryConfigurationValue("bluetooth"));
    trace.clear();
    db->updateTuningDevice("bluetooth", "Ann's cans");
    EXPECT_THAT(trace.statements(),
                ElementsAre("UPDATE configuration SET value='Ann''s cans' WHERE key='bluetooth'"));
    EXPECT_EQ("Ann's cans", db->queryConfigurationValue("bluetooth"));

    // Only the value is changed: a custom name with a quote is doubled in the DELETE too.
    trace.clear();
    db->updateProfileValue(&profile, "it's mine");
    EXPECT_EQ("DELETE FROM profiles WHERE custom_name='it''s mine' AND profile_id='0'",
              trace.statements().at(0));
}

TEST_F(DatabaseHelperTest, DefaultRowsAreNeverUpdated) {
    Profile profile(0, "Music", PRESET_OFF);
    profile.set(ieq_amount, {1});
    db->insertValue(&profile, "default", -1);
    db->insertValue(&profile, "custom", -1);
    GeqPreset geq(0);
    geq.set(geq_gain, {1, 2});
    db->insertValue(&geq, "default", -1);
    ProfileEndpoint endpoint(0, ENDPOINT_HEADPHONE);
    endpoint.set(peak_value, {1});
    db->insertValue(&endpoint, "default", -1);

    profile.set(ieq_amount, {8});
    geq.set(geq_gain, {0, 0});
    endpoint.set(peak_value, {0});
    StatementTrace trace(db->getConnection());
    db->updateProfileValue(&profile, "default");
    db->updateGeqValue(&geq, "default");
    db->updateProfileEndpointValue(&endpoint, "default");

    EXPECT_TRUE(trace.statements().empty());
    EXPECT_TRUE(loggedWithPrefix(ANDROID_LOG_ERROR, "the default value can't be updated, "));
    EXPECT_EQ("1,", cell(rows("profiles", "custom_name='default'").at(0), "ieq_amount"));
    EXPECT_EQ("1,2,", cell(rows("geq_presets").at(0), "geq_gain"));
    EXPECT_EQ("1,", cell(rows("profile_endpoints").at(0), "peak_value"));
}

TEST_F(DatabaseHelperTest, UpdatesReplaceTheCustomRowAndKeepItsId) {
    Profile profile(1, "Game", PRESET_OFF);
    profile.set(ieq_amount, {1});
    db->insertValue(&profile, "default", -1);
    db->insertValue(&profile, "custom", -1);
    ASSERT_EQ(2, profile.getId());
    ProfileEndpoint endpoint(1, ENDPOINT_HEADPHONE);
    endpoint.set(peak_value, {1});
    db->insertValue(&endpoint, "custom", -1);
    GeqPreset geq(1);
    geq.set(geq_gain, {3});
    db->insertValue(&geq, "custom", -1);

    profile.set(ieq_amount, {6});
    endpoint.set(peak_value, {-2});
    geq.set(geq_gain, {5});
    StatementTrace trace(db->getConnection());
    db->updateProfileValue(&profile, "custom");
    db->updateProfileEndpointValue(&endpoint, "custom");
    db->updateGeqValue(&geq, "custom");

    EXPECT_THAT(trace.statements(),
                ElementsAre("DELETE FROM profiles WHERE custom_name='custom' AND profile_id='1'",
                            "INSERT INTO profiles VALUES(2,'custom','1','Game','off','1',NULL,"
                            "'6,',NULL,NULL,NULL,NULL,NULL,NULL)",
                            "DELETE FROM profile_endpoints WHERE custom_name='custom' AND "
                            "profile_id='1' AND endpoint='headphone'",
                            "INSERT INTO profile_endpoints VALUES(1,'custom','1','headphone',"
                            "NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,'-2,',"
                            "NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL)",
                            "DELETE FROM geq_presets WHERE custom_name='custom' AND "
                            "profile_id='1'",
                            "INSERT INTO geq_presets VALUES(1,'custom','1',NULL,'5,')"));
    std::vector<Row> profiles = rows("profiles");
    ASSERT_EQ(2u, profiles.size());
    EXPECT_EQ("default", cell(profiles[0], "custom_name"));
    EXPECT_EQ("1,", cell(profiles[0], "ieq_amount"));
    EXPECT_EQ("custom", cell(profiles[1], "custom_name"));
    EXPECT_EQ("2", cell(profiles[1], "_id"));
    EXPECT_EQ("6,", cell(profiles[1], "ieq_amount"));
    EXPECT_EQ("-2,", cell(rows("profile_endpoints").at(0), "peak_value"));
}

TEST_F(DatabaseHelperTest, ConfigurationValuesAndTheirUpdates) {
    // Without a "State" row the effect counts as on.
    EXPECT_TRUE(db->queryPexStatus("State"));
    EXPECT_EQ("", db->querySelectedProfile("Profile"));

    db->insertConfigurationValue("State", "false");
    EXPECT_FALSE(db->queryPexStatus("State"));
    db->insertConfigurationValue("State", "true");
    EXPECT_TRUE(db->queryPexStatus("State"));  // the last row wins

    db->insertConfigurationValue("Profile", "0");
    StatementTrace trace(db->getConnection());
    db->updatePexStatus("State", false);
    db->updateSelectedProfile("Profile", "2");
    EXPECT_THAT(trace.statements(),
                ElementsAre("UPDATE configuration SET value='false' WHERE key='State'",
                            "UPDATE configuration SET value='2' WHERE key='Profile'"));
    EXPECT_FALSE(db->queryPexStatus("State"));
    EXPECT_EQ("2", db->querySelectedProfile("Profile"));
    trace.clear();
    db->queryConfigurationValue("version");
    EXPECT_THAT(trace.statements(),
                ElementsAre("SELECT value FROM configuration WHERE key='version'"));

    // An update changes existing keys only.
    db->updateTuningDevice("usb", "dock");
    EXPECT_EQ("", db->queryConfigurationValue("usb"));
    EXPECT_EQ(3, db->getRowCount("configuration"));

    // A text other than "true" or "false" leaves the state as the earlier rows made it.
    db->insertConfigurationValue("State", "maybe");
    EXPECT_FALSE(db->queryPexStatus("State"));
}

TEST_F(DatabaseHelperTest, ClearingOemRowsKeepsEveryOtherRow) {
    Tuning spk("spk", ENDPOINT_SPEAKER, false);
    Tuning extra("extra", ENDPOINT_HEADPHONE, false);
    db->insertValue(&spk, "default");
    db->insertValue(&extra, "oem");
    DeviceTuning a("a", "headphone", "spk");
    DeviceTuning b("b", "headphone", "extra");
    db->insertValue(&a, "default");
    db->insertValue(&b, "oem");

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
    std::vector<Row> tunings = rows("tunings");
    ASSERT_EQ(1u, tunings.size());
    EXPECT_EQ("spk", cell(tunings[0], "name"));
    std::vector<Row> devices = rows("device_tunings");
    ASSERT_EQ(1u, devices.size());
    EXPECT_EQ("a", cell(devices[0], "device"));
}

TEST_F(DatabaseHelperTest, NullRecordsAreRefusedWithTheirMessages) {
    db->insertValue(static_cast<IeqPreset*>(nullptr), "default");
    EXPECT_TRUE(logs.contains("DatabaseHelper", ANDROID_LOG_ERROR, "invalide value"));
    db->insertValue(static_cast<Tuning*>(nullptr), "default");
    db->updateProfileValue(nullptr, "custom");
    EXPECT_EQ(2u, logs.countMessage("invalid value"));
    db->queryTuning("x", nullptr);
    EXPECT_TRUE(
        logs.contains("DatabaseHelper", ANDROID_LOG_ERROR, "the database is not connected"));
    EXPECT_EQ(0, db->getRowCount("tunings"));
}

TEST_F(DatabaseHelperTest, QueriesOnAMissingTableReportThePrepareFailure) {
    db->clear();
    IeqPreset ieq(PRESET_OFF);
    db->queryIeqValue("off", "default", &ieq);
    EXPECT_TRUE(loggedWithPrefix(ANDROID_LOG_ERROR,
                                 "failed to prepare sql: SELECT * FROM ieq_presets WHERE "
                                 "preset_type='off' AND custom_name='default', ret = 1, line "));
    Profile profile(0, "", PRESET_OFF);
    db->queryProfileValue("0", "custom", &profile);
    EXPECT_TRUE(loggedWithPrefix(ANDROID_LOG_ERROR,
                                 "failed to prepare sql: SELECT * FROM profiles WHERE "
                                 "profile_id='0' AND custom_name='custom', line "));
    EXPECT_FALSE(db->queryPexStatus("State"));
}

TEST_F(DatabaseHelperTest, DataSurvivesClosingAndReopening) {
    Profile profile(0, "Night", PRESET_BALANCED);
    profile.set(ieq_amount, {4});
    db->insertValue(&profile, "custom", -1);
    db->insertConfigurationValue("State", "false");
    db.reset();

    DatabaseHelper reopened("kiv_sqlite3.db");
    ASSERT_TRUE(reopened.isOpen());
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
    EXPECT_EQ("", db->queryConfigurationValue("lost"));
    {
        ScopedTransaction transaction(*db);
        db->insertConfigurationValue("kept", "1");
        EXPECT_EQ(0, transaction.commit());
        EXPECT_FALSE(transaction.isActive());
    }
    EXPECT_EQ("1", cell(rows("configuration").at(0), "value"));

    // Another connection in the middle of writing: the exclusive transaction cannot start,
    // and the guard does not try to roll back what it never began.
    SecondConnection writer(dbPath(), /*readOnly=*/false);
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
