/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <set>

#include "StoreTestSupport.h"
#include "store/DatabaseHelper.h"
#include "store/Transaction.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

using testing::cell;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::LogCapture;
using testing::Row;
using testing::SecondConnection;
using ::testing::StartsWith;
using testing::StatementTrace;
using testing::TempRoot;

constexpr const char* kDbFile = "/data/vendor/velora/kiv_sqlite3.db";
constexpr const char* kTag = "DatabaseHelper";

class DatabaseHelperTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(0, db->init()); }
    std::vector<Row> rows(const std::string& table, const std::string& where = "1") const {
        return testing::table_rows(root.hostPath(kDbFile), table, where);
    }
    // Messages carrying a source line number are compared up to it.
    bool loggedWithPrefix(const std::string& prefix) const {
        for (const auto& line : logs.lines()) {
            if (line.tag == kTag && line.priority == ANDROID_LOG_ERROR &&
                line.message.compare(0, prefix.size(), prefix) == 0) {
                return true;
            }
        }
        return false;
    }

    TempRoot root;
    LogCapture logs;
    std::unique_ptr<DatabaseHelper> db = std::make_unique<DatabaseHelper>("kiv_sqlite3.db");
};

TEST(DatabaseHelperOpenTest, CreatesItsFileUnderTheRootOrReportsEveryOperation) {
    TempRoot root;
    std::filesystem::remove_all(root.hostPath("/data/vendor/velora"));
    EXPECT_TRUE(DatabaseHelper("kiv_sqlite3.db").isOpen());
    EXPECT_TRUE(std::filesystem::is_regular_file(root.hostPath(kDbFile)));

    std::filesystem::create_directories(root.hostPath("/data/vendor/velora/dir.db"));
    LogCapture logs;
    DatabaseHelper db("dir.db");  // a folder in the file's place
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
    SecondConnection other(root.hostPath(kDbFile));
    EXPECT_TRUE(other.query("SELECT name FROM sqlite_master").empty());

    trace.clear();
    ASSERT_EQ(0, db->init());
    EXPECT_THAT(
        trace.statements(),
        ElementsAre(
            "CREATE TABLE configuration (_id INTEGER, key TEXT, value TEXT)",
            "CREATE TABLE ieq_presets (_id INTEGER, custom_name TEXT, preset_type TEXT, "
            "ieq_frequency TEXT, ieq_target TEXT)",
            "CREATE TABLE geq_presets (_id INTEGER, custom_name TEXT, profile_id TEXT, "
            "geq_frequency TEXT, geq_gain TEXT)",
            "CREATE TABLE profiles (_id INTEGER, custom_name TEXT, profile_id TEXT, name TEXT, "
            "selected_ieq_preset_type TEXT, selected_geq_preset_id TEXT, custom_drc_metadata "
            "TEXT, ieq_amount TEXT, ieq_enable TEXT, mi_adaptive_virtualizer_steering_enable "
            "TEXT, mi_dv_leveler_steering_enable TEXT, mi_ieq_steering_enable TEXT, "
            "mi_surround_compressor_steering_enable TEXT, volume_modeler_enable TEXT)",
            StartsWith("CREATE TABLE profile_endpoints (_id INTEGER, custom_name TEXT, profile_id "
                       "TEXT, endpoint TEXT, bass_enhancer_enable TEXT, "),
            StartsWith("CREATE TABLE tunings (_id INTEGER, custom_name TEXT, name TEXT, endpoint "
                       "TEXT, is_mono TEXT, is_readonly TEXT, audio_optimizer_enable"),
            "CREATE TABLE device_tunings (_id INTEGER, custom_name TEXT, device TEXT, "
            "port TEXT, tuning_id TEXT)"));
    EXPECT_EQ(7u, other.query("SELECT name FROM sqlite_master").size());
}

