/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <grpcpp/grpcpp.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "common/SystemPaths.h"
#include "testutil/DaemonRoot.h"
#include "velora.grpc.pb.h"

#ifndef VELORAD_PATH
#error "VELORAD_PATH must name the velorad binary"
#endif
#ifndef VELORACTL_PATH
#error "VELORACTL_PATH must name the veloractl binary"
#endif

namespace velora::testing {
namespace {

using namespace std::chrono_literals;

constexpr auto kStartTimeout = 20s;
// Watchers register with uids above every process id (at most 2^22 on Linux): each veloractl
// command registers with its own pid as uid, and a pid that met a watcher's key (uid + type)
// would have its registration refused.
constexpr uint32_t kUidBase = 1u << 24;
constexpr auto kEventTimeout = 10s;

std::string hex_text(const std::string& text) {
    static const char kDigits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : text) {
        out += kDigits[c >> 4];
        out += kDigits[c & 0xf];
    }
    return out;
}

std::string bytes_of(const std::vector<int32_t>& words) {
    std::string bytes(words.size() * 4, '\0');
    std::memcpy(&bytes[0], words.data(), bytes.size());
    return bytes;
}

std::string hex(const std::vector<int32_t>& words) { return hex_text(bytes_of(words)); }

// velorad on a temporary root holding the example tuning files, with veloractl and a raw gRPC
// client to talk to it.
class VeloradTest : public ::testing::Test {
  protected:
    void TearDown() override {
        // Whatever a test did, the daemon still shuts down cleanly (and, in sanitizer builds,
        // without a report, which would change its exit status).
        if (mDaemon->running()) {
            EXPECT_EQ(0, stopDaemon()) << daemonLog();
        }
    }

    void startDaemon(const std::vector<std::string>& extra = {}) {
        ASSERT_TRUE(mDaemon->start(extra)) << daemonLog();
    }
    int stopDaemon(int sig = SIGTERM) { return mDaemon->stop(sig); }
    std::string daemonLog() const { return mDaemon->daemonLog(); }
    bool waitForLog(const std::string& text) { return mDaemon->waitForLog(text, kEventTimeout); }
    std::vector<std::string> ctlArgs(const std::vector<std::string>& args) const {
        return mDaemon->ctlArgs(args);
    }
    ToolResult ctl(const std::vector<std::string>& args) { return mDaemon->ctl(args); }
    TempRoot& root() { return mDaemon->root(); }
    const std::string& socket() const { return mDaemon->socket(); }

    // The "values" of a --json get or set, as text ("16" or "1,2,...").
    std::string values(const std::vector<std::string>& args) {
        ToolResult result = ctl(args);
        EXPECT_EQ(0, result.status) << result.err;
        return json_member(result.out, "values");
    }

    std::unique_ptr<rpc::VeloraManager::Stub> stub() const {
        return rpc::VeloraManager::NewStub(
            grpc::CreateChannel("unix:" + socket(), grpc::InsecureChannelCredentials()));
    }

    std::unique_ptr<DaemonRoot> mDaemon = std::make_unique<DaemonRoot>();
};

// A `veloractl watch --json` in the background.
class Watcher {
  public:
    Watcher(const std::vector<std::string>& args, const std::string& errPath) {
        EXPECT_TRUE(mProcess.start(args, errPath));
        std::string line;
        EXPECT_TRUE(mProcess.readLine(&line, kStartTimeout));
        EXPECT_EQ("registered", json_member(line, "event")) << line;
    }

    // The bytes of the next `count` callbacks that are changes (registrations of the
    // one-shot veloractl commands are skipped).
    std::vector<std::string> changes(size_t count) {
        std::vector<std::string> seen;
        std::string line;
        while (seen.size() < count && mProcess.readLine(&line, kEventTimeout)) {
            const std::string kind = json_member(line, "kind");
            if (kind == "register-request" || kind == "unregister-request") continue;
            // Every change names the profile and the port it concerns.
            EXPECT_FALSE(json_member(line, "profile").empty()) << line;
            EXPECT_FALSE(json_member(line, "port").empty()) << line;
            seen.push_back(json_member(line, "bytes"));
        }
        return seen;
    }

    ToolProcess& process() { return mProcess; }

