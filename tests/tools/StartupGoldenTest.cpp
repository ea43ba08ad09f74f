/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// Start-up, first on a fresh root and again over the database the first start left, must
// leave exactly the stored rows, the answers and the effect parameters recorded in
// tests/data/golden: whatever makes start-up cheaper must not change what it produces. The
// example is kept as its full text, so that a difference shows as a diff; the 16-fold file
// as the hash of its text.
//
// To look at a difference: the text of every failing case is written next to the test
// binary as startup-<case>.actual. VELORA_WRITE_GOLDEN=1 writes the goldens into the source
// tree instead (only when the change in what start-up produces is intended).

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ServiceTestSupport.h"
#include "bench/TuningFileGenerator.h"
#include "common/SystemPaths.h"
#include "context/KsContextManager.h"
#include "service/ParameterAdapter.h"
#include "service/VeloraManagerService.h"
#include "store/Provider.h"
#include "testutil/TempRoot.h"
#include "tools/velora-inspect/InspectDb.h"
#include "tools/velora-inspect/InspectEffect.h"

namespace velora {
namespace {

using testing::Bytes;
using testing::CallbackLog;
using testing::TempRoot;
using testing::words_to_bytes;

// Both files get this modification time: it is the signature the database stores.
constexpr long kFileTime = 1700000000;

std::string read_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void write_bytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

uint64_t fnv1a(const std::string& text) {
    uint64_t hash = 1469598103934665603ULL;
    for (unsigned char c : text) {
        hash ^= c;
        hash *= 1099511628211ULL;
    }
    return hash;
}

std::string database_path() {
    return SystemPaths::resolve(std::string(SystemPaths::kDatabaseDir) +
                                Provider::kDatabaseFileName);
}

std::string inspect(int (*run)(const std::vector<std::string>&, std::ostream&, std::ostream&),
                    const std::vector<std::string>& args) {
    std::ostringstream out;
    std::ostringstream err;
    EXPECT_EQ(run(args, out, err), 0) << err.str();
    return out.str();
}

// The effect's published parameters, without the file's path and commit count (they depend
// on the root and on what the process committed before).
std::string effect_dump(const TempRoot& root) {
    std::istringstream in(inspect(inspect::inspect_effect, {"--root", root.path()}));
    std::string text;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("file=", 0) == 0 || line.rfind("generation=", 0) == 0) continue;
        text += line + "\n";
    }
    return text;
}

// The stored rows as velora-inspect prints them (sorted by copy and keys, each value as its
// text), without the heading that names the file under a temporary root.
std::string database_dump() {
    std::string text = inspect(inspect::inspect_db, {database_path()});
    return "[database]\n" + text.substr(text.find('\n') + 1);
}

// Where the rows are in the file. Records of one kind are written in the order of their
// addresses, which differs from run to run, so the order of those rows is not recorded; what
// holds for every order is: _id counts the rows of its table in the order they were written,
// and the user's copy of a profile, endpoint or equalizer preset follows its default row.
// The configuration rows come in a fixed order, which is recorded.
std::string row_order() {
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open_v2(database_path().c_str(), &db, SQLITE_OPEN_READONLY, nullptr),
              SQLITE_OK);
    std::string text = "[configuration in written order]\n";
    auto each_row = [db](const std::string& sql, const std::function<void(sqlite3_stmt*)>& row) {
        sqlite3_stmt* statement = nullptr;
        ASSERT_EQ(sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr), SQLITE_OK) << sql;
        while (sqlite3_step(statement) == SQLITE_ROW) row(statement);
        sqlite3_finalize(statement);
    };
    auto column = [](sqlite3_stmt* statement, int i) {
        const unsigned char* value = sqlite3_column_text(statement, i);
        return value == nullptr ? std::string("NULL") : reinterpret_cast<const char*>(value);
    };
    each_row("SELECT _id, key FROM configuration ORDER BY rowid", [&](sqlite3_stmt* row) {
        text += "  " + column(row, 0) + " " + column(row, 1) + "\n";
    });
    const std::vector<std::pair<std::string, std::string>> tables = {
        {"ieq_presets", ""},
        {"geq_presets", "profile_id"},
        {"profiles", "profile_id"},
        {"profile_endpoints", "profile_id || '/' || endpoint"},
        {"tunings", ""},
        {"device_tunings", ""},
    };
    for (const auto& [table, key] : tables) {
        long long expected = 1;
        std::string defaultKey;
        each_row("SELECT _id, custom_name, " + (key.empty() ? "''" : key) + " FROM " + table +
                     " ORDER BY rowid",
                 [&](sqlite3_stmt* row) {
                     EXPECT_EQ(sqlite3_column_int64(row, 0), expected++) << table;
                     if (key.empty()) return;
                     if (column(row, 1) == "default") {
                         EXPECT_EQ(defaultKey, "") << table << ": a default row without its copy";
                         defaultKey = column(row, 2);
                     } else {
                         EXPECT_EQ(column(row, 1), "custom") << table;
                         EXPECT_EQ(column(row, 2), defaultKey) << table;
                         defaultKey.clear();
                     }
                 });
    }
    sqlite3_close_v2(db);
    return text;
}

