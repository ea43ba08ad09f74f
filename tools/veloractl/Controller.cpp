/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/veloractl/Controller.h"

#include <pexparamstorage/PexParamFileReader.h>
#include <pexparamstorage/PexParamStore.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <iostream>

#include "common/SystemPaths.h"
#include "model/AndroidDevice.h"
#include "model/Port.h"
#include "tools/common/Json.h"
#include "tools/common/ParamFileText.h"
#include "tools/veloractl/ExternalParameter.h"
#include "tools/veloractl/PackedBuffer.h"
#include "tools/veloractl/TextParsing.h"
#include "tools/veloractl/UpdateDecoder.h"

namespace velora {

namespace {

// Integer-property codes veloractl itself uses.
constexpr uint32_t kReloadTuningCode = 0x524c5446;  // "RLTF"
// The external id that selects a profile's IEQ preset.
constexpr int kIeqPresetId = 104;

const char* const kCommonOptions =
    "Common options:\n"
    "  --root DIR      the root velorad runs on; its socket is DIR/velorad.sock\n"
    "  --socket PATH   velorad's socket (instead of the one under --root)\n"
    "  --json          machine-readable output: one JSON document per result\n"
    "  --timeout MS    how long to wait for the daemon (default 5000)\n"
    "  --uid N         uid to register with (default: this process's id)\n"
    "  --type N        client type to register with (default 0)\n"
    "  --help          help for the command\n";

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string join(const std::vector<int>& values) {
    std::string text;
    for (int value : values) {
        if (!text.empty()) text += ' ';
        text += std::to_string(value);
    }
    return text;
}

std::string parameter_names() {
    std::string text;
    for (const ExternalParameter& parameter : ExternalParameter::kTable) {
        if (!text.empty()) text += ", ";
        text += parameter.name;
    }
    return text;
}

std::string port_names() {
    std::string text;
    for (int port = 0; port < kPortCount; ++port) {
        if (!text.empty()) text += ", ";
        text += std::to_string(port) + " " + kPortNames[port];
    }
    return text;
}

// An effect parameter id is its code in lower case packed little-endian; shown upper case.
std::string pex_code_text(uint32_t id) {
    std::string code;
    for (int shift = 0; shift < 32; shift += 8) {
        const unsigned char c = static_cast<unsigned char>(id >> shift);
        if (c == 0) break;
        if (c < 0x20 || c >= 0x7f) return four_cc_text(id);
        code += static_cast<char>(std::toupper(c));
    }
    return code;
}

std::string android_device_text(uint32_t device) {
    const char* name = nullptr;
    switch (device) {
        case DEVICE_OUT_SPEAKER:
            name = "speaker";
            break;
        case DEVICE_OUT_WIRED_HEADPHONE:
            name = "wired headphone";
            break;
        case DEVICE_OUT_BLUETOOTH_A2DP:
            name = "bluetooth a2dp";
            break;
        case DEVICE_OUT_AUX_DIGITAL:
            name = "hdmi";
            break;
        case DEVICE_OUT_USB_DEVICE:
            name = "usb";
            break;
        case DEVICE_OUT_REMOTE_SUBMIX:
            name = "miracast";
            break;
        case DEVICE_OUT_DEFAULT:
            name = "profile-wide";
            break;
    }
    char hex[16];
    std::snprintf(hex, sizeof(hex), "0x%x", device);
    return name ? std::string(hex) + " (" + name + ")" : std::string(hex);
}

std::string version_text(int version) {
    if (version < 0) return describe_result(version);
    return std::to_string((version >> 16) & 0xff) + "." + std::to_string((version >> 8) & 0xff) +
           "." + std::to_string(version & 0xff);
}

// A switch value may be written as on/off as well as 1/0.
bool parse_value(const ExternalParameter& parameter, const std::string& text, int* value) {
    if (parameter.minimum == 0 && parameter.maximum == 1) {
        std::string word = lower(text);
        if (word == "on" || word == "true") {
            *value = 1;
            return true;
        }
        if (word == "off" || word == "false") {
            *value = 0;
            return true;
        }
    }
    return parse_int(text, value);
}

// What get and set answer about: one parameter of one profile, on a port or not.
Json parameter_json(int profile, const std::string& name, int port,
                    const ExternalParameter& parameter) {
    Json json = {{"profile", profile},
                 {"profileName", json_text(name)},
                 {"parameter", parameter.id},
                 {"name", parameter.name}};
    if (port >= 0) {
        json["port"] = port;
        json["portName"] = kPortNames[port];
    }
    return json;
}

// The same in words, up to the values: "profile 1 (Music), port usb: geq_gain = ".
std::string parameter_text(int profile, const std::string& name, int port,
                           const ExternalParameter& parameter) {
    return "profile " + std::to_string(profile) + " (" + printable(name) + ")" +
           (port >= 0 ? std::string(", port ") + kPortNames[port] : "") + ": " + parameter.name +
           " = ";
}

}  // namespace

const Controller::Command Controller::kCommands[] = {
    {"status",
     "status",
     "effect on/off, selected profile, tuning device per port",
     "Shows whether the effect is on, the selected profile and its name, the tuning device\n"
     "selected for every port, the tuning file's format version and whether the internal\n"
     "speaker is mono.\n",
     {},
     true,
     &Controller::cmdStatus},
    {"on",
     "on",
     "switch the effect on",
     "Switches the effect on (packed set command 0); the service saves the state.\n",
     {},
     true,
     &Controller::cmdOn},
    {"off",
     "off",
     "switch the effect off",
     "Switches the effect off (packed set command 0); the service saves the state.\n",
     {},
     true,
     &Controller::cmdOff},
    {"profiles",
     "profiles",
     "list the profiles",
     "Lists every profile with its id and name, marks the selected one and those the user\n"
     "has changed from the tuning file's defaults.\n",
     {},
     true,
     &Controller::cmdProfiles},
    {"profile",
     "profile select|reset PROFILE",
     "select a profile, or reset one to its defaults",
     "select: makes PROFILE the selected profile (packed set command 10).\n"
     "reset:  gives PROFILE back the tuning file's defaults (packed set command 12).\n"
     "PROFILE is an id (see 'profiles') or a profile name.\n",
     {},
     true,
     &Controller::cmdProfile},
    {"params",
     "params",
     "list the parameters get and set accept",
     "Lists the external parameters (ids 101 to 112) with their names, number of values,\n"
     "range and where they are kept. Needs no daemon.\n",
     {},
     false,
     &Controller::cmdParams},
    {"get",
     "get PROFILE PARAM [--port PORT]",
     "read a parameter of a profile",
     "Reads PARAM of PROFILE. PARAM is an external id (101 to 112) or its name (see\n"
     "'params'). With --port, reads the value of the endpoint the port uses; only\n"
     "per-endpoint parameters have one.\n",
     {"port"},
     true,
     &Controller::cmdGet},
    {"set",
     "set PROFILE PARAM VALUE... [--port PORT]",
     "change a parameter of a profile",
     "Writes PARAM of PROFILE through the packed set buffer, waits until the service has\n"
     "applied it and prints what it now holds (out-of-range values are clamped by the\n"
     "service). Give as many values as the parameter has (20 for geq-gains); switches take\n"
     "on/off too. Without --port a per-endpoint parameter changes every endpoint; with\n"
     "--port only the endpoint of that port.\n",
     {"port"},
     true,
     &Controller::cmdSet},
    {"devices",
     "devices PORT",
     "list the tuning devices of a port",
     "Lists the tuning devices available on PORT and marks the selected one. PORT is a\n"
     "number or a name: "
     "0 internal_speaker, 1 hdmi, 2 miracast, 3 headphone, 4 bluetooth,\n"
     "5 usb, 6 other.\n",
     {},
     true,
     &Controller::cmdDevices},
    {"device",
     "device PORT [NAME]",
     "show or select the tuning device of a port",
     "Without NAME shows the tuning device selected on PORT; with NAME selects it, waits\n"
     "until the service has applied the selection and shows the result.\n",
     {},
     true,
     &Controller::cmdDevice},
    {"prop",
     "prop CODE [VALUE]",
     "read or write an integer property",
     "Reads (getIntParam) or writes (setIntParam) the integer property CODE, a\n"
     "four-character code such as ADEV, CHCT, PEXO, DCCP, DDSA, DHSA, DFSA, DEAM, DECT,\n"
     "LCTP, LCTM, SPKM, SPKP, DTFV (or a number such as 0x41444556).\n",
     {},
     true,
     &Controller::cmdProp},
    {"watch",
     "watch [--count N]",
     "print every change the service reports",
     "Registers as a client and prints every callback the service makes, decoded (command,\n"
     "profile, parameter, values), until interrupted (Ctrl-C) or, with --count, after N\n"
     "callbacks. The first line says the registration is in place. With --json every line\n"
     "is one JSON document carrying the raw bytes as well.\n",
     {"count"},
     true,
     &Controller::cmdWatch},
    {"effect",
     "effect",
     "what the effect reads now",
     "Shows the parameter records the effect reads from the shared parameter store under\n"
     "--root, per device and code. Reads the store's file directly; the daemon need not\n"
     "answer.\n",
     {},
     false,
     &Controller::cmdEffect},
    {"dump",
     "dump [ARG...]",
     "the service's dump",
     "Prints what the service writes for a dump request, with the given arguments.\n",
     {},
     true,
     &Controller::cmdDump},
    {"reload-tuning",
     "reload-tuning",
     "reload the tuning files",
     "Asks the service to reload the tuning files (setIntParam RLTF) and waits until it\n"
     "reports the reload to its clients.\n",
     {},
     true,
     &Controller::cmdReloadTuning},
    {"export",
     "export [FILE]",
     "write the user's settings as one JSON document",
     "Writes the effect's on/off state, the selected profile, every profile's parameters\n"
     "(profile-wide ones by external id, the per-endpoint ones for the speaker, headphone\n"
     "and other endpoints) and the tuning device of every port as one versioned JSON\n"
     "document, to FILE or to standard output.\n",
     {},
     true,
     &Controller::cmdExport},
    {"import",
     "import FILE",
     "apply a document written by export",
     "Applies the settings of FILE through the same calls the settings app makes, reads\n"
     "each one back and lists every item the service did not take as given: a profile,\n"
     "endpoint or tuning device this device does not have, a value out of range that the\n"
     "service clamped. Profiles are matched by name. Exit status 1 when any item was not\n"
     "applied as given.\n",
     {},
     true,
     &Controller::cmdImport},
    {"help",
     "help [COMMAND]",
     "this help, or a command's",
     "Shows the help of COMMAND.\n",
     {},
     false,
     &Controller::cmdHelp},
};

Controller::Controller(const CommandLine& line, SignalWatcher& signals)
    : mLine(line), mSignals(signals) {}

Controller::~Controller() = default;

const Controller::Command* Controller::findCommand(const std::string& name) {
    for (const Command& command : kCommands) {
        if (name == command.name) return &command;
    }
    return nullptr;
}

void Controller::printUsage(std::ostream& out) const {
    std::string text =
        "veloractl: talk to velorad, the host's Velora settings service.\n\n"
        "Usage: veloractl (--root DIR | --socket PATH) [--json] COMMAND [ARGS...]\n\n"
        "Commands:\n";
    for (const Command& command : kCommands) {
        char line[160];
        std::snprintf(line, sizeof(line), "  %-41s %s\n", command.usage, command.summary);
        text += line;
    }
    text += std::string("\n") + kCommonOptions +
            "\nExit status: 0 done, 1 refused or failed, 2 bad command line, 3 daemon "
            "unreachable.\n";
    out << text;
}

void Controller::printCommandHelp(const Command& command) const {
    std::cout << "Usage: veloractl [options] " << command.usage << "\n\n"
              << command.help << "\n"
              << kCommonOptions;
}

void Controller::emit(const Json& json, const std::string& text) const {
    if (mDeferOutput) {
        mPending.emplace_back(json, text);
        return;
    }
    if (mLine.json) {
        std::cout << json_dump(json) << std::endl;
    } else {
        std::cout << text;
        if (!text.empty() && text.back() != '\n') std::cout << '\n';
        std::cout << std::flush;
    }
}

int Controller::failure(ExitStatus status, const std::string& message) const {
    std::cerr << "veloractl: " << message << std::endl;
    if (mLine.json) {
        std::cout << json_dump(
                         Json{{"error", json_text(message)}, {"exit", static_cast<int>(status)}})
                  << std::endl;
    }
    return status;
}

int Controller::usageError(const std::string& message) const {
    return failure(EXIT_USAGE, message + " (see veloractl --help)");
}

int Controller::clientFailure() const {
    return failure(mClient->error().status, mClient->error().message);
}

int Controller::run() {
    if (mLine.command.empty()) {
        if (mLine.help) {
            printUsage(std::cout);
            return EXIT_OK;
        }
        printUsage(std::cerr);
        return EXIT_USAGE;
    }
    const Command* command = findCommand(mLine.command);
    if (!command) return usageError("unknown command '" + mLine.command + "'");
    if (mLine.help) {
        printCommandHelp(*command);
        return EXIT_OK;
    }
    static const std::vector<std::string> kCommon = {"root", "socket", "json", "timeout",
                                                     "uid",  "type",   "help"};
    for (const std::string& option : mLine.given) {
        if (std::find(kCommon.begin(), kCommon.end(), option) == kCommon.end() &&
            std::find(command->options.begin(), command->options.end(), option) ==
                command->options.end()) {
            return usageError("option --" + option + " does not apply to '" + command->name + "'");
        }
    }
    if (command->needsDaemon && !connect()) {
        return mClient ? clientFailure()
                       : usageError("say where velorad is: --root DIR or --socket PATH");
    }
    return (this->*(command->run))();
}

bool Controller::connect() {
    if (!mLine.socket.empty()) {
        mSocketPath = mLine.socket;
    } else if (!mLine.root.empty()) {
        mSocketPath = mLine.root + "/velorad.sock";
    } else {
        return false;
    }
    mClient =
        std::make_unique<VeloraClient>(mSocketPath, std::chrono::milliseconds(mLine.timeoutMs));
    return mClient->checkSocket();
}

bool Controller::openSession() {
    mRegistration = std::make_unique<Registration>(*mClient);
    const uint32_t uid = mLine.uid ? *mLine.uid : static_cast<uint32_t>(getpid());
    // What a command prints waits for the end of the session: the service saves when a client
    // unregisters, so a change is reported only once it is on disk.
    mDeferOutput = true;
    return mRegistration->start(mLine.type, uid);
}

int Controller::closeSession(int status) {
    const bool stopped = !mRegistration || mRegistration->stop();
    mDeferOutput = false;
    std::vector<std::pair<Json, std::string>> pending;
    pending.swap(mPending);
    if (!stopped) {
        // The unregistration is the save: an error from it means the change may be lost.
        if (mChanged) {
            return failure(EXIT_REFUSED, "the change is not saved: " + mClient->error().message);
        }
        if (status == EXIT_OK) return clientFailure();
    }
    for (const auto& [json, text] : pending) emit(json, text);
    return status;
}

bool Controller::profileCount(int* count) {
    return mClient->getPackedInt(kGetProfileCount, 0, count);
}

bool Controller::resolveProfile(const std::string& text, int* profile, std::string* name) {
    int count = 0;
    if (!profileCount(&count)) return false;
    int number = 0;
    const bool numeric = parse_int(text, &number);
    std::string known;
    for (int id = 0; id < count; ++id) {
        std::string profileName;
        if (!mClient->getProfileName(id, &profileName)) return false;
        if ((numeric && id == number) || (!numeric && lower(profileName) == lower(text))) {
            *profile = id;
            *name = profileName;
            return true;
        }
        known += (known.empty() ? "" : ", ") + std::to_string(id) + " " + profileName;
    }
    mClient->fail(EXIT_REFUSED, "no profile '" + text + "' (profiles: " + known + ")");
    return false;
}

bool Controller::applyAndWait(const std::string& buffer, std::string* echo) {
    int result = 0;
    mChanged = true;
    if (!mClient->setPexParam(buffer, &result)) return false;
    if (result != 0) {
        mClient->fail(EXIT_REFUSED, "setPexParam refused: " + mClient->describe(result));
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + mClient->timeout();
    std::string update;
    for (;;) {
        switch (mRegistration->next(deadline, &update)) {
            case Registration::Next::Buffer:
                if (is_applied_echo(buffer, update)) {
                    *echo = update;
                    return true;
                }
                break;
            case Registration::Next::Ended:
                mClient->fail("registration", mRegistration->endStatus());
                return false;
            case Registration::Next::TimedOut:
            case Registration::Next::Interrupted:
                mClient->fail(EXIT_UNREACHABLE, "the service did not report the change in time");
                return false;
        }
    }
}

bool Controller::waitForUpdate(const std::string& bytes) {
    const auto deadline = std::chrono::steady_clock::now() + mClient->timeout();
    std::string update;
    for (;;) {
        switch (mRegistration->next(deadline, &update)) {
            case Registration::Next::Buffer:
                if (update == bytes) return true;
                break;
            case Registration::Next::Ended:
                mClient->fail("registration", mRegistration->endStatus());
                return false;
            case Registration::Next::TimedOut:
            case Registration::Next::Interrupted:
                return false;
        }
    }
}

int Controller::cmdStatus() {
    if (!mLine.arguments.empty()) return usageError("status takes no arguments");
    if (!openSession()) return clientFailure();
    bool on = false;
    bool mono = false;
    int count = 0;
    int selected = 0;
    int version = 0;
    std::string profileName;
    if (!mClient->getPexEnabled(&on) || !profileCount(&count) ||
        !mClient->getPackedInt(kGetSelectedProfile, 0, &selected) ||
        !mClient->getProfileName(selected, &profileName) ||
        !mClient->getDefaultXmlFormatVersion(&version) || !mClient->isMonoInternalSpeaker(&mono)) {
        return closeSession(clientFailure());
    }
    Json ports = Json::array();
    std::string portText;
    for (int port = 0; port < kPortCount; ++port) {
        std::string device;
        if (!mClient->getSelectedTuningDevice(port, &device)) {
            return closeSession(clientFailure());
        }
        ports.push_back(
            Json{{"port", port}, {"name", kPortNames[port]}, {"device", json_text(device)}});
        char line[200];
        std::snprintf(line, sizeof(line), "  %-18s %s\n", kPortNames[port],
                      device.empty() ? "(none)" : printable(device).c_str());
        portText += line;
    }
    Json json = {{"on", on},
                 {"profile", selected},
                 {"profileName", json_text(profileName)},
                 {"profiles", count},
                 {"formatVersion", version_text(version)},
                 {"monoInternalSpeaker", mono},
                 {"ports", ports}};
    std::string text =
        std::string("effect:          ") + (on ? "on" : "off") + "\n" +
        "profile:         " + std::to_string(selected) + " (" + printable(profileName) + ") of " +
        std::to_string(count) + "\n" + "tuning format:   " + version_text(version) + "\n" +
        "mono speaker:    " + (mono ? "yes" : "no") + "\n" + "tuning devices:\n" + portText;
    emit(json, text);
    return closeSession(EXIT_OK);
}

int Controller::cmdOn() { return switchEffect(true); }

int Controller::cmdOff() { return switchEffect(false); }

int Controller::switchEffect(bool on) {
    if (!mLine.arguments.empty()) return usageError(mLine.command + " takes no arguments");
    if (!openSession()) return clientFailure();
    std::string echo;
    bool now = false;
    if (!applyAndWait(packed_set_buffer(kSetPexOn, {on ? 1 : 0}), &echo) ||
        !mClient->getPexEnabled(&now)) {
        return closeSession(clientFailure());
    }
    emit(Json{{"on", now}}, std::string("effect: ") + (now ? "on" : "off"));
    return closeSession(now == on ? EXIT_OK
                                  : failure(EXIT_REFUSED, "the service did not switch the effect"));
}

int Controller::cmdProfiles() {
    if (!mLine.arguments.empty()) return usageError("profiles takes no arguments");
    if (!openSession()) return clientFailure();
    int count = 0;
    int selected = 0;
    if (!profileCount(&count) || !mClient->getPackedInt(kGetSelectedProfile, 0, &selected)) {
        return closeSession(clientFailure());
    }
    Json list = Json::array();
    std::string text;
    for (int id = 0; id < count; ++id) {
        std::string name;
        int modified = 0;
        if (!mClient->getProfileName(id, &name) ||
            !mClient->getPackedInt(kGetProfileModified, id, &modified)) {
            return closeSession(clientFailure());
        }
        list.push_back(Json{{"id", id},
                            {"name", json_text(name)},
                            {"selected", id == selected},
                            {"modified", modified != 0}});
        char line[200];
        std::snprintf(line, sizeof(line), "%c %2d  %-20s%s\n", id == selected ? '*' : ' ', id,
                      printable(name).c_str(), modified ? " (modified)" : "");
        text += line;
    }
    emit(Json{{"selected", selected}, {"profiles", list}}, text);
    return closeSession(EXIT_OK);
}

int Controller::cmdProfile() {
    if (mLine.arguments.size() != 2 ||
        (mLine.arguments[0] != "select" && mLine.arguments[0] != "reset")) {
        return usageError("usage: profile select PROFILE | profile reset PROFILE");
    }
    const bool select = mLine.arguments[0] == "select";
    if (!openSession()) return clientFailure();
    int profile = 0;
    std::string name;
    std::string echo;
    if (!resolveProfile(mLine.arguments[1], &profile, &name) ||
        !applyAndWait(packed_set_buffer(select ? kSetSelectedProfile : kSetResetProfile, {profile}),
                      &echo)) {
        return closeSession(clientFailure());
    }
    int selected = 0;
    int modified = 0;
    if (!mClient->getPackedInt(kGetSelectedProfile, 0, &selected) ||
        !mClient->getPackedInt(kGetProfileModified, profile, &modified)) {
        return closeSession(clientFailure());
    }
    Json json = {{"profile", profile},
                 {"name", json_text(name)},
                 {"selected", selected == profile},
                 {"modified", modified != 0}};
    const std::string label = "profile " + std::to_string(profile) + " (" + printable(name) + ")";
    if (select) {
        emit(json, label + " selected");
        return closeSession(selected == profile
                                ? EXIT_OK
                                : failure(EXIT_REFUSED, "the service did not select " + label));
    }
    emit(json, label + " reset to the tuning file's defaults");
    return closeSession(EXIT_OK);
}

int Controller::cmdParams() {
    if (!mLine.arguments.empty()) return usageError("params takes no arguments");
    Json list = Json::array();
    std::string text;
    for (const ExternalParameter& parameter : ExternalParameter::kTable) {
        list.push_back(Json{{"id", parameter.id},
                            {"name", parameter.name},
                            {"length", parameter.length},
                            {"minimum", parameter.minimum},
                            {"maximum", parameter.maximum},
                            {"clamped", parameter.clamps()},
                            {"scope", external_parameter_scope_name(parameter.scope)},
                            {"description", parameter.description}});
        char line[240];
        std::snprintf(line, sizeof(line), "%d  %-29s %2d x [%d..%d]%s  %-14s %s\n", parameter.id,
                      parameter.name, parameter.length, parameter.minimum, parameter.maximum,
                      parameter.clamps() ? "" : " (not clamped)",
                      external_parameter_scope_name(parameter.scope), parameter.description);
        text += line;
    }
    emit(Json{{"parameters", list}}, text);
    return EXIT_OK;
}

// The PARAM argument and the --port option shared by get and set.
int Controller::parseParameterAndPort(const ExternalParameter** parameter, int* port) const {
    *parameter = ExternalParameter::find(mLine.arguments[1]);
    if (!*parameter) {
        return usageError("unknown parameter '" + mLine.arguments[1] +
                          "'; known: " + parameter_names());
    }
    *port = -1;
    if (mLine.port) {
        if (!parse_port(*mLine.port, port)) {
            return usageError("unknown port '" + *mLine.port + "'; ports: " + port_names());
        }
        if (!(*parameter)->perEndpoint()) {
            return usageError(std::string((*parameter)->name) +
                              " is not kept per endpoint, so --port does not apply to it");
        }
    }
    return EXIT_OK;
}

// Opens the session and resolves the PROFILE argument; on failure the session is closed.
int Controller::openProfileSession(int port, int* profile, std::string* name) {
    if (!openSession()) return clientFailure();
    if (!resolveProfile(mLine.arguments[0], profile, name)) {
        return closeSession(clientFailure());
    }
    if (port >= 0 && *profile > 15) {
        return closeSession(failure(EXIT_REFUSED,
                                    "a port value can be read for profiles 0 to 15 only (the "
                                    "request packs profile and port into one byte)"));
    }
    return EXIT_OK;
}

bool Controller::readParameter(int profile, int port, const ExternalParameter& parameter,
                               std::vector<int>* values) {
    if (parameter.id == kIeqPresetId) {
        // Reading 104 back through the packed get gives nothing: the selection is no stored
        // value of the profile. The service's own preset query says what it holds.
        int preset = 0;
        if (!mClient->getProfileIeqPreset(profile, &preset)) return false;
        *values = {preset};
        return true;
    }
    return mClient->getPackedValues(profile, port, parameter.id, parameter.length, values);
}

int Controller::cmdGet() {
    if (mLine.arguments.size() != 2) return usageError("usage: get PROFILE PARAM [--port PORT]");
    const ExternalParameter* parameter = nullptr;
    int port = -1;
    if (int status = parseParameterAndPort(&parameter, &port); status != EXIT_OK) return status;
    int profile = 0;
    std::string name;
    if (int status = openProfileSession(port, &profile, &name); status != EXIT_OK) return status;
    std::vector<int> values;
    if (!readParameter(profile, port, *parameter, &values)) return closeSession(clientFailure());
    Json json = parameter_json(profile, name, port, *parameter);
    json["values"] = json_ints(values);
    emit(json, parameter_text(profile, name, port, *parameter) + join(values));
    return closeSession(EXIT_OK);
}

int Controller::cmdSet() {
    if (mLine.arguments.size() < 3) {
        return usageError("usage: set PROFILE PARAM VALUE... [--port PORT]");
    }
    const ExternalParameter* parameter = nullptr;
    int port = -1;
    if (int status = parseParameterAndPort(&parameter, &port); status != EXIT_OK) return status;
    std::vector<int> values;
    for (size_t i = 2; i < mLine.arguments.size(); ++i) {
        int value = 0;
        if (!parse_value(*parameter, mLine.arguments[i], &value)) {
            return usageError("'" + mLine.arguments[i] + "' is not a value for " + parameter->name);
        }
        values.push_back(value);
    }
    if (static_cast<int>(values.size()) != parameter->length) {
        return usageError(std::string(parameter->name) + " takes " +
                          std::to_string(parameter->length) +
                          (parameter->length == 1 ? " value" : " values") + ", got " +
                          std::to_string(values.size()));
    }
    int profile = 0;
    std::string name;
    if (int status = openProfileSession(port, &profile, &name); status != EXIT_OK) return status;
    std::vector<int> words = port >= 0 ? std::vector<int>{profile, port, parameter->id}
                                       : std::vector<int>{profile, parameter->id};
    words.insert(words.end(), values.begin(), values.end());
    std::string echo;
    std::vector<int> stored;
    if (!applyAndWait(packed_set_buffer(port >= 0 ? kSetPortParameter : kSetParameter, words),
                      &echo) ||
        !readParameter(profile, port, *parameter, &stored)) {
        return closeSession(clientFailure());
    }
    Json json = parameter_json(profile, name, port, *parameter);
    json["sent"] = json_ints(values);
    json["values"] = json_ints(stored);
    json["clamped"] = stored != values;
    std::string text = parameter_text(profile, name, port, *parameter) + join(stored);
    if (stored != values) {
        text += parameter->clamps()
                    ? " (sent " + join(values) + ", range " + std::to_string(parameter->minimum) +
                          ".." + std::to_string(parameter->maximum) + ")"
                    : " (sent " + join(values) + ")";
    }
    emit(json, text);
    return closeSession(EXIT_OK);
}

int Controller::cmdDevices() {
    if (mLine.arguments.size() != 1) return usageError("usage: devices PORT");
    int port = 0;
    if (!parse_port(mLine.arguments[0], &port)) {
        return usageError("unknown port '" + mLine.arguments[0] + "'; ports: " + port_names());
    }
    if (!openSession()) return clientFailure();
    std::vector<std::string> names;
    std::string selected;
    if (!mClient->getAvailableTuningDevices(port, &names) ||
        !mClient->getSelectedTuningDevice(port, &selected)) {
        return closeSession(clientFailure());
    }
    Json list = Json::array();
    std::string text;
    for (const std::string& name : names) {
        list.push_back(json_text(name));
        text += (name == selected ? "* " : "  ") + printable(name) + "\n";
    }
    if (names.empty()) text = "(no tuning devices on " + port_name(port) + ")\n";
    emit(Json{{"port", port},
              {"portName", kPortNames[port]},
              {"selected", json_text(selected)},
              {"devices", list}},
         text);
    return closeSession(EXIT_OK);
}

int Controller::cmdDevice() {
    if (mLine.arguments.empty() || mLine.arguments.size() > 2) {
        return usageError("usage: device PORT [NAME]");
    }
    int port = 0;
    if (!parse_port(mLine.arguments[0], &port)) {
        return usageError("unknown port '" + mLine.arguments[0] + "'; ports: " + port_names());
    }
    if (!openSession()) return clientFailure();
    if (mLine.arguments.size() == 2) {
        const std::string& wanted = mLine.arguments[1];
        std::vector<std::string> names;
        if (!mClient->getAvailableTuningDevices(port, &names)) {
            return closeSession(clientFailure());
        }
        if (std::find(names.begin(), names.end(), wanted) == names.end()) {
            std::string known;
            for (const std::string& name : names) known += (known.empty() ? "" : ", ") + name;
            return closeSession(failure(
                EXIT_REFUSED, "no tuning device '" + wanted + "' on port " + port_name(port) +
                                  " (available: " + (known.empty() ? "none" : known) + ")"));
        }
        mChanged = true;
        if (!mClient->setSelectedTuningDevice(port, wanted)) {
            return closeSession(clientFailure());
        }
        if (!waitForUpdate(wanted)) {
            return closeSession(mClient->error().status != EXIT_OK
                                    ? clientFailure()
                                    : failure(EXIT_UNREACHABLE,
                                              "the service did not report the selection "
                                              "in time"));
        }
    }
    std::string selected;
    if (!mClient->getSelectedTuningDevice(port, &selected)) return closeSession(clientFailure());
    emit(
        Json{{"port", port}, {"portName", kPortNames[port]}, {"device", json_text(selected)}},
        std::string(kPortNames[port]) + ": " + (selected.empty() ? "(none)" : printable(selected)));
    if (mLine.arguments.size() == 2 && selected != mLine.arguments[1]) {
        return closeSession(failure(EXIT_REFUSED, "the service kept " + printable(selected)));
    }
    return closeSession(EXIT_OK);
}

int Controller::cmdProp() {
    if (mLine.arguments.empty() || mLine.arguments.size() > 2) {
        return usageError("usage: prop CODE [VALUE]");
    }
    uint32_t code = 0;
    if (!parse_four_cc(mLine.arguments[0], &code)) {
        return usageError("'" + mLine.arguments[0] +
                          "' is no four-character code (such as ADEV) or 0x number");
    }
    int64_t value = 0;
    if (mLine.arguments.size() == 2 && !parse_int64(mLine.arguments[1], &value)) {
        return usageError("'" + mLine.arguments[1] + "' is not a number");
    }
    if (!openSession()) return clientFailure();
    if (mLine.arguments.size() == 2 && !mClient->setIntParam(code, value)) {
        return closeSession(clientFailure());
    }
    int64_t now = 0;
    if (!mClient->getIntParam(code, &now)) return closeSession(clientFailure());
    emit(Json{{"code", four_cc_text(code)},
              {"hex",
               [code] {
                   char hex[16];
                   std::snprintf(hex, sizeof(hex), "0x%08x", code);
                   return std::string(hex);
               }()},
              {"value", now}},
         four_cc_text(code) + " = " + std::to_string(now));
    return closeSession(EXIT_OK);
}

int Controller::cmdWatch() {
    if (!mLine.arguments.empty()) return usageError("watch takes no arguments");
    if (!openSession()) return clientFailure();
    Registration* registration = mRegistration.get();
    mDeferOutput = false;  // every callback is printed as it comes
    mSignals.setHandler([registration] { registration->interrupt(); });
    emit(
        Json{{"event", "registered"}, {"uid", registration->uid()}, {"type", registration->type()}},
        "watching velorad at " + mSocketPath + " as uid " + std::to_string(registration->uid()) +
            " type " + std::to_string(registration->type()) + " (Ctrl-C to stop)");
    int seen = 0;
    std::string update;
    for (;;) {
        if (mLine.count && seen >= *mLine.count) break;
        Registration::Next next =
            mRegistration->next(std::chrono::steady_clock::time_point::max(), &update);
        if (next == Registration::Next::Interrupted) break;
        if (next == Registration::Next::Ended) {
            mSignals.setHandler(nullptr);
            const grpc::Status& status = mRegistration->endStatus();
            return failure(EXIT_UNREACHABLE,
                           "velorad ended the registration: " +
                               (status.ok() ? std::string("closed") : status.error_message()));
        }
        if (next != Registration::Next::Buffer) continue;
        ++seen;
        DecodedUpdate decoded = decode_update(update);
        emit(decoded.json, decoded.summary);
    }
    int status = closeSession(EXIT_OK);
    mSignals.setHandler(nullptr);
    return status;
}

int Controller::cmdEffect() {
    if (!mLine.arguments.empty()) return usageError("effect takes no arguments");
    if (mLine.root.empty()) {
        return usageError("effect reads the parameter store under the root: give --root DIR");
    }
    SystemPaths::setRoot(mLine.root);
    android::PexParamFileReader reader(android::PexParamStore::getPublishedPath());
    android::KeyedVector<uint32_t, android::PexParamCache*> devices;
    int generation = 0;
    const int result = reader.read(&devices, /*changedOnly=*/false, &generation);
    if (result == -ENOENT) {
        return failure(EXIT_REFUSED, "the effect has no parameters yet: nothing published at " +
                                         reader.getPath() +
                                         " (the service sends the effect its parameters with the "
                                         "first change after it starts)");
    }
    if (result != 0) {
        return failure(EXIT_REFUSED, "cannot read " + reader.getPath() + ": " +
                                         describe_param_file_error(result));
    }
    Json list = Json::array();
    std::string text = "generation " + std::to_string(generation) + "\n";
    for (size_t i = 0; i < devices.size(); ++i) {
        const android::PexParamCache& cache = *devices.valueAt(i);
        Json params = Json::object();
        text += "device " + android_device_text(cache.getDevice()) + ":\n";
        for (const auto& [id, values] : cache) {
            const std::string code = pex_code_text(id);
            params[code] = json_ints({values.begin(), values.end()});
            char line[32];
            std::snprintf(line, sizeof(line), "  %-5s", code.c_str());
            text += line + join({values.begin(), values.end()}) + "\n";
        }
        list.push_back(Json{{"device", cache.getDevice()},
                            {"deviceName", android_device_text(cache.getDevice())},
                            {"params", params}});
    }
    android::PexParamStore::releaseStoredParams(&devices);
    emit(Json{{"path", json_text(reader.getPath())}, {"generation", generation}, {"devices", list}},
         text);
    return EXIT_OK;
}

int Controller::cmdDump() {
    if (!openSession()) return clientFailure();
    std::string text;
    if (!mClient->dump(mLine.arguments, &text)) return closeSession(clientFailure());
    emit(Json{{"dump", json_text(text)}}, text);
    return closeSession(EXIT_OK);
}

int Controller::cmdReloadTuning() {
    if (!mLine.arguments.empty()) return usageError("reload-tuning takes no arguments");
    if (!openSession()) return clientFailure();
    if (!mClient->setIntParam(kReloadTuningCode, 0)) return closeSession(clientFailure());
    if (!waitForUpdate(std::string())) {
        return closeSession(mClient->error().status != EXIT_OK
                                ? clientFailure()
                                : failure(EXIT_REFUSED,
                                          "the service reported no reload (see velorad's "
                                          "log for why)"));
    }
    emit(Json{{"reloaded", true}}, "tuning files reloaded");
    return closeSession(EXIT_OK);
}

int Controller::cmdHelp() {
    if (mLine.arguments.empty()) {
        printUsage(std::cout);
        return EXIT_OK;
    }
    const Command* command = findCommand(mLine.arguments[0]);
    if (!command) return usageError("unknown command '" + mLine.arguments[0] + "'");
    printCommandHelp(*command);
    return EXIT_OK;
}

}  // namespace velora