  private:
    ToolProcess mProcess;
};

// velorad's command lines that end before it serves: exit status and first printed line.
TEST(VeloradCommandLineTest, HelpVersionAndMistakesEndAtOnce) {
    TempRoot root;
    const std::vector<std::pair<std::vector<std::string>, std::pair<int, std::string>>> lines = {
        {{"--help"}, {0, "Runs the Velora settings service over the filesystem root DIR"}},
        {{"--version"}, {0, "velorad (Velora) 1.0.0"}},
        {{}, {2, "velorad: --root is required (see 'velorad --help')"}},
        {{"--root", root.path(), "--save-delay", "-1"}, {2, "velorad: --save-delay: Value -1"}},
        {{"--root", root.path(), "--bogus"}, {2, "velorad: The following argument was not"}},
    };
    for (const auto& [args, expected] : lines) {
        std::vector<std::string> all = {VELORAD_PATH};
        all.insert(all.end(), args.begin(), args.end());
        ToolResult result = run_tool(all, root.path());
        const std::string& text = result.out.empty() ? result.err : result.out;
        EXPECT_EQ(expected.first, result.status) << text;
        EXPECT_EQ(expected.second, text.substr(0, expected.second.size())) << text;
    }
}

TEST_F(VeloradTest, StartsOnOwnerOnlySocketAndAnswersStatus) {
    startDaemon({"--verbose"});
    struct stat st {};
    ASSERT_EQ(0, stat(socket().c_str(), &st));
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    EXPECT_EQ(0600u, st.st_mode & 0777);

    const std::string uid = std::to_string(kUidBase + 1);
    ToolResult status = ctl({"--json", "--uid", uid, "status"});
    ASSERT_EQ(0, status.status) << status.err;
    // --verbose shows the service's verbose lines too.
    const std::string log = daemonLog();
    EXPECT_NE(std::string::npos, log.find("registerClient() client 0x")) << log;
    EXPECT_NE(std::string::npos, log.find(", uid " + uid)) << log;
    EXPECT_NE(std::string::npos, log.find("doOnPexParamUpdate() entry")) << log;
    EXPECT_EQ("true", json_member(status.out, "on"));
    EXPECT_EQ("4", json_member(status.out, "profiles"));
    EXPECT_EQ("Dynamic", json_member(status.out, "profileName"));
    EXPECT_EQ("1.0.0", json_member(status.out, "formatVersion"));

    ToolResult human = ctl({"status"});
    ASSERT_EQ(0, human.status) << human.err;
    EXPECT_NE(std::string::npos, human.out.find("default_internal_speaker")) << human.out;
}

TEST_F(VeloradTest, OneDaemonPerRootAndSocketButStaleSocketIsReplaced) {
    startDaemon();
    ToolResult sameRoot =
        run_tool({VELORAD_PATH, "--root", root().path(), "--socket", root().path() + "/other.sock"},
                 root().path());
    EXPECT_EQ(1, sameRoot.status);
    EXPECT_NE(std::string::npos, sameRoot.err.find("already running on root")) << sameRoot.err;

    TempRoot otherRoot;
    ToolResult sameSocket =
        run_tool({VELORAD_PATH, "--root", otherRoot.path(), "--socket", socket()}, root().path());
    EXPECT_EQ(1, sameSocket.status);
    EXPECT_NE(std::string::npos, sameSocket.err.find("another velorad answers on"))
        << sameSocket.err;

    // Killed outright, the daemon leaves its socket behind; the next start clears it.
    EXPECT_EQ(128 + SIGKILL, stopDaemon(SIGKILL));
    struct stat st {};
    ASSERT_EQ(0, stat(socket().c_str(), &st));
    startDaemon();
    EXPECT_TRUE(waitForLog("removed the stale socket")) << daemonLog();
    EXPECT_EQ(0, ctl({"status"}).status);
}

TEST_F(VeloradTest, UnreachableDaemonIsReportedWithItsOwnExitStatus) {
    ToolResult result = ctl({"status"});
    EXPECT_EQ(3, result.status);
    EXPECT_NE(std::string::npos, result.err.find("velorad is not running")) << result.err;

    ToolResult json = ctl({"--json", "profiles"});
    EXPECT_EQ(3, json.status);
    EXPECT_EQ("3", json_member(json.out, "exit")) << json.out;
}

TEST_F(VeloradTest, AServiceThatCannotStartSaysWhichFileIsAtFault) {
    std::filesystem::remove(root().hostPath(SystemPaths::kDefaultTuningFile));
    startDaemon();
    ToolResult result = ctl({"status"});
    EXPECT_EQ(1, result.status);
    EXPECT_NE(std::string::npos,
              result.err.find("not initialised: the tuning file " +
                              root().hostPath(SystemPaths::kDefaultTuningFile) + " does not exist"))
        << result.err;
}

TEST_F(VeloradTest, SetThenGetRoundTripsWithTheServiceClamping) {
    startDaemon();
    EXPECT_EQ("16", values({"--json", "set", "0", "ieq-amount", "20"}));
    EXPECT_EQ("16", values({"--json", "get", "0", "107"}));

    std::vector<std::string> gains = {"--json", "set", "Movie", "geq-gains", "1000", "-1000"};
    for (int band = 2; band < 20; ++band) gains.push_back(std::to_string(band));
    EXPECT_EQ("576,-576,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19", values(gains));
    EXPECT_EQ("576,-576,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19",
              values({"--json", "get", "1", "geq-gains"}));

    // The IEQ preset reads back as the profile's selection, the one the dump shows.
    ToolResult preset = ctl({"--json", "set", "Music", "ieq-preset", "3"});
    EXPECT_EQ("3", json_member(preset.out, "values")) << preset.err;
    EXPECT_EQ("false", json_member(preset.out, "clamped"));
    EXPECT_EQ("0", values({"--json", "set", "Movie", "ieq-preset", "0"}));
    EXPECT_EQ("3", values({"--json", "get", "Music", "104"}));
    EXPECT_EQ("0", values({"--json", "get", "Movie", "104"}));
    ASSERT_EQ(0, ctl({"profile", "select", "Music"}).status);
    EXPECT_NE(std::string::npos, ctl({"dump"}).out.find("Profile IEQ Preset : warm"));

    // The virtualizer switches are stored as sent.
    EXPECT_EQ("5", values({"--json", "set", "2", "headphone-virtualizer-enable", "5"}));

    // A port write changes the endpoint of that port only.
    const std::string speaker =
        values({"--json", "get", "3", "dialog-enhancer-amount", "--port", "internal_speaker"});
    EXPECT_EQ("3", values({"--json", "set", "3", "dialog-enhancer-amount", "3", "--port", "usb"}));
    EXPECT_EQ("3", values({"--json", "get", "3", "dialog-enhancer-amount", "--port", "5"}));
    EXPECT_EQ(speaker, values({"--json", "get", "3", "dialog-enhancer-amount", "--port",
                               "internal_speaker"}));

    ToolResult text = ctl({"set", "0", "dialog-enhancer-amount", "99"});
    ASSERT_EQ(0, text.status) << text.err;
    EXPECT_NE(std::string::npos, text.out.find("= 16 (sent 99, range 0..16)")) << text.out;
}

TEST_F(VeloradTest, ChangeThatCannotBeSavedIsSaidSoAndSavedOnceTheDatabaseIsFree) {
    startDaemon({"--save-delay", "20"});
    ASSERT_EQ(0, ctl({"status"}).status);
    // Another process holds the database while the change is made.
    sqlite3* other = nullptr;
    const std::string db = root().hostPath(SystemPaths::kDatabaseDir) + "kiv_sqlite3.db";
    ASSERT_EQ(SQLITE_OK, sqlite3_open(db.c_str(), &other));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr));
    // Reads go on, with a word that saving fails; a change is applied but not saved.
    ToolResult read = ctl({"get", "0", "ieq-amount"});
    EXPECT_EQ(0, read.status) << read.err;
    EXPECT_NE(std::string::npos, read.out.find("ieq-amount = ")) << read.out;
    EXPECT_NE(std::string::npos, read.err.find("the service cannot save its settings now"))
        << read.err;
    ToolResult refused = ctl({"set", "0", "ieq-amount", "9"});
    EXPECT_EQ(4, refused.status);
    EXPECT_NE(std::string::npos, refused.out.find("ieq-amount = 9")) << refused.out;
    EXPECT_NE(std::string::npos, refused.err.find("applied, but not saved")) << refused.err;
    sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(other);
    // The daemon tries again on its own; no client has asked for a save since.
    EXPECT_TRUE(waitForLog("settings saved after ")) << daemonLog();
    EXPECT_EQ("9", values({"--json", "get", "0", "ieq-amount"}));
}