TEST_F(DatabaseHelperTest, CompleteRecordsGiveExactlyTheirStatementAndReadBackWithATrailingZero) {
    IeqPreset ieq(PRESET_BALANCED);
    ieq.set(ieq_frequency, {100, 200});
    ieq.set(ieq_target, {-3, 4});
    Profile profile(0, "Dynamic", PRESET_WARM);
    profile.setSelectedGeqPreset(2);
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
    db->insertValue(&tuning, "default");
    EXPECT_THAT(trace.statements(), Contains("SELECT COUNT(*) FROM profiles"));
    EXPECT_THAT(trace.startingWith("INSERT"),
                ElementsAre("INSERT INTO ieq_presets VALUES(1,'default','balanced','100,200,',"
                            "'-3,4,')",
                            "INSERT INTO profiles VALUES(1,'custom','0','Dynamic','warm','2',"
                            "'0,','1,','2,','3,','4,','5,','6,','7,')",
                            "INSERT INTO geq_presets VALUES(7,'custom','3','20,40,','0,-1,')",
                            "INSERT INTO device_tunings VALUES(1,'default','wired','headphone',"
                            "'hp_tuning')",
                            tuningSql));
    // A new row's _id goes back into the record; a given positive id is used as it is.
    EXPECT_EQ(1, profile.getId());
    EXPECT_EQ(12, geq.getId());
    Profile readProfile(0, "", PRESET_OFF);
    Tuning readTuning("spk", ENDPOINT_OTHER, false);
    IeqPreset readIeq(PRESET_BALANCED);
    ProfileEndpoint endpoint(1, ENDPOINT_OTHER);
    endpoint.set(peak_value, {-4});
    db->insertValue(&endpoint, "custom", -1);
    ProfileEndpoint readEndpoint(1, ENDPOINT_OTHER);
    trace.clear();
    db->queryProfileValue("0", "custom", &readProfile);
    db->queryTuning("spk", &readTuning);
    db->queryIeqValue("balanced", "default", &readIeq);
    db->queryEndpointValue("1", "other", "custom", &readEndpoint);
    EXPECT_THAT(trace.statements(),
                ElementsAre("SELECT * FROM profiles WHERE profile_id='0' AND custom_name='custom'",
                            "SELECT * FROM tunings WHERE name='spk'",
                            "SELECT * FROM ieq_presets WHERE preset_type='balanced' AND "
                            "custom_name='default'",
                            "SELECT * FROM profile_endpoints WHERE profile_id='1' AND "
                            "endpoint='other' AND custom_name='custom'"));
    EXPECT_EQ("Dynamic", readProfile.getName());
    EXPECT_EQ(PRESET_WARM, readProfile.getSelectedIeqPreset());
    EXPECT_EQ(2, readProfile.getSelectedGeqPreset());
    n = 0;
    for (Parameter p : Profile::kValidParams)
        EXPECT_EQ((std::vector<int>{n++, 0}), readProfile.lookup(p));
    EXPECT_TRUE(readTuning.isMono());
    EXPECT_EQ(ENDPOINT_SPEAKER, readTuning.getEndpoint());
    Row stored = rows("tunings").at(0);  // each value in the column named after it
    n = 0;
    for (Parameter p : Tuning::kValidParams) {
        EXPECT_EQ(std::to_string(n) + "," + std::to_string(-n) + ",",
                  cell(stored, kParameterNames[p]));
        EXPECT_EQ((std::vector<int>{n, -n, 0}), readTuning.lookup(p));
        ++n;
    }
    EXPECT_EQ((std::vector<int>{100, 200, 0}), readIeq.getValues().at(ieq_frequency));
    EXPECT_EQ((std::vector<int>{PRESET_BALANCED}), readIeq.getValues().at(ieq_id));
    EXPECT_EQ((ParameterValues::Values{{peak_value, {-4, 0}}}), readEndpoint.getValues());

    // A query that finds no row leaves the record as it was.
    Profile untouched(5, "keep", PRESET_WARM);
    untouched.setDirty(false);
    db->queryProfileValue("5", "custom", &untouched);
    EXPECT_EQ("keep", untouched.getName());
    EXPECT_TRUE(untouched.getValues().empty());
    EXPECT_FALSE(untouched.isDirty());
}

