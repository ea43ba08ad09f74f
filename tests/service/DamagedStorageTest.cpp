/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ServiceTestSupport.h"
#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "context/KsContextManager.h"
#include "model/Profile.h"
#include "service/VeloraManagerService.h"
#include "store/DatabaseHelper.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

namespace fs = std::filesystem;
using testing::LogCapture;
using testing::TempRoot;

// What the user confirmed before the damage, one bit each.
enum Kept : unsigned {
    kState = 1u << 0,          // the effect switched off
    kProfile = 1u << 1,        // profile 2 selected
    kDevice = 1u << 2,         // usb_c_earphones on the usb port
    kProfileValue = 1u << 3,   // ieq_amount of profile 1
    kEndpointValue = 1u << 4,  // dialog_enhancer_amount of profile 1 on headphones
    kEverything = 0x1f,
};

constexpr const char* kUserDevice = "usb_c_earphones";
const std::vector<int> kUserIeqAmount = {3};
const std::vector<int> kUserDialogAmount = {9};

// An SQLite connection of another process's kind to the settings database.
class OtherConnection {
  public:
    explicit OtherConnection(const std::string& path) { sqlite3_open(path.c_str(), &mDb); }
    ~OtherConnection() { sqlite3_close_v2(mDb); }
    int exec(const std::string& sql) {
        return sqlite3_exec(mDb, sql.c_str(), nullptr, nullptr, nullptr);
    }

  private:
    sqlite3* mDb = nullptr;
};

// Takes away the current thread's (and its future threads') power to ignore file modes, so
// that read-only files and folders are read-only also when the tests run as root.
class FileModesEnforced {
  public:
    FileModesEnforced() {
        mHeader.version = _LINUX_CAPABILITY_VERSION_3;
        if (syscall(SYS_capget, &mHeader, mSaved) != 0) return;
        __user_cap_data_struct lowered[2] = {mSaved[0], mSaved[1]};
        lowered[0].effective &=
            ~((1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH) | (1u << CAP_FOWNER));
        mLowered = syscall(SYS_capset, &mHeader, lowered) == 0;
    }
    ~FileModesEnforced() {
        if (mLowered) syscall(SYS_capset, &mHeader, mSaved);
    }

  private:
    __user_cap_header_struct mHeader{};
    __user_cap_data_struct mSaved[2]{};
    bool mLowered = false;
};

struct DamageCase {
    const char* name;
    // Damages the files of root after the user's settings were saved; may return an object
    // that keeps its effect (a lock, lowered file access) until the service serves.
    std::function<std::shared_ptr<void>(TempRoot& root, const std::string& db)> damage;
    unsigned kept;
    // Text that a warning or error line of the start-up holds.
    const char* said;
    bool movedAside;
    // The damage keeps the first client from starting the service; it goes away before the
    // next client arrives.
    bool heldAtStart = false;
    // Saves fail once the service serves: the saves that follow are tried and reported.
    bool savesFail = false;
    // Another process takes the lock after the start-up and holds it while the user's next
    // change is saved, then lets go: the save that follows keeps the change.
    bool lockedDuringSave = false;
};

void PrintTo(const DamageCase& damage, std::ostream* out) { *out << damage.name; }

std::shared_ptr<void> nothing() { return nullptr; }

size_t linesStartingWith(const LogCapture& log, const std::string& start) {
    size_t count = 0;
    for (const testing::LogLine& line : log.lines()) count += line.message.rfind(start, 0) == 0;
    return count;
}

void write_bytes(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
}

void run_sql(const std::string& db, const std::string& sql) {
    OtherConnection connection(db);
    ASSERT_EQ(connection.exec(sql), SQLITE_OK) << sql;
}

