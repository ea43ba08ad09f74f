/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// A settings database that lived through crashes, hand edits or another version of the
// service: the input is a list of rows over the real schema, every text column holding
// whatever bytes the input gives. The start-up's check examines it (page check included) and
// reads what a rebuild would carry over; the store and the current state load it, the effect
// controller receives the loaded state as after a start, and the state is saved. Then what was
// read for the carry-over is written into a database freshly built from the example tuning
// file, which is loaded in turn, as the start-up does with a damaged file.
//
// Input: rows separated by 0x1E, fields by 0x1F; the first field names the table, the others
// fill its columns in order (missing ones NULL, extra ones dropped); a field holding only 0x1D
// is NULL. That is what `sqlite3 -separator $'\x1f' -newline $'\x1e'` prints for
// "SELECT 'table', * FROM table", so a real database gives a seed directly.
#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "common/FuzzSupport.h"
#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "context/KsContextChangeObservable.h"
#include "effect/PexController.h"
#include "effect/PexEffect.h"
#include "model/AndroidDevice.h"
#include "store/DatabaseCheck.h"
#include "store/DatabaseHelper.h"
#include "store/Provider.h"
#include "store/SettingsCarryOver.h"
#include "store/TableType.h"
#include "tuning/TuningFileParser.h"

using velora::fuzz::process_root;
using velora::testing::TempRoot;

namespace {

constexpr char kRowSeparator = '\x1e';
constexpr char kFieldSeparator = '\x1f';
const std::string kNull("\x1d");

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    size_t start = 0;
    for (;;) {
        size_t end = text.find(separator, start);
        pieces.push_back(text.substr(start, end == std::string::npos ? end : end - start));
        if (end == std::string::npos) return pieces;
        start = end + 1;
    }
}

int table_of(const std::string& name) {
    for (int type = 0; type < velora::kTableCount; ++type) {
        if (name == velora::DatabaseHelper::kTableNames[type]) return type;
    }
    return -1;
}

void insert_rows(const std::string& path, const std::string& input) {
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
        sqlite3_close_v2(db);
        return;
    }
    sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    for (const std::string& row : split(input, kRowSeparator)) {
        std::vector<std::string> fields = split(row, kFieldSeparator);
        int type = table_of(fields[0]);
        if (type < 0) continue;
        size_t columns =
            velora::DatabaseHelper::getColumnNames(static_cast<velora::TableType>(type)).size();
        std::string sql =
            std::string("INSERT INTO ") + velora::DatabaseHelper::kTableNames[type] + " VALUES(?";
        for (size_t i = 1; i < columns; ++i) sql += ",?";
        sql += ")";
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK) {
            for (size_t i = 0; i < columns && i + 1 < fields.size(); ++i) {
                const std::string& value = fields[i + 1];
                if (value == kNull) continue;
                sqlite3_bind_text(statement, static_cast<int>(i + 1), value.data(),
                                  static_cast<int>(value.size()), SQLITE_TRANSIENT);
            }
            sqlite3_step(statement);
        }
        sqlite3_finalize(statement);
    }
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close_v2(db);
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The bytes of a database built from the example tuning file, made once.
const std::string& rebuilt_example(const std::string& database) {
    static const std::string* bytes = [&database] {
        process_root().remove(database);
        {
            velora::TuningFileParser parser;
            velora::Provider provider;
            if (parser.setTuningFile(TempRoot::sourceDir() +
                                     "/examples/multimedia_velora_kiv_default.xml") == 0 &&
                parser.getDeviceData() != nullptr) {
                provider.populate(*parser.getDeviceData());
            }
        }
        return new std::string(read_file(process_root().hostPath(database)));
    }();
    return *bytes;
}

void load_and_save() {
    velora::Provider provider;
    if (provider.init() != 0) return;
    velora::KsContextChangeObservable observable;
    velora::KsContext context(&provider, &observable);
    context.load();
    velora::PexEffect effect(0, "fuzz");
    velora::PexController controller(velora::DEVICE_OUT_SPEAKER, effect);
    context.registerObserver(&controller);
    context.save();
    context.unregisterObserver(&controller);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    TempRoot& fuzzRoot = process_root();
    const std::string database =
        std::string(velora::SystemPaths::kDatabaseDir) + velora::Provider::kDatabaseFileName;
    const std::string& rebuilt = rebuilt_example(database);
    fuzzRoot.remove(database);
    {
        velora::DatabaseHelper schema(velora::Provider::kDatabaseFileName);
        schema.init();
    }
    insert_rows(fuzzRoot.hostPath(database),
                std::string(reinterpret_cast<const char*>(data), size));

    velora::SettingsCarryOver carried;
    {
        velora::DatabaseHelper stored(velora::Provider::kDatabaseFileName);
        velora::DatabaseCheck::examine(stored, /*withPageCheck=*/true);
        carried.readFrom(stored);
    }
    load_and_save();

    fuzzRoot.remove(database);
    fuzzRoot.write(database, rebuilt);
    {
        velora::DatabaseHelper fresh(velora::Provider::kDatabaseFileName);
        fresh.beginTransaction();
        carried.applyTo(fresh);
        fresh.commitTransaction();
    }
    load_and_save();
    return 0;
}