TEST_F(DatabaseHelperTest, ReadingTablesOnceFindsWhatEveryStatementFinds) {
    // Rows a statement finds more than once (the last one read wins), NULLs, quotes, a name
    // that only a prefix of matches, and keys of every record kind.
    const char* rows[] = {
        "INSERT INTO profiles(_id, custom_name, profile_id, name, ieq_amount, ieq_enable) "
        "VALUES(1, 'default', '0', 'O''Brien', '5,', '1,')",
        "INSERT INTO profiles(_id, custom_name, profile_id, name, ieq_amount, ieq_enable) "
        "VALUES(2, 'custom', '0', 'first', '9,', '0,')",
        "INSERT INTO profiles(_id, custom_name, profile_id, name, ieq_amount) "
        "VALUES(3, 'custom', '0', 'second', '1,')",
        "INSERT INTO profiles(_id, custom_name, profile_id, name) VALUES(4, 'custom', '00', 'x')",
        "INSERT INTO profile_endpoints(_id, custom_name, profile_id, endpoint, peak_value) "
        "VALUES(1, 'custom', '0', 'speaker', '-16,3,')",
        "INSERT INTO geq_presets VALUES(1, 'custom', '0', '20,40,', ' 7,x,')",
        "INSERT INTO ieq_presets VALUES(1, 'default', 'warm', '1,', '2,')",
        "INSERT INTO tunings(_id, custom_name, name, endpoint, is_mono, output_channels) "
        "VALUES(1, 'default', 'spk', 'headphone', '1', '4,')",
        "INSERT INTO device_tunings VALUES(1, 'default', 'wired', 'headphone', 'spk')",
        "INSERT INTO device_tunings VALUES(2, 'oem', 'usb''s', 'headphone', 'other')",
        "INSERT INTO configuration VALUES(1, 'State', 'false')",
        "INSERT INTO configuration VALUES(2, 'State', 'true')",
        "INSERT INTO configuration VALUES(3, 'Profile', '2')",
    };
    for (const char* row : rows) ASSERT_EQ(0, db->execSQL(row)) << row;
    auto read_all = [this]() {
        Profile profile(0, "", PRESET_OFF);
        db->queryProfileValue("0", "custom", &profile);
        ProfileEndpoint endpoint(0, ENDPOINT_SPEAKER);
        db->queryEndpointValue("0", "speaker", "custom", &endpoint);
        GeqPreset geq(0);
        db->queryGeqValue("0", "custom", &geq);
        IeqPreset ieq(PRESET_WARM);
        db->queryIeqValue("warm", "default", &ieq);
        Tuning tuning("spk", ENDPOINT_SPEAKER, false);
        db->queryTuning("spk", &tuning);
        std::vector<std::string> names;
        db->queryProfileNames(names, "custom");
        std::set<std::string> devices;
        for (DeviceTuning* device : db->queryDeviceTunings("headphone")) {
            devices.insert(device->toString());
            delete device;
        }
        std::string text = profile.toString() + endpoint.toString() + geq.toString() +
                           ieq.toString() + tuning.toString() +
                           db->queryConfigurationValue("Profile") +
                           (db->queryPexStatus("State") ? " on" : " off");
        for (const std::string& name : names) text += " " + name;
        for (const std::string& device : devices) text += " " + device;
        return text;
    };
    // An index makes the statements find the duplicate rows in its own order; reading the
    // table once must not answer for it then.
    for (bool indexed : {false, true}) {
        if (indexed) {
            ASSERT_EQ(0, db->execSQL("CREATE INDEX by_amount ON profiles(profile_id, custom_name, "
                                     "ieq_amount)"));
        }
        db->setReadTablesOnce(false);
        const std::string each = read_all();
        EXPECT_THAT(each, HasSubstr(indexed ? "ieq_amount=9," : "ieq_amount=1,"));
        db->setReadTablesOnce(true);
        EXPECT_EQ(each, read_all()) << (indexed ? "with" : "without") << " an index";
    }
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
                Contains("UPDATE configuration SET value='Ann''s cans' WHERE key='bluetooth'"));
    EXPECT_THAT(trace.statements(),
                Contains("DELETE FROM profiles WHERE custom_name='it''s mine' AND profile_id='0'"));

    std::vector<std::string> names;
    db->queryProfileNames(names, "default");
    EXPECT_THAT(names, ElementsAre("Rock'n'Roll"));
    Tuning read("O'Brien's amp", ENDPOINT_SPEAKER, false);
    db->queryTuning("O'Brien's amp", &read);
    EXPECT_EQ((std::vector<int>{4, 0}), read.getValues().at(orientation));
    std::set<DeviceTuning*> found = db->queryDeviceTunings("bluetooth");
    ASSERT_EQ(1u, found.size());
    std::unique_ptr<DeviceTuning> device(*found.begin());
    EXPECT_EQ("Bob's buds", device->getDevice());
    EXPECT_EQ("O'Brien's amp", device->getTuning());
    EXPECT_EQ("Ann's cans", db->queryConfigurationValue("bluetooth"));
}

