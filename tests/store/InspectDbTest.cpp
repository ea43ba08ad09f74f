/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "store/DatabaseHelper.h"
#include "testutil/TempRoot.h"
#include "tools/velora-inspect/InspectDb.h"

namespace velora {
namespace {

using ::testing::HasSubstr;
using testing::TempRoot;

const std::string kFolder = "/data/vendor/velora/";

struct Result {
    int status;
    std::string out, err;
};

Result run(const std::vector<std::string>& args) {
    std::ostringstream out, err;
    int status = inspect::inspect_db(args, out, err);
    return {status, out.str(), err.str()};
}

// The same settings, written in the order given or in the reverse order.
void write_settings(const std::string& name, bool reversed) {
    DatabaseHelper db(name);
    ASSERT_EQ(0, db.init());
    Profile movie(1, "Movie", PRESET_WARM);
    movie.set(ieq_amount, {5});
    Profile dynamic(0, "Dynamic", PRESET_OFF);
    dynamic.set(ieq_amount, {2});
    ProfileEndpoint speaker(0, ENDPOINT_SPEAKER);
    ProfileEndpoint headphone(0, ENDPOINT_HEADPHONE);
    DeviceTuning a("default_headphone", "headphone", "hp");
    DeviceTuning b("studio", "headphone", "hp");
    std::vector<std::function<void()>> writes = {
        [&] { db.insertValue(&dynamic, "custom", -1); },
        [&] { db.insertValue(&movie, "custom", -1); },
        [&] { db.insertValue(&dynamic, "default", -1); },
        [&] { db.insertValue(&speaker, "custom", -1); },
        [&] { db.insertValue(&headphone, "custom", -1); },
        [&] { db.insertValue(&b, "oem"); },
        [&] { db.insertValue(&a, "default"); },
        [&] { db.insertConfigurationValue("signature", "1700000000"); },
        [&] { db.insertConfigurationValue("State", "true"); },
    };
    if (reversed) std::reverse(writes.begin(), writes.end());
    for (const auto& write : writes) write();
}

class InspectDbTest : public ::testing::Test {
  protected:
    std::string path(const std::string& file) const { return root.hostPath(kFolder + file); }
    TempRoot root;
};

TEST_F(InspectDbTest, PrintsTheTablesSortedByCopyAndKeysWhateverTheWritingOrder) {
    write_settings("first.db", /*reversed=*/false);
    write_settings("second.db", /*reversed=*/true);
    Result result = run({path("first.db")});
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_THAT(result.out, HasSubstr("[configuration] 2 rows\n"
                                      "  State = true\n"
                                      "  signature = 1700000000\n\n"));
    EXPECT_THAT(result.out, HasSubstr("[profiles] 3 rows\n"
                                      "  custom profile_id=0\n"
                                      "    name = Dynamic\n"
                                      "    selected_ieq_preset_type = off\n"
                                      "    selected_geq_preset_id = 0\n"
                                      "    custom_drc_metadata = NULL\n"
                                      "    ieq_amount = 2,\n"));
    EXPECT_LT(result.out.find("custom profile_id=1\n"), result.out.find("default profile_id=0\n"));
    EXPECT_LT(result.out.find("custom profile_id=0 endpoint=speaker"),
              result.out.find("custom profile_id=0 endpoint=headphone"));
    EXPECT_THAT(result.out, HasSubstr("[device_tunings] 2 rows\n"
                                      "  default port=headphone device=default_headphone\n"
                                      "    tuning_id = hp\n"
                                      "  oem port=headphone device=studio\n"
                                      "    tuning_id = hp\n\n"));

    Result second = run({path("second.db")});
    auto body = [](const std::string& text) { return text.substr(text.find('\n')); };
    EXPECT_EQ(body(result.out), body(second.out));

    // A key stored twice shows both rows, in the order written.
    DatabaseHelper("first.db").insertConfigurationValue("State", "false");
    EXPECT_THAT(run({path("first.db")}).out, HasSubstr("  State = true\n  State = false\n"));
}

TEST_F(InspectDbTest, RefusesWhatIsNotASettingsDatabaseWithoutCreatingAnything) {
    Result result = run({path("missing.db")});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("velora-inspect db: " + path("missing.db") + ": No such file or directory\n",
              result.err);
    EXPECT_FALSE(std::filesystem::exists(path("missing.db")));

    std::ofstream(path("notes.txt")) << "no database, though long enough for a header page\n";
    result = run({path("notes.txt")});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr(path("notes.txt") +
                                      " is damaged (file is not a database); the service moves "
                                      "it aside and rebuilds it at its next start"));
    EXPECT_EQ("", result.out);

    DatabaseHelper("other.db").createTable(TABLE_CONFIGURATION);
    EXPECT_THAT(run({path("other.db")}).err,
                HasSubstr("is damaged (tables ieq_presets, geq_presets, profiles, "
                          "profile_endpoints, tunings, device_tunings are missing)"));
    EXPECT_EQ(2, run({}).status);  // usage
}

}  // namespace
}  // namespace velora