const DamageCase kCases[] = {
    {"ZeroBytes",
     [](TempRoot&, const std::string& db) {
         fs::resize_file(db, 0);
         return nothing();
     },
     0, "holds no settings, it is built from the tuning file", false},
    {"RandomBytes",
     [](TempRoot&, const std::string& db) {
         std::mt19937 random(13);
         std::string bytes(size_t(fs::file_size(db)), '\0');
         for (char& byte : bytes) byte = static_cast<char>(random());
         write_bytes(db, bytes);
         return nothing();
     },
     0, "(file is not a database)", true},
    {"Truncated",
     [](TempRoot&, const std::string& db) {
         fs::resize_file(db, fs::file_size(db) / 2);
         return nothing();
     },
     kEverything & ~kEndpointValue, "(database disk image is malformed)", true},
    {"CorruptPageAfterCutOffWrite",
     [](TempRoot&, const std::string& db) {
         // The profile endpoints' page overwritten, and the journal of a write that was cut
         // off left beside it.
         std::fstream file(db, std::ios::in | std::ios::out | std::ios::binary);
         file.seekp(5 * 4096 + 16);
         file << std::string(2048, '\x5a');
         write_bytes(db + "-journal", std::string(512, '\0'));
         return nothing();
     },
     kEverything & ~kEndpointValue, "(its page check says: ", true},
    {"ForeignSchema",
     [](TempRoot&, const std::string& db) {
         fs::remove(db);
         run_sql(db, "CREATE TABLE notes (title TEXT, body TEXT)");
         return nothing();
     },
     0, "(it holds none of the settings tables, but notes)", true},
    {"ProfilesDropped",
     [](TempRoot&, const std::string& db) {
         run_sql(db, "DROP TABLE profiles");
         return nothing();
     },
     kEverything & ~kProfileValue, "(table profiles is missing)", true},
    {"ProfilesEmptied",
     [](TempRoot&, const std::string& db) {
         run_sql(db, "DELETE FROM profiles");
         return nothing();
     },
     kEverything & ~kProfileValue, "(table profiles holds no default rows)", true},
    {"TuningsDropped",
     [](TempRoot&, const std::string& db) {
         run_sql(db, "DROP TABLE tunings");
         return nothing();
     },
     kEverything, "(table tunings is missing)", true},
    {"DeviceTuningsDropped",
     [](TempRoot&, const std::string& db) {
         run_sql(db, "DROP TABLE device_tunings");
         return nothing();
     },
     kEverything, "(table device_tunings is missing)", true},
    {"OtherColumns",
     [](TempRoot&, const std::string& db) {
         run_sql(db, "ALTER TABLE geq_presets ADD COLUMN extra TEXT");
         return nothing();
     },
     kEverything, "(table geq_presets has other columns)", true},
    {"UnknownDeviceInConfiguration",
     [](TempRoot&, const std::string& db) {
         run_sql(db, "UPDATE configuration SET value='gone_device' WHERE key='usb'");
         return nothing();
     },
     kEverything & ~kDevice,
     "Current selected tuning dev[gone_device] is not available for port[usb], revert to use "
     "dev[default_usb].",
     false},
    {"FolderInPlace",
     [](TempRoot&, const std::string& db) {
         fs::remove(db);
         fs::create_directory(db);
         return nothing();
     },
     0, "(it is a folder)", true},
    {"DanglingSymlinkInPlace",
     [](TempRoot& root, const std::string& db) {
         fs::remove(db);
         fs::create_symlink(root.path() + "/no/such/folder/kiv_sqlite3.db", db);
         return nothing();
     },
     0, "(it is a symbolic link to nothing", true},
    {"LockHeldAtFirstStart",
     [](TempRoot&, const std::string& db) {
         auto lock = std::make_shared<OtherConnection>(db);
         EXPECT_EQ(lock->exec("BEGIN EXCLUSIVE"), SQLITE_OK);
         return std::shared_ptr<void>(lock);
     },
     kEverything, "is locked by another process; start-up is tried again with the next client",
     false, true},
    {"LockHeldDuringSave", [](TempRoot&, const std::string&) { return nothing(); }, kEverything,
     nullptr, false, false, true, true},
    {"ReadOnlyFile",
     [](TempRoot&, const std::string& db) {
         fs::permissions(db, fs::perms::owner_read);
         auto enforced = std::make_shared<FileModesEnforced>();
         EXPECT_FALSE(std::ofstream(db, std::ios::app).is_open());
         return std::shared_ptr<void>(enforced);
     },
     kEverything, nullptr, false, false, true},
    {"ReadOnlyFolder",
     [](TempRoot&, const std::string& db) {
         fs::permissions(fs::path(db).parent_path(), fs::perms::owner_read | fs::perms::owner_exec);
         auto enforced = std::make_shared<FileModesEnforced>();
         EXPECT_FALSE(std::ofstream(db + "-journal").is_open());
         return std::shared_ptr<void>(enforced);
     },
     kEverything, nullptr, false, false, true},
};