// Values a record lacks go as NULL in their positions and are skipped when read back.
TEST_F(DatabaseHelperTest, UpdatesRewriteTheCustomRowWithNullsAndNeverTouchDefaultRows) {
    Profile profile(1, "Game", PRESET_OFF);
    profile.set(ieq_amount, {1});
    profile.set(custom_drc_metadata, {});
    ProfileEndpoint endpoint(1, ENDPOINT_HEADPHONE);
    endpoint.set(orientation, {3});  // a tuning's parameter: no column here
    GeqPreset geq(1);
    for (const char* copy : {"default", "custom"}) {
        db->insertValue(&profile, copy, -1);
        db->insertValue(&endpoint, copy, -1);
        db->insertValue(&geq, copy, -1);
    }
    profile.set(ieq_amount, {6});
    endpoint.set(peak_value, {-2});
    geq.set(geq_gain, {5});

    StatementTrace trace(db->getConnection());
    db->updateProfileValue(&profile, "default");
    db->updateGeqValue(&geq, "default");
    db->updateProfileEndpointValue(&endpoint, "default");
    EXPECT_TRUE(trace.statements().empty());
    EXPECT_TRUE(loggedWithPrefix("the default value can't be updated, "));

    db->updateProfileValue(&profile, "custom");
    db->updateProfileEndpointValue(&endpoint, "custom");
    db->updateGeqValue(&geq, "custom");
    EXPECT_THAT(trace.startingWith("DELETE"),
                ElementsAre("DELETE FROM profiles WHERE custom_name='custom' AND profile_id='1'",
                            "DELETE FROM profile_endpoints WHERE custom_name='custom' AND "
                            "profile_id='1' AND endpoint='headphone'",
                            "DELETE FROM geq_presets WHERE custom_name='custom' AND "
                            "profile_id='1'"));
    EXPECT_THAT(trace.startingWith("INSERT"),
                ElementsAre("INSERT INTO profiles VALUES(2,'custom','1','Game','off','1','',"
                            "'6,',NULL,NULL,NULL,NULL,NULL,NULL)",
                            "INSERT INTO profile_endpoints VALUES(2,'custom','1','headphone',"
                            "NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,'-2,',"
                            "NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL)",
                            "INSERT INTO geq_presets VALUES(2,'custom','1',NULL,'5,')"));
    std::vector<Row> profiles = rows("profiles");
    ASSERT_EQ(2u, profiles.size());
    EXPECT_EQ("1,", cell(profiles[0], "ieq_amount"));  // default
    EXPECT_EQ("6,", cell(profiles[1], "ieq_amount"));  // custom, same _id
    EXPECT_EQ("2", cell(profiles[1], "_id"));
    EXPECT_EQ("<NULL>", cell(rows("geq_presets", "custom_name='default'").at(0), "geq_gain"));
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_WARN,
                              "profile_endpoints has no column orientation, value not stored"));
    Profile read(1, "", PRESET_WARM);
    db->queryProfileValue("1", "custom", &read);
    EXPECT_EQ((ParameterValues::Values{{custom_drc_metadata, {0}}, {ieq_amount, {6, 0}}}),
              read.getValues());
}