TEST_F(VeloradTest, KilledWatcherIsDroppedAndTheOthersKeepReceiving) {
    startDaemon();
    // Type 1 is a decoder client: DCCP shows whether the registry still holds it.
    const std::string doomedUid = std::to_string(kUidBase + 7000);
    const std::string survivorUid = std::to_string(kUidBase + 8000);
    Watcher doomed(ctlArgs({"watch", "--json", "--uid", doomedUid, "--type", "1"}),
                   root().path() + "/w1.err");
    Watcher survivor(ctlArgs({"watch", "--json", "--uid", survivorUid}), root().path() + "/w2.err");
    EXPECT_EQ("1", json_member(ctl({"--json", "prop", "DCCP"}).out, "value"));

    doomed.process().signal(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, doomed.process().wait(kEventTimeout));
    EXPECT_TRUE(waitForLog("binderDied : client uid " + std::to_string(kUidBase + 7001)))
        << daemonLog();
    EXPECT_EQ("0", json_member(ctl({"--json", "prop", "DCCP"}).out, "value"));

    ASSERT_EQ(0, ctl({"off"}).status);
    EXPECT_EQ(std::vector<std::string>{hex({0, 0, 0})}, survivor.changes(1));
    EXPECT_EQ(std::string::npos, daemonLog().find("Call client failed")) << daemonLog();

    // Interrupted, a watcher unregisters instead of dying.
    survivor.process().signal(SIGINT);
    EXPECT_EQ(0, survivor.process().wait(kEventTimeout));
    EXPECT_TRUE(waitForLog("client uid " + survivorUid + " type 0 unregistered")) << daemonLog();
    EXPECT_EQ(std::string::npos, daemonLog().find("binderDied : client uid " + survivorUid))
        << daemonLog();
}

