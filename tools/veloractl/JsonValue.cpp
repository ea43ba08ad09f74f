/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/veloractl/JsonValue.h"

#include <cstdio>

namespace velora {

JsonValue::JsonValue(bool value) : mType(Type::Bool), mBool(value) {}
JsonValue::JsonValue(int value) : mType(Type::Int), mInt(value) {}
JsonValue::JsonValue(int64_t value) : mType(Type::Int), mInt(value) {}
JsonValue::JsonValue(uint32_t value) : mType(Type::Int), mInt(value) {}
JsonValue::JsonValue(const char* value) : mType(Type::String), mString(value ? value : "") {}
JsonValue::JsonValue(std::string value) : mType(Type::String), mString(std::move(value)) {}

JsonValue JsonValue::array() {
    JsonValue value;
    value.mType = Type::Array;
    return value;
}

JsonValue JsonValue::object() {
    JsonValue value;
    value.mType = Type::Object;
    return value;
}

JsonValue JsonValue::intArray(const std::vector<int>& values) {
    JsonValue value = array();
    for (int v : values) value.push(v);
    return value;
}

JsonValue& JsonValue::push(JsonValue value) {
    mItems.push_back(std::move(value));
    return *this;
}

JsonValue& JsonValue::set(const std::string& key, JsonValue value) {
    mKeys.push_back(key);
    mItems.push_back(std::move(value));
    return *this;
}

JsonValue& JsonValue::extend(const JsonValue& other) {
    for (size_t i = 0; i < other.mKeys.size(); ++i) set(other.mKeys[i], other.mItems[i]);
    return *this;
}

static void write_string(const std::string& text, std::string* out) {
    *out += '"';
    for (unsigned char c : text) {
        switch (c) {
            case '"':
                *out += "\\\"";
                break;
            case '\\':
                *out += "\\\\";
                break;
            case '\n':
                *out += "\\n";
                break;
            case '\t':
                *out += "\\t";
                break;
            default:
                if (c < 0x20 || c >= 0x7f) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof(escaped), "\\u%04x", c);
                    *out += escaped;
                } else {
                    *out += static_cast<char>(c);
                }
        }
    }
    *out += '"';
}

void JsonValue::write(std::string* out) const {
    switch (mType) {
        case Type::Null:
            *out += "null";
            break;
        case Type::Bool:
            *out += mBool ? "true" : "false";
            break;
        case Type::Int:
            *out += std::to_string(mInt);
            break;
        case Type::String:
            write_string(mString, out);
            break;
        case Type::Array:
            *out += '[';
            for (size_t i = 0; i < mItems.size(); ++i) {
                if (i > 0) *out += ',';
                mItems[i].write(out);
            }
            *out += ']';
            break;
        case Type::Object:
            *out += '{';
            for (size_t i = 0; i < mItems.size(); ++i) {
                if (i > 0) *out += ',';
                write_string(mKeys[i], out);
                *out += ':';
                mItems[i].write(out);
            }
            *out += '}';
            break;
    }
}

std::string JsonValue::dump() const {
    std::string out;
    write(&out);
    return out;
}

}  // namespace velora
