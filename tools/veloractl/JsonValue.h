/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velora {

// A small JSON value for veloractl's --json output: null, bool, integer, string, array or
// object (members kept in insertion order so the output reads like the human form). Strings
// are byte strings; bytes that are not printable ASCII are written as \u00NN escapes, so any
// name the service returns prints as valid JSON.
class JsonValue {
public:
    enum class Type { Null, Bool, Int, String, Array, Object };

    JsonValue() = default;
    JsonValue(bool value);  // NOLINT: implicit by design, values read like literals
    JsonValue(int value);
    JsonValue(int64_t value);
    JsonValue(uint32_t value);
    JsonValue(const char* value);
    JsonValue(std::string value);

    static JsonValue array();
    static JsonValue object();
    static JsonValue intArray(const std::vector<int>& values);

    // Arrays: append. Objects: add a member (a repeated key is added again, never merged).
    JsonValue& push(JsonValue value);
    JsonValue& set(const std::string& key, JsonValue value);
    // Objects: adds every member of another object, in its order.
    JsonValue& extend(const JsonValue& other);

    Type type() const { return mType; }
    std::string dump() const;

private:
    void write(std::string* out) const;

    Type mType = Type::Null;
    bool mBool = false;
    int64_t mInt = 0;
    std::string mString;
    std::vector<JsonValue> mItems;
    std::vector<std::string> mKeys;
};

}  // namespace velora