TEST_F(VeloradTest, WatcherThatStopsReadingLeavesAtOnceWhenTooFarBehind) {
    startDaemon({"--max-queued", "3"});
    const auto count = [](const std::string& text, const std::string& what) {
        size_t n = 0;
        for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
            ++n;
        return n;
    };
    // A stopped process reads nothing, so a callback of a quarter MiB leaves the daemon's
    // handler for it blocked on the full connection. Type 1 is a decoder client, so DCCP
    // tells whether the registry holds it.
    Watcher stuck(
        ctlArgs({"watch", "--json", "--uid", std::to_string(kUidBase + 7000), "--type", "1"}),
        root().path() + "/stuck.err");
    stuck.process().signal(SIGSTOP);
    auto client = stub();
    grpc::ClientContext goodContext;
    goodContext.set_deadline(std::chrono::system_clock::now() + kStartTimeout);
    rpc::ClientId goodId;
    goodId.set_uid(kUidBase + 8000);
    auto good = client->RegisterClient(&goodContext, goodId);
    rpc::ParamUpdate update;
    ASSERT_TRUE(good->Read(&update));
    EXPECT_EQ("1", json_member(ctl({"--json", "prop", "DCCP"}).out, "value"));

    // Switching on while on changes nothing; the service echoes the whole buffer to each
    // client. The stuck client's key sorts first, so once the good client has a callback,
    // the service has made that call to the stuck one too.
    std::string on = bytes_of({0, 1, 1});
    on.resize(256 * 1024, '\x5a');
    const auto write = [&] {
        grpc::ClientContext context;
        rpc::PackedBuffer buffer;
        buffer.set_data(on);
        rpc::Int32Value result;
        ASSERT_TRUE(client->SetPexParam(&context, buffer, &result).ok());
        ASSERT_EQ(0, result.value());
        // veloractl's own registrations come in between.
        do {
            ASSERT_TRUE(good->Read(&update));
        } while (update.data().size() != on.size());
        ASSERT_TRUE(update.data() == on);
    };
    int writes = 0;
    while (count(daemonLog(), "dropping it") == 0 && writes < 32) {
        ++writes;
        ASSERT_NO_FATAL_FAILURE(write());
    }
    // One write in flight and three queued: the fifth call finds the queue full.
    EXPECT_GE(writes, 4);
    EXPECT_LE(writes, 8) << daemonLog();
    // It leaves the registry as a dead client does, without waiting for its handler.
    const auto dropped = std::chrono::steady_clock::now();
    const std::string died = "binderDied : client uid " + std::to_string(kUidBase + 7001);
    EXPECT_TRUE(waitForLog(died)) << daemonLog();
    EXPECT_LT(std::chrono::steady_clock::now() - dropped, 1s);
    EXPECT_EQ("0", json_member(ctl({"--json", "prop", "DCCP"}).out, "value"));

    // Said once, and never called again.
    for (int i = 0; i < 8; ++i) ASSERT_NO_FATAL_FAILURE(write());
    const std::string log = daemonLog();
    EXPECT_EQ(1u, count(log, "dropping it")) << log;
    EXPECT_EQ(0u, count(log, "Call client failed")) << log;
    EXPECT_EQ(1u, count(log, died)) << log;
    stuck.process().signal(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, stuck.process().wait(kEventTimeout));

    grpc::ClientContext unregisterContext;
    rpc::Empty empty;
    ASSERT_TRUE(client->UnregisterClient(&unregisterContext, goodId, &empty).ok());
    while (good->Read(&update)) {
    }
    EXPECT_TRUE(good->Finish().ok());
}

