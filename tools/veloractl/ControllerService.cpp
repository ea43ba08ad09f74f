/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */

// veloractl's commands on the service itself: tuning devices, integer properties, watching
// the callbacks, the effect's parameters, the dump and reloading the tuning files.

#include <pexparamstorage/PexParamFileReader.h>
#include <pexparamstorage/PexParamStore.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>

#include "common/SystemPaths.h"
#include "model/AndroidDevice.h"
#include "model/Port.h"
#include "tools/common/Json.h"
#include "tools/common/ParamFileText.h"
#include "tools/veloractl/Controller.h"
#include "tools/veloractl/ControllerText.h"
#include "tools/veloractl/IntProperty.h"
#include "tools/veloractl/PackedBuffer.h"
#include "tools/veloractl/TextParsing.h"
#include "tools/veloractl/UpdateDecoder.h"

namespace velora {

namespace {

// Integer-property codes veloractl itself uses.
constexpr uint32_t kReloadTuningCode = 0x524c5446;  // "RLTF"

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

}  // namespace

int Controller::cmdDevices() {
    if (mLine.arguments.size() != 1) return usageError();
    int port = 0;
    if (!parse_port(mLine.arguments[0], &port)) {
        return usageError("unknown port '" + mLine.arguments[0] + "'; ports: " + port_names());
    }
    std::optional<SessionGuard> session = openSession();
    if (!session) return clientFailure();
    std::vector<std::string> names;
    std::string selected;
    if (!mClient->getAvailableTuningDevices(port, &names) ||
        !mClient->getSelectedTuningDevice(port, &selected)) {
        return clientFailure();
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
    return session->finish(EXIT_OK);
}

int Controller::cmdDevice() {
    if (mLine.arguments.empty() || mLine.arguments.size() > 2) {
        return usageError();
    }
    int port = 0;
    if (!parse_port(mLine.arguments[0], &port)) {
        return usageError("unknown port '" + mLine.arguments[0] + "'; ports: " + port_names());
    }
    std::optional<SessionGuard> session = openSession();
    if (!session) return clientFailure();
    if (mLine.arguments.size() == 2) {
        const std::string& wanted = mLine.arguments[1];
        std::vector<std::string> names;
        if (!mClient->getAvailableTuningDevices(port, &names)) {
            return clientFailure();
        }
        if (std::find(names.begin(), names.end(), wanted) == names.end()) {
            std::string known;
            for (const std::string& name : names) known += (known.empty() ? "" : ", ") + name;
            return session->finish(failure(
                EXIT_REFUSED, "no tuning device '" + wanted + "' on port " + port_name(port) +
                                  " (available: " + (known.empty() ? "none" : known) + ")"));
        }
        mChanged = true;
        if (!mClient->setSelectedTuningDevice(port, wanted)) {
            return clientFailure();
        }
        if (!waitForUpdate(wanted, EXIT_UNREACHABLE,
                           "the service did not report the selection in time")) {
            return clientFailure();
        }
    }
    std::string selected;
    if (!mClient->getSelectedTuningDevice(port, &selected)) return clientFailure();
    emit(
        Json{{"port", port}, {"portName", kPortNames[port]}, {"device", json_text(selected)}},
        std::string(kPortNames[port]) + ": " + (selected.empty() ? "(none)" : printable(selected)));
    if (mLine.arguments.size() == 2 && selected != mLine.arguments[1]) {
        return session->finish(failure(EXIT_REFUSED, "the service kept " + printable(selected)));
    }
    return session->finish(EXIT_OK);
}

int Controller::cmdProp() {
    if (mLine.arguments.empty() || mLine.arguments.size() > 2) return usageError();
    const bool write = mLine.arguments.size() == 2;
    uint32_t code = 0;
    std::string text = mLine.arguments[0];
    if (text.size() == 4) {
        std::transform(text.begin(), text.end(), text.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    }
    if (!parse_four_cc(text, &code)) {
        return failure(EXIT_REFUSED, "'" + mLine.arguments[0] +
                                         "' is not a property code: four letters such as ADEV, "
                                         "or a number such as 0x41444556");
    }
    const IntProperty* property = find_int_property(code);
    if (property == nullptr) {
        return failure(EXIT_REFUSED, "the service has no property " + four_cc_text(code) +
                                         " (it has " + int_property_names() + ")");
    }
    if (write && !property->writable) {
        return failure(EXIT_REFUSED, std::string(property->code) +
                                         " can only be read (the service takes writes to " +
                                         int_property_names(/*writableOnly=*/true) + ")");
    }
    if (!write && !property->readable) {
        return failure(EXIT_REFUSED, std::string(property->code) + " can only be written (prop " +
                                         property->code + " VALUE)");
    }
    int64_t value = 0;
    if (write && !parse_int64(mLine.arguments[1], &value)) {
        return usageError("'" + mLine.arguments[1] + "' is not a number");
    }
    std::optional<SessionGuard> session = openSession();
    if (!session) return clientFailure();
    if (write) {
        mChanged = true;
        if (!mClient->setIntParam(code, value)) return clientFailure();
    }
    char hex[16];
    std::snprintf(hex, sizeof(hex), "0x%08x", code);
    if (!property->readable) {
        emit(Json{{"code", property->code}, {"hex", hex}, {"written", value}},
             std::string(property->code) + " written: " + std::to_string(value));
        return session->finish(EXIT_OK);
    }
    int64_t now = 0;
    if (!mClient->getIntParam(code, &now)) return clientFailure();
    emit(Json{{"code", property->code}, {"hex", hex}, {"value", now}},
         std::string(property->code) + " = " + std::to_string(now) + "  (" + property->description +
             ")");
    return session->finish(EXIT_OK);
}

void Controller::nameProfileAndPort(DecodedUpdate* decoded) {
    Json& json = decoded->json;
    std::string where;
    if (!json.contains("profile")) {
        int selected = 0;
        std::string name;
        if (mClient->getPackedInt(kGetSelectedProfile, 0, &selected) &&
            mClient->getProfileName(selected, &name)) {
            json["profile"] = selected;
            json["profileName"] = json_text(name);
            where = "selected profile " + std::to_string(selected) + " " + printable(name);
        }
    }
    if (!json.contains("port")) {
        // A tuning device belongs to the port that offers it; anything else is not kept
        // per port.
        std::string port = "every port";
        if (decoded->kind == "tuning-device-request") {
            const std::string device = json.value("requestedDevice", std::string());
            for (int p = 0; p < kPortCount; ++p) {
                std::vector<std::string> names;
                if (mClient->getAvailableTuningDevices(p, &names) &&
                    std::find(names.begin(), names.end(), device) != names.end()) {
                    json["port"] = p;
                    port = std::string("port ") + kPortNames[p];
                    break;
                }
            }
        }
        if (!json.contains("port")) json["port"] = "all";
        where += (where.empty() ? "" : ", ") + port;
    }
    if (!where.empty()) decoded->summary += " (" + where + ")";
}

int Controller::cmdWatch() {
    if (!mLine.arguments.empty()) return usageError();
    std::optional<SessionGuard> session = openSession();
    if (!session) return clientFailure();
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
        DecodedUpdate decoded = decode_update(update);
        // Other clients coming and going are shown, but only changes count.
        if (decoded.kind != "register-request" && decoded.kind != "unregister-request") {
            ++seen;
            nameProfileAndPort(&decoded);
        }
        emit(decoded.json, decoded.summary);
    }
    int status = session->finish(EXIT_OK);
    mSignals.setHandler(nullptr);
    return status;
}

int Controller::cmdEffect() {
    if (!mLine.arguments.empty()) return usageError();
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
            text += line + join_values({values.begin(), values.end()}) + "\n";
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
    std::optional<SessionGuard> session = openSession();
    if (!session) return clientFailure();
    std::string text;
    if (!mClient->dump(mLine.arguments, &text)) return clientFailure();
    emit(Json{{"dump", json_text(text)}}, text);
    return session->finish(EXIT_OK);
}

int Controller::cmdReloadTuning() {
    if (!mLine.arguments.empty()) return usageError();
    std::optional<SessionGuard> session = openSession();
    if (!session) return clientFailure();
    if (!mClient->setIntParam(kReloadTuningCode, 0)) return clientFailure();
    if (!waitForUpdate(std::string(), EXIT_REFUSED,
                       "the service reported no reload (see velorad's log for why)")) {
        return clientFailure();
    }
    emit(Json{{"reloaded", true}}, "tuning files reloaded");
    return session->finish(EXIT_OK);
}

}  // namespace velora