// What the service answers about every profile and port, and what the effect receives with
// the first change after start-up (which carries every loaded parameter).
std::string answers_and_effect(KsContextManager& manager, const TempRoot& root) {
    CallbackLog log;
    auto client = testing::make_recording_client(log);
    android::sp<android::VeloraManagerService> service =
        new android::VeloraManagerService(&manager);
    EXPECT_EQ(service->registerClient(client, 0, 1000), 0);
    EXPECT_TRUE(log.waitFor(1));

    std::ostringstream text;
    auto get = [&](const std::vector<int32_t>& words) {
        Bytes request = words_to_bytes(words);
        std::vector<int32_t> answer(512, 0x5A5A5A5A);
        EXPECT_EQ(service->getPexParam(request.data(), request.size(), answer.data(),
                                       answer.size() * sizeof(int32_t)),
                  0);
        size_t count = 0;
        while (count < answer.size() && answer[count] != 0x5A5A5A5A) ++count;
        answer.resize(count);
        return answer;
    };
    const int profiles = get({0x03000000})[0];
    const int selected = get({0x0A000000})[0];
    text << "[answers]\non=" << get({0x00000000})[0] << " profiles=" << profiles
         << " selected=" << selected << " mono=" << get({0x0D000000})[0] << "\n";
    for (int profile = 0; profile < profiles; ++profile) {
        text << "profile " << profile << " \"" << service->getProfileName(profile)
             << "\" modified=" << get({0x0B000000, profile})[0] << "\n";
        for (int id = ParameterAdapter::kFirstId + 1;
             id < ParameterAdapter::kFirstId + ParameterAdapter::kSlotCount; ++id) {
            text << "  " << id << ":";
            for (int32_t value : get({0x01000000, id, profile})) text << " " << value;
            text << "\n";
        }
    }
    for (int port = 0; port <= android::VeloraManagerService::kMaxPort; ++port) {
        std::vector<char> buffer(service->getAvailableTuningDevicesLen(port) + 1, '\0');
        service->getAvailableTuningDevices(port, buffer.data(), buffer.size());
        // The devices come in the order of their records' addresses: only the set counts.
        std::set<std::string> names;
        for (const char* name = buffer.data(); *name != '\0'; name += strlen(name) + 1) {
            names.insert(name);
        }
        text << "port " << port << " selected=" << service->getSelectedTuningDevice(port)
             << " available:";
        for (const std::string& name : names) text << " " << name;
        text << "\n";
    }

    // A change of the selected profile's intelligent-equalizer amount.
    const int32_t amount = get({0x01000000, 107, selected})[0] == 4 ? 12 : 4;
    Bytes change = words_to_bytes({0x01000000, 0, selected, 107, amount});
    EXPECT_EQ(service->setPexParam(change.data(), change.size()), 0);
    EXPECT_TRUE(log.waitFor(2));
    text << "\n[effect after one change]\n" << effect_dump(root);
    service.clear();
    return text.str();
}

struct GoldenCase {
    const char* name;
    int scale;
    bool hashed;  // the golden holds the hash of the text instead of the text
};

class StartupGoldenTest : public ::testing::TestWithParam<GoldenCase> {};

TEST_P(StartupGoldenTest, FirstAndLaterStartsProduceTheRecordedResults) {
    const GoldenCase& c = GetParam();
    const std::string source = TempRoot::sourceDir();
    bench::TuningFileGenerator generator(source + "/examples/multimedia_velora_kiv_default.xml");
    ASSERT_TRUE(generator.ok());

    TempRoot first;
    first.write(SystemPaths::kDefaultTuningFile, generator.generate(c.scale));
    first.install("examples/kiv-extra.xml", SystemPaths::kOemTuningFile);
    first.setMtime(SystemPaths::kDefaultTuningFile, kFileTime);
    first.setMtime(SystemPaths::kOemTuningFile, kFileTime);

    std::string database;
    std::string cold;
    {
        KsContextManager manager;
        ASSERT_NE(manager.getKsContext(), nullptr);
        database = read_bytes(database_path());
        cold = database_dump() + row_order();
        cold += answers_and_effect(manager, first);
    }

    // A later start over exactly the database the first start left (the first root's file
    // was saved into meanwhile).
    TempRoot again;
    again.write(SystemPaths::kDefaultTuningFile, generator.generate(c.scale));
    again.install("examples/kiv-extra.xml", SystemPaths::kOemTuningFile);
    again.setMtime(SystemPaths::kDefaultTuningFile, kFileTime);
    again.setMtime(SystemPaths::kOemTuningFile, kFileTime);
    write_bytes(database_path(), database);
    std::string warm;
    {
        KsContextManager manager;
        ASSERT_NE(manager.getKsContext(), nullptr);
        warm = database_dump() + row_order();
        warm += answers_and_effect(manager, again);
    }
    if (warm != cold) {
        write_bytes(std::string("startup-") + c.name + "-first.actual", cold);
        write_bytes(std::string("startup-") + c.name + "-later.actual", warm);
        ADD_FAILURE() << "a later start differs from the first: see startup-" << c.name
                      << "-first.actual and -later.actual";
    }

    char hash[32];
    snprintf(hash, sizeof(hash), "%016llx\n", static_cast<unsigned long long>(fnv1a(cold)));
    const std::string actual = c.hashed ? std::string(hash) : cold;
    const std::string goldenPath =
        source + "/tests/data/golden/startup-" + c.name + (c.hashed ? ".fnv1a" : ".txt");
    if (getenv("VELORA_WRITE_GOLDEN") != nullptr) {
        write_bytes(goldenPath, actual);
        return;
    }
    if (actual != read_bytes(goldenPath)) {
        const std::string actualPath = std::string("startup-") + c.name + ".actual";
        write_bytes(actualPath, cold);
        ADD_FAILURE() << "start-up differs from " << goldenPath << "; its text is in "
                      << actualPath;
    }
}

INSTANTIATE_TEST_SUITE_P(Scales, StartupGoldenTest,
                         ::testing::Values(GoldenCase{"example", 1, false},
                                           GoldenCase{"x16", 16, true}),
                         [](const ::testing::TestParamInfo<GoldenCase>& info) {
                             return std::string(info.param.name);
                         });

}  // namespace
}  // namespace velora