TEST_F(VeloradTest, SigtermSavesAndTheNextDaemonFindsEverySetting) {
    startDaemon();
    {
        // A client that changes a parameter and never unregisters: only the shutdown saves it.
        auto client = stub();
        grpc::ClientContext context;
        context.set_deadline(std::chrono::system_clock::now() + kStartTimeout);
        rpc::ClientId id;
        id.set_type(0);
        id.set_uid(kUidBase + 4242);
        auto reader = client->RegisterClient(&context, id);
        rpc::ParamUpdate update;
        ASSERT_TRUE(reader->Read(&update));

        for (const std::string& buffer :
             {bytes_of({0x01000000, 0, 2, 107, 7}), bytes_of({0x0A000000, 0, 3})}) {
            grpc::ClientContext callContext;
            rpc::PackedBuffer request;
            request.set_data(buffer);
            rpc::Int32Value result;
            ASSERT_TRUE(client->SetPexParam(&callContext, request, &result).ok());
            ASSERT_EQ(0, result.value());
            do {
                ASSERT_TRUE(reader->Read(&update));
            } while (update.data().substr(0, 4) != buffer.substr(0, 4));
        }
        EXPECT_EQ(0, stopDaemon(SIGTERM)) << daemonLog();
        EXPECT_FALSE(reader->Read(&update));
        EXPECT_EQ(grpc::StatusCode::UNAVAILABLE, reader->Finish().error_code());
    }
    EXPECT_NE(std::string::npos, daemonLog().find("~VeloraManagerService")) << daemonLog();
    struct stat st {};
    EXPECT_NE(0, stat(socket().c_str(), &st)) << "socket left behind";

    startDaemon();
    EXPECT_EQ("7", values({"--json", "get", "2", "ieq-amount"}));
    EXPECT_EQ("3", json_member(ctl({"--json", "status"}).out, "profile"));
}

