/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */

// veloractl's commands on the effect's settings: status, on, off, profiles, profile, params,
// get and set.

#include <cstdio>

#include "model/Port.h"
#include "tools/common/Json.h"
#include "tools/veloractl/Controller.h"
#include "tools/veloractl/ControllerText.h"
#include "tools/veloractl/PackedBuffer.h"
#include "tools/veloractl/TextParsing.h"

namespace velora {

namespace {

// The external id that selects a profile's IEQ preset.
constexpr int kIeqPresetId = 104;

std::string version_text(int version) {
    if (version < 0) return describe_result(version);
    return std::to_string((version >> 16) & 0xff) + "." + std::to_string((version >> 8) & 0xff) +
           "." + std::to_string(version & 0xff);
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

int Controller::cmdStatus() {
    if (!mLine.arguments.empty()) return usageError();
    std::optional<SessionGuard> session = openSession();
    if (!session) return clientFailure();
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
        return clientFailure();
    }
    Json ports = Json::array();
    std::string portText;
    for (int port = 0; port < kPortCount; ++port) {
        std::string device;
        if (!mClient->getSelectedTuningDevice(port, &device)) {
            return clientFailure();
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
    return session->finish(EXIT_OK);
}

int Controller::cmdOn() { return switchEffect(true); }

int Controller::cmdOff() { return switchEffect(false); }

int Controller::switchEffect(bool on) {
    if (!mLine.arguments.empty()) return usageError();
    std::optional<SessionGuard> session = openSession();
    if (!session) return clientFailure();
    std::string echo;
    bool now = false;
    if (!applyAndWait(packed_set_buffer(kSetPexOn, {on ? 1 : 0}), &echo) ||
        !mClient->getPexEnabled(&now)) {
        return clientFailure();
    }
    emit(Json{{"on", now}}, std::string("effect: ") + (now ? "on" : "off"));
    return session->finish(
        now == on ? EXIT_OK : failure(EXIT_REFUSED, "the service did not switch the effect"));
}

int Controller::cmdProfiles() {
    if (!mLine.arguments.empty()) return usageError();
    std::optional<SessionGuard> session = openSession();
    if (!session) return clientFailure();
    int count = 0;
    int selected = 0;
    if (!profileCount(&count) || !mClient->getPackedInt(kGetSelectedProfile, 0, &selected)) {
        return clientFailure();
    }
    Json list = Json::array();
    std::string text;
    for (int id = 0; id < count; ++id) {
        std::string name;
        int modified = 0;
        if (!mClient->getProfileName(id, &name) ||
            !mClient->getPackedInt(kGetProfileModified, id, &modified)) {
            return clientFailure();
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
    return session->finish(EXIT_OK);
}

int Controller::cmdProfile() {
    if (mLine.arguments.size() != 2 ||
        (mLine.arguments[0] != "select" && mLine.arguments[0] != "reset")) {
        return usageError();
    }
    const bool select = mLine.arguments[0] == "select";
    std::optional<SessionGuard> session = openSession();
    if (!session) return clientFailure();
    int profile = 0;
    std::string name;
    std::string echo;
    if (!resolveProfile(mLine.arguments[1], &profile, &name) ||
        !applyAndWait(packed_set_buffer(select ? kSetSelectedProfile : kSetResetProfile, {profile}),
                      &echo)) {
        return clientFailure();
    }
    int selected = 0;
    int modified = 0;
    if (!mClient->getPackedInt(kGetSelectedProfile, 0, &selected) ||
        !mClient->getPackedInt(kGetProfileModified, profile, &modified)) {
        return clientFailure();
    }
    Json json = {{"profile", profile},
                 {"name", json_text(name)},
                 {"selected", selected == profile},
                 {"modified", modified != 0}};
    const std::string label = "profile " + std::to_string(profile) + " (" + printable(name) + ")";
    if (select) {
        emit(json, label + " selected");
        return session->finish(selected == profile
                                   ? EXIT_OK
                                   : failure(EXIT_REFUSED, "the service did not select " + label));
    }
    emit(json, label + " reset to the tuning file's defaults");
    return session->finish(EXIT_OK);
}

int Controller::cmdParams() {
    if (!mLine.arguments.empty()) return usageError();
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

// Opens the session and resolves the PROFILE argument. Empty, with the client's error set,
// when either fails.
std::optional<SessionGuard> Controller::openProfileSession(int port, int* profile,
                                                           std::string* name) {
    std::optional<SessionGuard> session = openSession();
    if (!session || !resolveProfile(mLine.arguments[0], profile, name)) return std::nullopt;
    if (port >= 0 && *profile > 15) {
        mClient->fail(EXIT_REFUSED,
                      "a port value can be read for profiles 0 to 15 only (the request packs "
                      "profile and port into one byte)");
        return std::nullopt;
    }
    return session;
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
    if (mLine.arguments.size() != 2) return usageError();
    const ExternalParameter* parameter = nullptr;
    int port = -1;
    if (int status = parseParameterAndPort(&parameter, &port); status != EXIT_OK) return status;
    int profile = 0;
    std::string name;
    std::optional<SessionGuard> session = openProfileSession(port, &profile, &name);
    if (!session) return clientFailure();
    std::vector<int> values;
    if (!readParameter(profile, port, *parameter, &values)) return clientFailure();
    Json json = parameter_json(profile, name, port, *parameter);
    json["values"] = json_ints(values);
    emit(json, parameter_text(profile, name, port, *parameter) + join_values(values));
    return session->finish(EXIT_OK);
}

int Controller::cmdSet() {
    if (mLine.arguments.size() < 3) {
        return usageError();
    }
    const ExternalParameter* parameter = nullptr;
    int port = -1;
    if (int status = parseParameterAndPort(&parameter, &port); status != EXIT_OK) return status;
    std::vector<int> values;
    for (size_t i = 2; i < mLine.arguments.size(); ++i) {
        int value = 0;
        if (!parse_parameter_value(*parameter, mLine.arguments[i], &value)) {
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
    std::optional<SessionGuard> session = openProfileSession(port, &profile, &name);
    if (!session) return clientFailure();
    std::vector<int> words = port >= 0 ? std::vector<int>{profile, port, parameter->id}
                                       : std::vector<int>{profile, parameter->id};
    words.insert(words.end(), values.begin(), values.end());
    std::string echo;
    std::vector<int> stored;
    if (!applyAndWait(packed_set_buffer(port >= 0 ? kSetPortParameter : kSetParameter, words),
                      &echo) ||
        !readParameter(profile, port, *parameter, &stored)) {
        return clientFailure();
    }
    Json json = parameter_json(profile, name, port, *parameter);
    json["sent"] = json_ints(values);
    json["values"] = json_ints(stored);
    json["clamped"] = stored != values;
    std::string text = parameter_text(profile, name, port, *parameter) + join_values(stored);
    if (stored != values) {
        text += parameter->clamps() ? " (sent " + join_values(values) + ", range " +
                                          std::to_string(parameter->minimum) + ".." +
                                          std::to_string(parameter->maximum) + ")"
                                    : " (sent " + join_values(values) + ")";
    }
    emit(json, text);
    return session->finish(EXIT_OK);
}

}  // namespace velora