class DamagedStorageTest : public ::testing::TestWithParam<DamageCase> {
  protected:
    void SetUp() override {
        DatabaseHelper::setBusyTimeout(20);
        mRoot.install("examples/multimedia_velora_kiv_default.xml",
                      SystemPaths::kDefaultTuningFile);
        mDb = mRoot.hostPath(SystemPaths::kDatabaseDir) + "kiv_sqlite3.db";
        KsContextManager manager;
        KsContext& context = *manager.getKsContext();
        mDefaultIeqAmount = context.getProfileParameter(1, ieq_amount);
        mDefaultDialogAmount =
            context.getProfileParameter(1, ENDPOINT_HEADPHONE, dialog_enhancer_amount);
        ASSERT_NE(mDefaultIeqAmount[0], kUserIeqAmount[0]);
        ASSERT_NE(mDefaultDialogAmount[0], kUserDialogAmount[0]);
        context.setPexOn(false);
        context.setSelectedProfile(2);
        ASSERT_TRUE(context.setSelectedTuning(PORT_USB, kUserDevice, false));
        context.setProfileParameter(1, ieq_amount, kUserIeqAmount);
        context.setProfileParameter(1, ENDPOINT_HEADPHONE, dialog_enhancer_amount,
                                    kUserDialogAmount);
        context.save();
    }

    void TearDown() override {
        fs::permissions(fs::path(mDb).parent_path(), fs::perms::owner_all);
        DatabaseHelper::setBusyTimeout(1000);
    }

    // Whether the running state holds the user's value (true) or the default (false); fails
    // the test when it holds neither.
    void expectKept(KsContext& context, unsigned kept) {
        EXPECT_EQ(context.getPexOn(), (kept & kState) == 0);
        EXPECT_EQ(context.getSelectedProfile()->getProfileId(), (kept & kProfile) ? 2 : 0);
        EXPECT_EQ(context.getSelectedTuningDevice(PORT_USB),
                  (kept & kDevice) ? kUserDevice : "default_usb");
        EXPECT_EQ(context.getProfileParameter(1, ieq_amount)[0],
                  ((kept & kProfileValue) ? kUserIeqAmount : mDefaultIeqAmount)[0]);
        EXPECT_EQ(context.getProfileParameter(1, ENDPOINT_HEADPHONE, dialog_enhancer_amount)[0],
                  ((kept & kEndpointValue) ? kUserDialogAmount : mDefaultDialogAmount)[0]);
        for (Port port : KsContext::kSupportedPorts) {
            EXPECT_NE(context.getSelectedTuning(port), nullptr) << kPortNames[port];
        }
    }

    static std::string dumpOf(android::VeloraManagerService& service) {
        const int fd = memfd_create("dump", 0);
        service.dump(fd, {});
        std::string text(4096, '\0');
        text.resize(std::max<ssize_t>(0, pread(fd, text.data(), text.size(), 0)));
        close(fd);
        return text;
    }

    // The user switches the effect on again; its save fails, and so do the retries on the save
    // delay, which say nothing more. With the lock case the other process then lets go.
    void expectFailedSavesRetried(android::VeloraManagerService& service,
                                  const android::sp<testing::MockKptCallbacks>& client,
                                  testing::CallbackLog& callbacks, const LogCapture& log,
                                  std::shared_ptr<void>& effect) {
        const DamageCase& damage = GetParam();
        if (damage.lockedDuringSave) {
            auto lock = std::make_shared<OtherConnection>(mDb);
            ASSERT_EQ(lock->exec("BEGIN EXCLUSIVE"), SQLITE_OK);
            effect = lock;
        }
        const testing::Bytes on = testing::words_to_bytes({0, 0, 1});
        const size_t answered = callbacks.count();
        ASSERT_EQ(service.setPexParam(on.data(), on.size()), 0);
        ASSERT_TRUE(callbacks.waitFor(answered + 1));
        EXPECT_LT(service.unregisterClient(client, 0, 1000), 0);
        ASSERT_TRUE(service.waitForSaves(service.getEndedSaveCount() + 3, false, 10000));
        EXPECT_NE(dumpOf(service).find("last save failed at "), std::string::npos);
        // At most the first timed save and the unregistration's (a save point, which always says).
        EXPECT_LE(linesStartingWith(log, "save(): settings not saved"), 2u);
        if (damage.lockedDuringSave) {
            effect.reset();
            ASSERT_TRUE(service.waitForSaves(0, true, 10000));
            EXPECT_EQ(dumpOf(service).find("last save failed"), std::string::npos);
            EXPECT_EQ(linesStartingWith(log, "settings saved after "), 1u);
            KsContextManager restarted;
            EXPECT_TRUE(restarted.getKsContext()->getPexOn());
        }
    }