TEST_F(VeloradTest, ExportImportIntoAFreshRootGivesTheSameDocument) {
    startDaemon();
    std::vector<std::string> gains = {"set", "Music", "geq-gains"};
    for (int band = 0; band < 20; ++band) gains.push_back(std::to_string(band * 8 - 80));
    for (const std::vector<std::string>& change :
         {gains,
          {"set", "Music", "ieq-preset", "1"},
          {"set", "Movie", "dialog-enhancer-amount", "12", "--port", "headphone"},
          {"set", "Dynamic", "speaker-virtualizer-enable", "0"},
          {"device", "internal_speaker", "internal_speaker_mono"},
          {"profile", "select", "Music"},
          {"off"}}) {
        ASSERT_EQ(0, ctl(change).status) << change[0];
    }
    const std::string first = root().path() + "/first.json";
    ToolResult exported = ctl({"export", first});
    ASSERT_EQ(0, exported.status) << exported.err;
    ASSERT_EQ(0, stopDaemon());

    // A fresh device of the same kind takes every setting.
    const std::string document = read_file(first);
    mDaemon = std::make_unique<DaemonRoot>();
    startDaemon();
    const std::string copy = root().path() + "/first.json";
    {
        std::ofstream out(copy);
        out << document;
    }
    ToolResult imported = ctl({"import", copy});
    ASSERT_EQ(0, imported.status) << imported.out << imported.err;
    ToolResult again = ctl({"export"});
    ASSERT_EQ(0, again.status) << again.err;
    EXPECT_EQ(document, again.out);
    EXPECT_NE(std::string::npos, document.find("\"internal_speaker\": \"internal_speaker_mono\""));

    // A document from another device: what this one lacks is named, the rest is applied.
    nlohmann::ordered_json foreign = nlohmann::ordered_json::parse(document);
    foreign["profiles"][1]["name"] = "Karaoke";
    foreign["profiles"][0]["parameters"]["107"] = {40};  // keys by id still read
    foreign["tuningDevices"]["internal_speaker"] = "speaker_of_another_phone";
    foreign["on"] = true;
    {
        std::ofstream out(copy);
        out << foreign.dump(2);
    }
    ToolResult partial = ctl({"import", copy});
    EXPECT_EQ(1, partial.status) << partial.out << partial.err;
    EXPECT_NE(std::string::npos, partial.out.find(" applied as given, 3 not")) << partial.out;
    for (const char* expected :
         {"profile \"Karaoke\": this device has no such profile",
          "no tuning device 'speaker_of_another_phone'", "sent 40, the service holds 16"}) {
        EXPECT_NE(std::string::npos, partial.out.find(expected)) << partial.out;
    }
    EXPECT_EQ("true", json_member(ctl({"--json", "status"}).out, "on"));

    {
        std::ofstream out(copy);
        out << "{\n  \"format\": \"velora-settings\",\n  \"version\": 1,\n  \"on\": tru,\n}";
    }
    ToolResult malformed = ctl({"import", copy});
    EXPECT_EQ(1, malformed.status);
    EXPECT_NE(std::string::npos, malformed.err.find("line 4, column")) << malformed.err;
}