// A value read and not replaced since is written back as the text it was read from, whatever
// row it came from; a replaced one, or one changed in place, is written from the value.
TEST_F(DatabaseHelperTest, SavesWriteBackTheTextAValueWasReadFromUntilItIsReplaced) {
    SecondConnection writer(root.hostPath(kDbFile), /*readOnly=*/false);
    ASSERT_EQ(SQLITE_OK,
              writer.exec("INSERT INTO profiles (_id, custom_name, profile_id, name, ieq_amount, "
                          "ieq_enable, volume_modeler_enable, custom_drc_metadata) VALUES "
                          "(1, 'default', '0', 'P', '4,', '1,05,', '', '-0,'),"
                          "(2, 'custom', '0', 'P', '4,0,', ' 7 ,x,', '3,', '1,2,')"));
    Profile profile(0, "", PRESET_OFF);
    db->queryProfileValue("0", "custom", &profile);
    EXPECT_EQ((std::vector<int>{4, 0, 0}), profile.lookup(ieq_amount));  // a grown row
    profile.set(volume_modeler_enable, {3});           // replaced, even by an equal value
    profile.lookup(custom_drc_metadata).push_back(9);  // changed in place
    db->updateProfileValue(&profile, "custom");
    Row saved = rows("profiles", "custom_name='custom'").at(0);
    EXPECT_EQ("4,0,", cell(saved, "ieq_amount"));
    EXPECT_EQ(" 7 ,x,", cell(saved, "ieq_enable"));
    EXPECT_EQ("3,", cell(saved, "volume_modeler_enable"));
    EXPECT_EQ("1,2,0,9,", cell(saved, "custom_drc_metadata"));

    // A reset reads the default row: its texts are what the custom row gets.
    db->queryProfileValue("0", "default", &profile);
    db->updateProfileValue(&profile, "custom");
    saved = rows("profiles", "custom_name='custom'").at(0);
    EXPECT_EQ("4,", cell(saved, "ieq_amount"));
    EXPECT_EQ("1,05,", cell(saved, "ieq_enable"));
    EXPECT_EQ("", cell(saved, "volume_modeler_enable"));
    EXPECT_EQ("-0,", cell(saved, "custom_drc_metadata"));
    EXPECT_EQ("2", cell(saved, "_id"));
}

TEST_F(DatabaseHelperTest, ConfigurationRowsUpdatesAndOemClearing) {
    EXPECT_TRUE(db->queryPexStatus("State"));  // no row: on
    EXPECT_EQ("", db->querySelectedProfile("Profile"));
    db->insertConfigurationValue("State", "false");
    EXPECT_FALSE(db->queryPexStatus("State"));
    db->insertConfigurationValue("State", "true");
    EXPECT_TRUE(db->queryPexStatus("State"));  // the last row wins
    db->insertConfigurationValue("Profile", "0");
    for (const char* name : {"default", "oem", "custom"}) {
        Tuning tuning(name, ENDPOINT_SPEAKER, false);
        db->insertValue(&tuning, name);
        DeviceTuning device(name, "headphone", name);
        db->insertValue(&device, name);
    }

    StatementTrace trace(db->getConnection());
    db->updatePexStatus("State", false);
    db->updateSelectedProfile("Profile", "2");
    db->updateSelectedProfile("Profile", "2");  // holds it already: no UPDATE
    db->updateTuningDevice("usb", "dock");      // no such key: nothing is added
    EXPECT_EQ("", db->queryConfigurationValue("usb"));
    db->clearOemTunings();
    db->clearOemDeviceTunings();
    std::vector<std::string> written;  // the statements with their texts, not the bound checks
    for (const std::string& sql : trace.statements()) {
        if (sql.find('?') == std::string::npos) written.push_back(sql);
    }
    EXPECT_THAT(written, ElementsAre("UPDATE configuration SET value='false' WHERE key='State'",
                                     "UPDATE configuration SET value='2' WHERE key='Profile'",
                                     "SELECT value FROM configuration WHERE key='usb'",
                                     "DELETE from tunings WHERE custom_name = 'oem'",
                                     "DELETE from device_tunings WHERE custom_name = 'oem'"));
    EXPECT_FALSE(db->queryPexStatus("State"));
    EXPECT_EQ("2", db->querySelectedProfile("Profile"));
    EXPECT_EQ(3, db->getRowCount("configuration"));
    db->insertConfigurationValue("State", "maybe");  // neither word: changes nothing
    EXPECT_FALSE(db->queryPexStatus("State"));

    EXPECT_TRUE(logs.containsMessage(
        "Delete existing tuning with SQL [DELETE from tunings WHERE custom_name = 'oem']"));
    EXPECT_TRUE(
        logs.containsMessage("Delete existing device tuning with SQL [DELETE from "
                             "device_tunings WHERE custom_name = 'oem']"));
    EXPECT_EQ(2u, rows("tunings").size());
    EXPECT_EQ(2u, rows("device_tunings").size());
    EXPECT_TRUE(rows("device_tunings", "custom_name='oem'").empty());
}

