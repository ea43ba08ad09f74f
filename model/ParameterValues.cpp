/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/ParameterValues.h"

#include <charconv>
#include <utility>

namespace velora {

namespace {

bool in_range(Parameter parameter) { return parameter >= 0 && parameter < kParameterCount; }

// The stored form of a list: every element followed by a comma, the last one too.
void append_elements(std::string* out, const int* begin, const int* end) {
    char number[16];
    for (const int* element = begin; element != end; ++element) {
        out->append(number, std::to_chars(number, number + sizeof(number), *element).ptr);
        *out += ',';
    }
}

}  // namespace

ParameterValues::~ParameterValues() = default;

bool ParameterValues::isDirty() const { return mDirty; }

void ParameterValues::setDirty(bool dirty) { mDirty = dirty; }

void ParameterValues::set(Parameter parameter, std::vector<int> value) {
    mValues[parameter] = std::move(value);
    forgetStoredText(parameter);
    mDirty = true;
}

void ParameterValues::setStored(Parameter parameter, std::vector<int> value,
                                std::string storedText) {
    mValues[parameter] = std::move(value);
    forgetStoredText(parameter);
    mStoredTexts[parameter] = std::move(storedText);
    mDirty = true;
}

void ParameterValues::setStoredAsWritten(Parameter parameter, std::vector<int> value) {
    mValues[parameter] = std::move(value);
    if (!mStoredTexts.empty()) mStoredTexts.erase(parameter);
    if (in_range(parameter)) mStoredAsWritten.set(static_cast<size_t>(parameter));
    mDirty = true;
}

bool ParameterValues::getStoredText(Parameter parameter, std::string* text) const {
    if (in_range(parameter) && mStoredAsWritten.test(static_cast<size_t>(parameter))) {
        auto value = mValues.find(parameter);
        if (value == mValues.end() || value->second.empty()) return false;
        text->clear();
        // The text that was read is the value without the element its reading added.
        const int* begin = value->second.data();
        append_elements(text, begin, begin + value->second.size() - 1);
        return true;
    }
    auto stored = mStoredTexts.find(parameter);
    if (stored == mStoredTexts.end()) return false;
    *text = stored->second;
    return true;
}

void ParameterValues::forgetStoredText(Parameter parameter) {
    if (!mStoredTexts.empty()) mStoredTexts.erase(parameter);
    if (in_range(parameter)) mStoredAsWritten.reset(static_cast<size_t>(parameter));
}

bool ParameterValues::checkAndUpdate(Parameter parameter, const std::vector<int>& value) {
    if (getValidParams().count(parameter) == 0) {
        return false;
    }
    // The entry is made even when nothing changes: callers rely on a valid parameter being
    // present after it has been offered once.
    if (mValues[parameter] == value) {
        return false;
    }
    set(parameter, value);
    return true;
}

bool ParameterValues::equals(const ParameterValues& other) const {
    if (this == &other) {
        return true;
    }
    return mValues == other.mValues;
}

std::string ParameterValues::valuesToString() const {
    // Built by appending: a rebuild writes every value of every record through here, and a
    // stream costs several times the text itself.
    std::string out;
    for (const auto& [parameter, value] : mValues) {
        // An IEQ preset's type is stored in its own field; printing it again as a value
        // would store it twice.
        if (parameter == ieq_id) {
            continue;
        }
        const char* name = parameter_name(parameter);
        out += name != nullptr ? std::string(name) : std::to_string(static_cast<int>(parameter));
        out += '=';
        append_elements(&out, value.data(), value.data() + value.size());
        out += '\n';
    }
    return out;
}

}  // namespace velora