TEST_F(VeloradTest, BadRequestsGetClearErrorsAndTheDaemonKeepsServing) {
    startDaemon();
    struct Case {
        std::vector<std::string> args;
        int status;
        std::string message;
    };
    // The first line on standard output, or on standard error when nothing went there.
    const std::vector<Case> cases = {
        {{"--version"}, 0, "veloractl (Velora) 1.0.0"},
        {{"get", "--help"}, 0, "read a parameter of a profile"},
        {{"help", "prop"}, 0, "read or write an integer property"},
        {{"get", "0", "loudness"}, 2, "veloractl: unknown parameter 'loudness'; known: "},
        {{"get", "0"}, 2, "veloractl: usage: veloractl get PROFILE PARAM [--port PORT]"},
        {{"set", "0", "geq-gains", "1", "2"}, 2, "veloractl: geq-gains takes 20 values, got 2"},
        {{"set", "0", "ieq-amount", "lots"}, 2, "veloractl: 'lots' is not a value for ieq-amount"},
        {{"get", "0", "ieq-amount", "--port", "hdmi"}, 2, "veloractl: ieq-amount is not kept"},
        {{"get", "7", "ieq-amount"}, 1, "veloractl: no profile '7' (profiles: 0 "},
        {{"profile", "select", "-1"}, 1, "veloractl: no profile '-1'"},
        {{"devices", "7"}, 2, "veloractl: unknown port '7'; ports: 0 internal_speaker"},
        {{"device", "speakers"}, 2, "veloractl: unknown port 'speakers'"},
        {{"prop", "TOOLONG"}, 1, "veloractl: 'TOOLONG' is not a property code"},
        {{"prop", "XXXX"}, 1, "veloractl: the service has no property XXXX (it has ADEV"},
        {{"prop", "PEXO", "0"}, 1, "veloractl: PEXO can only be read (the service takes writes"},
        {{"prop", "pexo"}, 0, "PEXO = 1  (effect on)"},
        {{"prop", "dect", "7"}, 0, "DECT = 7"},
        {{"frobnicate"}, 2, "veloractl: no command 'frobnicate' (see 'veloractl --help')"},
        {{"status", "--port", "1"}, 2, "veloractl: The following argument was not expected"},
        {{"watch", "--count", "0"}, 2, "veloractl: --count: Value 0 not in range"},
    };
    for (const Case& c : cases) {
        ToolResult result = ctl(c.args);
        const std::string& text = result.out.empty() ? result.err : result.out;
        EXPECT_EQ(c.status, result.status) << c.args[0] << ": " << text;
        EXPECT_EQ(c.message, text.substr(0, c.message.size())) << text;
    }

    // Raw requests the command line never sends.
    auto client = stub();
    {
        grpc::ClientContext registration;
        registration.set_deadline(std::chrono::system_clock::now() + kStartTimeout);
        rpc::ClientId id;
        id.set_uid(900);
        auto reader = client->RegisterClient(&registration, id);
        rpc::ParamUpdate update;
        ASSERT_TRUE(reader->Read(&update));

        // Short buffers are read within their length.
        grpc::ClientContext getContext;
        rpc::PexParamQuery query;
        query.set_request(std::string("\0\0", 2));
        query.set_answer_length(4);
        rpc::PexParamAnswer answer;
        ASSERT_TRUE(client->GetPexParam(&getContext, query, &answer).ok());
        EXPECT_EQ(0, answer.result());
        EXPECT_TRUE(waitForLog("packAndReceiveParam : Invalid input length!")) << daemonLog();

        grpc::ClientContext setContext;
        rpc::PackedBuffer shortSet;
        shortSet.set_data(std::string("\0\0\0\x01\0\0", 6));
        rpc::Int32Value result;
        ASSERT_TRUE(client->SetPexParam(&setContext, shortSet, &result).ok());

        grpc::ClientContext hugeContext;
        query.set_answer_length(1u << 30);
        grpc::Status huge = client->GetPexParam(&hugeContext, query, &answer);
        EXPECT_EQ(grpc::StatusCode::INVALID_ARGUMENT, huge.error_code());
        EXPECT_NE(std::string::npos, huge.error_message().find("over the limit"));

        grpc::ClientContext portContext;
        rpc::PortId port;
        port.set_port(7);
        rpc::Int32Value length;
        ASSERT_TRUE(client->GetAvailableTuningDevicesLen(&portContext, port, &length).ok());
        EXPECT_EQ(0, length.value());
        EXPECT_TRUE(waitForLog("getAvailableTuningDevicesLen invalid port number, 7"));

        // The same key (uid + type) twice: the second registration is refused.
        grpc::ClientContext duplicateContext;
        rpc::ClientId duplicate;
        duplicate.set_uid(899);
        duplicate.set_type(1);
        auto second = client->RegisterClient(&duplicateContext, duplicate);
        EXPECT_FALSE(second->Read(&update));
        EXPECT_EQ(grpc::StatusCode::ALREADY_EXISTS, second->Finish().error_code());

        grpc::ClientContext unknownContext;
        rpc::ClientId unknown;
        unknown.set_uid(12345);
        rpc::Empty empty;
        EXPECT_EQ(grpc::StatusCode::NOT_FOUND,
                  client->UnregisterClient(&unknownContext, unknown, &empty).error_code());

        // Another uid and type adding up to the same key remove this registration: the
        // service removed it, so its stream ends, and its own unregistration finds nothing.
        grpc::ClientContext collidingContext;
        rpc::ClientId colliding;
        colliding.set_uid(899);
        colliding.set_type(1);
        EXPECT_TRUE(client->UnregisterClient(&collidingContext, colliding, &empty).ok());
        while (reader->Read(&update)) {
        }
        EXPECT_TRUE(reader->Finish().ok());
        grpc::ClientContext ownContext;
        rpc::ClientId own;
        own.set_uid(900);
        EXPECT_EQ(grpc::StatusCode::NOT_FOUND,
                  client->UnregisterClient(&ownContext, own, &empty).error_code());
    }

    ToolResult status = ctl({"--json", "status"});
    EXPECT_EQ(0, status.status) << status.err << daemonLog();
    EXPECT_TRUE(mDaemon->running());
}

}  // namespace
}  // namespace velora::testing
