/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/veloractl/UpdateDecoder.h"

#include <cstdint>
#include <utility>
#include <vector>

#include "tools/veloractl/ExternalParameter.h"
#include "tools/veloractl/PackedBuffer.h"
#include "tools/veloractl/TextParsing.h"

namespace velora {

namespace {

std::string values_text(const std::vector<int>& words, size_t from) {
    std::string text;
    for (size_t i = from; i < words.size(); ++i) {
        if (!text.empty()) text += ' ';
        text += std::to_string(words[i]);
    }
    return text.empty() ? "(no values)" : text;
}

std::string parameter_text(int id) {
    const ExternalParameter* parameter = ExternalParameter::byId(id);
    return parameter ? std::string(parameter->name) + " (" + std::to_string(id) + ")"
                     : "parameter " + std::to_string(id);
}

bool looks_like_name(const std::string& bytes) {
    for (unsigned char c : bytes) {
        if (c < 0x20 || c >= 0x7f) return false;
    }
    return !bytes.empty();
}

// The service tells its clients of every registration and unregistration with a buffer of
// three words: a marker, the client's type and its uid.
constexpr uint32_t kRegisteredMarker = 0x72656763;    // "regc"
constexpr uint32_t kUnregisteredMarker = 0x75726567;  // "ureg"

bool decode_registration(const std::string& bytes, DecodedUpdate* out) {
    if (bytes.size() != 12) return false;
    std::vector<int> words = unpack_words(bytes);
    const uint32_t marker = static_cast<uint32_t>(words[0]);
    if (marker != kRegisteredMarker && marker != kUnregisteredMarker) return false;
    const bool registered = marker == kRegisteredMarker;
    const uint32_t uid = static_cast<uint32_t>(words[2]);
    // Sent for every call, also one the service refused (a key already held, an unknown one).
    out->kind = registered ? "register-request" : "unregister-request";
    out->summary = std::string(registered ? "registration" : "unregistration") +
                   " requested: uid " + std::to_string(uid) + " type " + std::to_string(words[1]);
    out->json["type"] = words[1];
    out->json["uid"] = uid;
    return true;
}

bool decode_set_buffer(const std::string& bytes, DecodedUpdate* out) {
    if (bytes.size() < 12 || bytes.size() % 4 != 0) return false;
    std::vector<int> words = unpack_words(bytes);
    const uint32_t word0 = static_cast<uint32_t>(words[0]);
    if ((word0 & 0x00ffffff) != 0) return false;
    const int command = static_cast<int>(word0 >> 24);
    Json& json = out->json;
    // Word 1 is what the service wrote back from the request (the switch, the profile), not a
    // result: a request for an unknown profile comes back the same way.
    json["command"] = command;
    json["word1"] = words[1];
    switch (command) {
        case kSetPexOn:
            out->kind = "switch-request";
            out->summary = std::string("effect ") + (words[2] > 0 ? "on" : "off") + " requested";
            json["requestedOn"] = words[2] > 0;
            return true;
        case kSetParameter: {
            if (words.size() < 4) return false;
            out->kind = "set-parameter-request";
            out->summary = "profile " + std::to_string(words[2]) + ": " + parameter_text(words[3]) +
                           " = " + values_text(words, 4) + " requested";
            const ExternalParameter* parameter = ExternalParameter::byId(words[3]);
            json["profile"] = words[2];
            json["parameter"] = words[3];
            if (parameter) json["name"] = parameter->name;
            json["requestedValues"] = json_ints({words.begin() + 4, words.end()});
            return true;
        }
        case kSetPortParameter: {
            if (words.size() < 5) return false;
            out->kind = "set-port-parameter-request";
            out->summary = "profile " + std::to_string(words[2]) + ", port " + port_name(words[3]) +
                           ": " + parameter_text(words[4]) + " = " + values_text(words, 5) +
                           " requested";
            const ExternalParameter* parameter = ExternalParameter::byId(words[4]);
            json["profile"] = words[2];
            json["port"] = words[3];
            json["parameter"] = words[4];
            if (parameter) json["name"] = parameter->name;
            json["requestedValues"] = json_ints({words.begin() + 5, words.end()});
            return true;
        }
        case kSetSelectedProfile:
            out->kind = "select-profile-request";
            out->summary = "profile " + std::to_string(words[2]) + " requested";
            json["requestedProfile"] = words[2];
            return true;
        case kSetResetProfile:
            out->kind = "reset-profile-request";
            out->summary = "reset of profile " + std::to_string(words[2]) + " requested";
            json["profile"] = words[2];
            return true;
        default:
            out->kind = "set-command";
            out->summary = "set command " + std::to_string(command) + " (ignored by the service)";
            return true;
    }
}

}  // namespace

DecodedUpdate decode_update(const std::string& bytes) {
    DecodedUpdate out;
    out.json = Json::object();
    if (bytes.empty()) {
        out.kind = "no-data";
        out.summary = "update without data (a tuning reload, or a request that carried none)";
    } else if (decode_registration(bytes, &out) || decode_set_buffer(bytes, &out)) {
        // decoded
    } else if (looks_like_name(bytes)) {
        out.kind = "tuning-device-request";
        out.summary = "tuning device " + bytes + " requested";
        out.json["requestedDevice"] = json_text(bytes);
    } else {
        out = DecodedUpdate();
        out.json = Json::object();
        out.kind = "bytes";
        out.summary = std::to_string(bytes.size()) + " bytes: " + hex_bytes(bytes);
    }
    // Kind and raw bytes first, so every line starts the same way.
    Json head = {{"event", "update"}, {"kind", out.kind}, {"bytes", hex_bytes(bytes)}};
    head.update(out.json);
    out.json = std::move(head);
    return out;
}

}  // namespace velora
