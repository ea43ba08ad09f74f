/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "StoreTestSupport.h"
#include "store/DatabaseHelper.h"
#include "testutil/TempRoot.h"
#include "tools/velora-inspect/InspectDb.h"

namespace velora {
namespace {

using ::testing::HasSubstr;
using testing::TempRoot;

struct Result {
    int status;
    std::string out;
    std::string err;
};

Result run(const std::vector<std::string>& args) {
    std::ostringstream out;
    std::ostringstream err;
    int status = inspect::inspect_db(args, out, err);
    return {status, out.str(), err.str()};
}

// The same settings written into a database in one order or in another.
void write_settings(DatabaseHelper& db, bool reversed) {
    ASSERT_EQ(0, db.init());
    Profile movie(1, "Movie", PRESET_WARM);
    movie.set(ieq_amount, {5});
    Profile dynamic(0, "Dynamic", PRESET_OFF);
    dynamic.set(ieq_amount, {2});
    dynamic.set(ieq_enable, {1});
    ProfileEndpoint speaker(0, ENDPOINT_SPEAKER);
    speaker.set(peak_value, {1});
    ProfileEndpoint headphone(0, ENDPOINT_HEADPHONE);
    headphone.set(peak_value, {2});
    DeviceTuning a("default_headphone", "headphone", "hp");
    DeviceTuning b("studio", "headphone", "hp");
    std::vector<std::pair<std::string, std::string>> configuration = {
        {"signature", "1700000000"}, {"Profile", "0"}, {"State", "true"}};
    if (reversed) {
        std::reverse(configuration.begin(), configuration.end());
        db.insertValue(&b, "oem");
        db.insertValue(&a, "default");
        db.insertValue(&headphone, "custom", -1);
        db.insertValue(&speaker, "custom", -1);
        db.insertValue(&dynamic, "default", -1);
        db.insertValue(&movie, "custom", -1);
        db.insertValue(&dynamic, "custom", -1);
    } else {
        db.insertValue(&dynamic, "custom", -1);
        db.insertValue(&movie, "custom", -1);
        db.insertValue(&dynamic, "default", -1);
        db.insertValue(&speaker, "custom", -1);
        db.insertValue(&headphone, "custom", -1);
        db.insertValue(&a, "default");
        db.insertValue(&b, "oem");
    }
    for (const auto& entry : configuration) db.insertConfigurationValue(entry.first, entry.second);
}

class InspectDbTest : public ::testing::Test {
  protected:
    std::string path(const std::string& name) const {
        return root.hostPath(std::string("/data/vendor/velora/") + name);
    }
    TempRoot root;
};

TEST_F(InspectDbTest, PrintsTheTablesSortedByCopyAndKeys) {
    {
        DatabaseHelper db("kiv_sqlite3.db");
        write_settings(db, /*reversed=*/false);
    }
    Result result = run({path("kiv_sqlite3.db")});
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_EQ("", result.err);
    EXPECT_THAT(result.out, HasSubstr("[configuration] 3 rows\n"
                                      "  Profile = 0\n"
                                      "  State = true\n"
                                      "  signature = 1700000000\n\n"));
    EXPECT_THAT(result.out, HasSubstr("[profiles] 3 rows\n"
                                      "  custom profile_id=0\n"
                                      "    name = Dynamic\n"
                                      "    selected_ieq_preset_type = off\n"
                                      "    selected_geq_preset_id = 0\n"
                                      "    custom_drc_metadata = NULL\n"
                                      "    ieq_amount = 2,\n"
                                      "    ieq_enable = 1,\n"));
    EXPECT_THAT(result.out, HasSubstr("  custom profile_id=1\n    name = Movie\n"));
    EXPECT_THAT(result.out, HasSubstr("  default profile_id=0\n    name = Dynamic\n"));
    // Endpoints in their own order, speaker before headphone.
    EXPECT_LT(result.out.find("custom profile_id=0 endpoint=speaker"),
              result.out.find("custom profile_id=0 endpoint=headphone"));
    EXPECT_THAT(result.out, HasSubstr("[device_tunings] 2 rows\n"
                                      "  default port=headphone device=default_headphone\n"
                                      "    tuning_id = hp\n"
                                      "  oem port=headphone device=studio\n"
                                      "    tuning_id = hp\n\n"));
    EXPECT_THAT(result.out, HasSubstr("[tunings] 0 rows\n"));
}

TEST_F(InspectDbTest, SameSettingsWrittenInAnotherOrderPrintTheSameText) {
    {
        DatabaseHelper first("first.db");
        write_settings(first, /*reversed=*/false);
        DatabaseHelper second("second.db");
        write_settings(second, /*reversed=*/true);
    }
    Result first = run({path("first.db")});
    Result second = run({path("second.db")});
    ASSERT_EQ(0, first.status);
    ASSERT_EQ(0, second.status);
    auto body = [](const std::string& text) { return text.substr(text.find('\n')); };
    EXPECT_EQ(body(first.out), body(second.out));
}

TEST_F(InspectDbTest, KeyStoredTwiceShowsBothInTheOrderWritten) {
    {
        DatabaseHelper db("kiv_sqlite3.db");
        ASSERT_EQ(0, db.init());
        db.insertConfigurationValue("State", "true");
        db.insertConfigurationValue("Profile", "1");
        db.insertConfigurationValue("State", "false");
    }
    Result result = run({path("kiv_sqlite3.db")});
    EXPECT_THAT(result.out, HasSubstr("  Profile = 1\n  State = true\n  State = false\n"));
}

TEST_F(InspectDbTest, RefusesWhatIsNotASettingsDatabase) {
    std::string missing = path("missing.db");
    Result result = run({missing});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("velora-inspect db: " + missing + ": no such file\n", result.err);
    EXPECT_FALSE(std::filesystem::exists(missing));

    std::string text = path("notes.txt");
    std::ofstream(text) << "this is no database, but it is long enough to have a header page\n";
    result = run({text});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr(text + " is not a settings database: "));
    EXPECT_EQ("", result.out);

    {
        DatabaseHelper db("other.db");
        db.createTable(TABLE_CONFIGURATION);
    }
    result = run({path("other.db")});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err,
                HasSubstr("is not a settings database: missing tables ieq_presets, geq_presets, "
                          "profiles, profile_endpoints, tunings, device_tunings"));

    EXPECT_EQ(1, run({root.hostPath("/data/vendor/velora")}).status);
    EXPECT_EQ(2, run({}).status);
    EXPECT_EQ(2, run({"a", "b"}).status);
}

}  // namespace
}  // namespace velora