TEST_F(DatabaseHelperTest, FailuresAreReportedWithTheirMessages) {
    EXPECT_EQ(1, db->execSQL("no statement"));
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_DEBUG, "failed to prepare SQL : no statement"));
    EXPECT_EQ(1, db->execSQL("COMMIT"));  // prepares, fails when run
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_ERROR, "failed to exec SQL: COMMIT"));
    db->insertValue(static_cast<IeqPreset*>(nullptr), "default");
    EXPECT_TRUE(logs.contains(kTag, ANDROID_LOG_ERROR, "invalide value"));

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
    EXPECT_TRUE(
        loggedWithPrefix("failed to prepare sql: SELECT * FROM ieq_presets WHERE "
                         "preset_type='off' AND custom_name='default', ret = 1, line "));
    Tuning tuning("x", ENDPOINT_SPEAKER, false);
    db->queryTuning("x", &tuning);
    EXPECT_TRUE(
        loggedWithPrefix("failed to prepare sql: SELECT * FROM tunings WHERE name='x', "
                         "line "));
}

TEST_F(DatabaseHelperTest, TransactionsRollBackUnlessCommittedJoinAndReportTheirCause) {
    {
        Transaction transaction(*db);
        ASSERT_EQ(0, transaction.status());
        db->insertConfigurationValue("lost", "1");
    }
    {
        Transaction outer(*db);
        db->insertConfigurationValue("kept", "1");
        {
            Transaction inner(*db);  // joins: its commit leaves the outer one open
            EXPECT_TRUE(inner.isJoined());
            db->insertConfigurationValue("joined", "1");
            EXPECT_EQ(0, inner.commit());
            EXPECT_TRUE(db->inTransaction());
        }
        EXPECT_EQ(0, outer.commit());
    }
    EXPECT_EQ("", db->queryConfigurationValue("lost"));
    EXPECT_EQ("1", db->queryConfigurationValue("kept"));
    EXPECT_EQ("1", db->queryConfigurationValue("joined"));

    // A full disk: the first failure is logged, the statements after it do not run, and the
    // commit rolls everything back and names the cause.
    const std::string pages = SecondConnection(root.hostPath(kDbFile))
                                  .query("PRAGMA page_count")
                                  .at(0)
                                  .begin()
                                  ->second.value();
    ASSERT_EQ(SQLITE_OK,
              sqlite3_exec(db->getConnection(), ("PRAGMA max_page_count=" + pages).c_str(), nullptr,
                           nullptr, nullptr));
    {
        Transaction transaction(*db);
        db->execSQL("DELETE FROM configuration");
        db->insertConfigurationValue("big", std::string(20000, 'x'));
        db->insertConfigurationValue("after", "1");
        EXPECT_EQ(-ENOSPC, transaction.commit());
        EXPECT_EQ(-ENOSPC, db->getLastError());
    }
    EXPECT_FALSE(db->inTransaction());
    size_t failureLines = 0;
    for (const auto& line : logs.lines())
        failureLines += line.message.rfind("failed to exec", 0) == 0;
    EXPECT_EQ(1u, failureLines);
    EXPECT_EQ("1", db->queryConfigurationValue("kept"));

    // Another connection holds the lock: BEGIN fails with -EBUSY, and nothing is written.
    DatabaseHelper::setBusyTimeout(10);
    DatabaseHelper second("kiv_sqlite3.db");
    DatabaseHelper::setBusyTimeout(1000);
    SecondConnection writer(root.hostPath(kDbFile), /*readOnly=*/false);
    ASSERT_EQ(SQLITE_OK, writer.exec("BEGIN IMMEDIATE"));
    {
        Transaction transaction(second);
        EXPECT_EQ(-EBUSY, transaction.status());
        EXPECT_EQ(-EBUSY, transaction.commit());
    }
    writer.exec("ROLLBACK");
}

}  // namespace
}  // namespace velora