    size_t asideCopies() const {
        size_t count = 0;
        for (const auto& entry : fs::directory_iterator(fs::path(mDb).parent_path())) {
            std::string name = entry.path().filename().string();
            if (name.find("kiv_sqlite3.db.damaged-") == 0 &&
                name.find("-journal") == std::string::npos) {
                ++count;
            }
        }
        return count;
    }

    TempRoot mRoot;
    std::string mDb;
    std::vector<int> mDefaultIeqAmount;
    std::vector<int> mDefaultDialogAmount;
};

TEST_P(DamagedStorageTest, ServesWithWhatTheFileStillHeldAndSaysWhatHappened) {
    const DamageCase& damage = GetParam();
    // Older copies of earlier damage: only the newest three stay.
    for (const char* old : {"20200101T000000Z", "20210101T000000Z", "20220101T000000Z"}) {
        write_bytes(mDb + ".damaged-" + old, "old");
    }
    std::shared_ptr<void> effect = damage.damage(mRoot, mDb);
    if (HasFatalFailure()) return;

    LogCapture log;
    KsContextManager manager;
    android::sp<android::VeloraManagerService> service =
        new android::VeloraManagerService(&manager);
    testing::CallbackLog callbacks;
    service->setSaveDelay(10);
    android::sp<testing::MockKptCallbacks> client = testing::make_recording_client(callbacks);
    ASSERT_EQ(service->registerClient(client, 0, 1000), 0);
    if (damage.heldAtStart) {
        EXPECT_FALSE(service->isInitialized());
        effect.reset();
        ASSERT_EQ(service->registerClient(testing::make_recording_client(callbacks), 0, 1001), 0);
    }
    ASSERT_TRUE(service->isInitialized()) << log.dump();
    const testing::Bytes request = {0, 0, 0, 3};
    int32_t profiles = 0;
    EXPECT_EQ(service->getPexParam(request.data(), request.size(), &profiles, sizeof(profiles)), 0);
    EXPECT_EQ(profiles, 4);
    expectKept(*manager.getKsContext(), damage.kept);

    size_t damageLines = 0;
    size_t storeErrors = 0;
    bool said = damage.said == nullptr;
    for (const testing::LogLine& line : log.lines()) {
        if (line.priority >= ANDROID_LOG_WARN && damage.said != nullptr &&
            line.message.find(damage.said) != std::string::npos) {
            said = true;
        }
        if (line.priority == ANDROID_LOG_ERROR &&
            line.message.find(" is damaged (") != std::string::npos) {
            ++damageLines;
        }
        // Damage is reported once, not by every statement that meets it. (A file without
        // tables has no signature to look up yet; that line is not about damage.)
        if (line.priority == ANDROID_LOG_ERROR && line.tag == "DatabaseHelper" &&
            line.message.find("key='signature'") == std::string::npos) {
            ++storeErrors;
        }
    }
    EXPECT_TRUE(said);
    EXPECT_EQ(damageLines, damage.movedAside ? 1u : 0u);
    EXPECT_EQ(storeErrors, 0u);
    EXPECT_EQ(asideCopies(), 3u);
    EXPECT_EQ(fs::exists(mDb + ".damaged-20200101T000000Z"), !damage.movedAside);
    if (damage.savesFail) expectFailedSavesRetried(*service, client, callbacks, log, effect);
    if (HasFailure()) ADD_FAILURE() << log.dump();
    effect.reset();
    service.clear();
}

INSTANTIATE_TEST_SUITE_P(Cases, DamagedStorageTest, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<DamageCase>& info) {
                             return std::string(info.param.name);
                         });

}  // namespace
}  // namespace velora
