/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */

// veloractl export and import: the user's settings as one JSON document.

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

#include "model/Endpoint.h"
#include "model/Port.h"
#include "tools/common/Json.h"
#include "tools/veloractl/Controller.h"
#include "tools/veloractl/PackedBuffer.h"
#include "tools/veloractl/TextParsing.h"

namespace velora {

namespace {

constexpr char kDocumentFormat[] = "velora-settings";
constexpr int kDocumentVersion = 1;

// Settings kept per endpoint are read and written through the first port that uses the
// endpoint, the way the settings app addresses them.
int port_of_endpoint(int endpoint) {
    for (int port = 0; port < kPortCount; ++port) {
        auto it = kPortNameToEndpoint.find(kPortNames[port]);
        if (it != kPortNameToEndpoint.end() && it->second == endpoint) return port;
    }
    return -1;
}

std::string values_text(const std::vector<int>& values) {
    std::string text;
    for (int value : values) text += (text.empty() ? "" : " ") + std::to_string(value);
    return text;
}

// The values of one parameter in a document: an array of exactly `length` integers.
bool document_values(const Json& json, int length, std::vector<int>* values) {
    if (!json.is_array() || static_cast<int>(json.size()) != length) return false;
    values->clear();
    for (const Json& item : json) {
        if (!item.is_number_integer()) return false;
        const int64_t value = item.get<int64_t>();
        if (value < INT32_MIN || value > INT32_MAX) return false;
        values->push_back(static_cast<int>(value));
    }
    return true;
}

}  // namespace

bool Controller::exportSettings(Json* document) {
    bool on = false;
    int count = 0;
    int selected = 0;
    int version = 0;
    if (!mClient->getPexEnabled(&on) || !profileCount(&count) ||
        !mClient->getPackedInt(kGetSelectedProfile, 0, &selected) ||
        !mClient->getDefaultXmlFormatVersion(&version)) {
        return false;
    }
    Json profiles = Json::array();
    std::string selectedName;
    for (int id = 0; id < count; ++id) {
        std::string name;
        if (!mClient->getProfileName(id, &name)) return false;
        if (id == selected) selectedName = name;
        Json parameters = Json::object();
        Json endpoints = Json::object();
        for (const ExternalParameter& parameter : ExternalParameter::kTable) {
            if (parameter.perEndpoint()) continue;
            std::vector<int> values;
            if (!readParameter(id, -1, parameter, &values)) return false;
            parameters[parameter.name] = json_ints(values);
        }
        for (int endpoint = 0; endpoint < kEndpointCount; ++endpoint) {
            const int port = port_of_endpoint(endpoint);
            if (port < 0 || id > 15) continue;  // a port read packs the profile into 4 bits
            Json values = Json::object();
            for (const ExternalParameter& parameter : ExternalParameter::kTable) {
                if (!parameter.perEndpoint()) continue;
                std::vector<int> read;
                if (!readParameter(id, port, parameter, &read)) return false;
                values[parameter.name] = json_ints(read);
            }
            endpoints[kEndpointNames[endpoint]] = values;
        }
        profiles.push_back(Json{{"id", id},
                                {"name", json_text(name)},
                                {"parameters", parameters},
                                {"endpoints", endpoints}});
    }
    Json devices = Json::object();
    for (int port = 0; port < kPortCount; ++port) {
        std::string device;
        if (!mClient->getSelectedTuningDevice(port, &device)) return false;
        devices[kPortNames[port]] = json_text(device);
    }
    *document = Json{{"format", kDocumentFormat},
                     {"version", kDocumentVersion},
                     {"tuningFormatVersion", std::to_string((version >> 16) & 0xff) + "." +
                                                 std::to_string((version >> 8) & 0xff) + "." +
                                                 std::to_string(version & 0xff)},
                     {"on", on},
                     {"selectedProfile", json_text(selectedName)},
                     {"profiles", profiles},
                     {"tuningDevices", devices}};
    return true;
}

int Controller::cmdExport() {
    if (mLine.arguments.size() > 1) return usageError();
    std::optional<SessionGuard> session = openSession();
    if (!session) return clientFailure();
    Json document;
    if (!exportSettings(&document)) return clientFailure();
    const std::string text = json_dump(document, 2) + "\n";
    if (mLine.arguments.empty() || mLine.arguments[0] == "-") {
        emit(document, text);
        return session->finish(EXIT_OK);
    }
    const std::string& path = mLine.arguments[0];
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    if (!out) return failure(EXIT_REFUSED, "cannot write " + path + ": " + std::strerror(errno));
    emit(Json{{"exported", json_text(path)}}, "settings exported to " + printable(path));
    return session->finish(EXIT_OK);
}

// Applies one parameter and reads it back; what the service did not keep as sent is a
// problem of the import.
bool Controller::importParameter(int profile, const std::string& profileName, int port,
                                 const ExternalParameter& parameter, const Json& json,
                                 std::vector<std::string>* problems) {
    const std::string where = "profile '" + printable(profileName) + "'" +
                              (port >= 0 ? std::string(", ") + kPortNames[port] : "") + ": " +
                              parameter.name + " (" + std::to_string(parameter.id) + ")";
    std::vector<int> values;
    if (!document_values(json, parameter.length, &values)) {
        problems->push_back(where + ": not " + std::to_string(parameter.length) +
                            " integer value(s); not applied");
        return true;
    }
    std::vector<int> words = port >= 0 ? std::vector<int>{profile, port, parameter.id}
                                       : std::vector<int>{profile, parameter.id};
    words.insert(words.end(), values.begin(), values.end());
    std::string echo;
    std::vector<int> stored;
    if (!applyAndWait(packed_set_buffer(port >= 0 ? kSetPortParameter : kSetParameter, words),
                      &echo) ||
        !readParameter(profile, port, parameter, &stored)) {
        return false;
    }
    if (stored != values) {
        problems->push_back(where + ": sent " + values_text(values) + ", the service holds " +
                            values_text(stored) +
                            (parameter.clamps() ? " (range " + std::to_string(parameter.minimum) +
                                                      ".." + std::to_string(parameter.maximum) + ")"
                                                : ""));
    }
    return true;
}

int Controller::cmdImport() {
    if (mLine.arguments.size() != 1) return usageError();
    const std::string& path = mLine.arguments[0];
    const std::string name = path == "-" ? "standard input" : path;
    std::ifstream in(path == "-" ? "/dev/stdin" : path, std::ios::binary);
    if (!in) return failure(EXIT_REFUSED, "cannot read " + name + ": " + std::strerror(errno));
    std::stringstream buffer;
    buffer << in.rdbuf();
    Json document;
    std::string error;
    if (!json_parse(buffer.str(), &document, &error)) {
        return failure(EXIT_REFUSED, name + " is not JSON: " + error);
    }
    if (!document.is_object() || document.value("format", Json()) != kDocumentFormat) {
        return failure(EXIT_REFUSED, name +
                                         " is not a settings document of veloractl export "
                                         "(its \"format\" is not \"" +
                                         kDocumentFormat + "\")");
    }
    if (document.value("version", Json()) != kDocumentVersion) {
        return failure(EXIT_REFUSED, name + ": document version " +
                                         json_dump(document.value("version", Json())) +
                                         " is not one this veloractl reads (" +
                                         std::to_string(kDocumentVersion) + ")");
    }
    std::optional<SessionGuard> session = openSession();
    if (!session) return clientFailure();

    std::vector<std::string> problems;
    int applied = 0;
    int count = 0;
    if (!profileCount(&count)) return clientFailure();
    std::vector<std::string> names(count);
    for (int id = 0; id < count; ++id) {
        if (!mClient->getProfileName(id, &names[id])) return clientFailure();
    }
    auto profileByName = [&](const Json& name) {
        for (int id = 0; id < count; ++id) {
            if (name.is_string() && names[id] == name.get<std::string>()) return id;
        }
        return -1;
    };

    const Json profiles = document.value("profiles", Json::array());
    for (const Json& entry : profiles.is_array() ? profiles : Json::array()) {
        const Json name = entry.is_object() ? entry.value("name", Json()) : Json();
        const int profile = profileByName(name);
        if (profile < 0) {
            problems.push_back("profile " + json_dump(name) +
                               ": this device has no such profile; not applied");
            continue;
        }
        const Json parameters = entry.value("parameters", Json::object());
        for (const auto& [key, values] : parameters.items()) {
            const ExternalParameter* parameter = ExternalParameter::find(key);
            if (!parameter || parameter->perEndpoint()) {
                problems.push_back("profile '" + printable(names[profile]) + "': parameter " + key +
                                   " is no profile-wide parameter; not applied");
                continue;
            }
            const size_t before = problems.size();
            if (!importParameter(profile, names[profile], -1, *parameter, values, &problems)) {
                return clientFailure();
            }
            if (problems.size() == before) ++applied;
        }
        const Json endpoints = entry.value("endpoints", Json::object());
        for (const auto& [endpointName, values] : endpoints.items()) {
            int port = -1;
            for (int endpoint = 0; endpoint < kEndpointCount; ++endpoint) {
                if (endpointName == kEndpointNames[endpoint]) port = port_of_endpoint(endpoint);
            }
            if (port < 0 || profile > 15 || !values.is_object()) {
                problems.push_back("profile '" + printable(names[profile]) + "': endpoint '" +
                                   printable(endpointName) + "' cannot be set; not applied");
                continue;
            }
            for (const auto& [key, value] : values.items()) {
                const ExternalParameter* parameter = ExternalParameter::find(key);
                if (!parameter || !parameter->perEndpoint()) {
                    problems.push_back("profile '" + printable(names[profile]) + "', " +
                                       endpointName + ": parameter " + key +
                                       " is not kept per endpoint; not applied");
                    continue;
                }
                const size_t before = problems.size();
                if (!importParameter(profile, names[profile], port, *parameter, value, &problems)) {
                    return clientFailure();
                }
                if (problems.size() == before) ++applied;
            }
        }
    }

    const Json devices = document.value("tuningDevices", Json::object());
    for (const auto& [portName, device] : devices.items()) {
        int port = -1;
        std::vector<std::string> available;
        if (!parse_port(portName, &port)) {
            problems.push_back("port '" + printable(portName) + "': no such port; not applied");
            continue;
        }
        if (!device.is_string()) {
            problems.push_back(portName + ": the tuning device is no text; not applied");
            continue;
        }
        const std::string wanted = device.get<std::string>();
        std::string current;
        if (!mClient->getAvailableTuningDevices(port, &available) ||
            !mClient->getSelectedTuningDevice(port, &current)) {
            return clientFailure();
        }
        if (current != wanted &&
            std::find(available.begin(), available.end(), wanted) == available.end()) {
            problems.push_back(portName + ": this device has no tuning device '" +
                               printable(wanted) + "'; not applied");
            continue;
        }
        if (current != wanted) {
            mChanged = true;
            if (!mClient->setSelectedTuningDevice(port, wanted) ||
                !waitForUpdate(wanted, EXIT_UNREACHABLE,
                               "the service did not report the selection in time")) {
                return clientFailure();
            }
        }
        ++applied;
    }

    const Json selected = document.value("selectedProfile", Json());
    if (!selected.is_null()) {
        const int profile = profileByName(selected);
        std::string echo;
        if (profile < 0) {
            problems.push_back("selected profile " + json_dump(selected) +
                               ": this device has no such profile; not applied");
        } else if (!applyAndWait(packed_set_buffer(kSetSelectedProfile, {profile}), &echo)) {
            return clientFailure();
        } else {
            ++applied;
        }
    }
    const Json on = document.value("on", Json());
    if (on.is_boolean()) {
        std::string echo;
        if (!applyAndWait(packed_set_buffer(kSetPexOn, {on.get<bool>() ? 1 : 0}), &echo)) {
            return clientFailure();
        }
        ++applied;
    } else if (!on.is_null()) {
        problems.push_back("\"on\" is not true or false; not applied");
    }

    Json notApplied = Json::array();
    std::string text;
    for (const std::string& problem : problems) {
        notApplied.push_back(json_text(problem));
        text += "not applied: " + problem + "\n";
    }
    text += "from " + printable(name) + ": " + std::to_string(applied) + " applied as given, " +
            std::to_string(problems.size()) + " not";
    emit(Json{{"applied", applied}, {"notApplied", notApplied}}, text);
    return session->finish(problems.empty() ? EXIT_OK : EXIT_REFUSED);
}

}  // namespace velora
