/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/ParameterValues.h"

#include <charconv>
#include <utility>

namespace velora {

ParameterValues::~ParameterValues() = default;

bool ParameterValues::isDirty() const { return mDirty; }

void ParameterValues::setDirty(bool dirty) { mDirty = dirty; }

void ParameterValues::set(Parameter parameter, std::vector<int> value) {
    mValues[parameter] = std::move(value);
    mStoredTexts.erase(parameter);
    mDirty = true;
}

void ParameterValues::setStored(Parameter parameter, std::vector<int> value,
                                std::string storedText) {
    mValues[parameter] = std::move(value);
    mStoredTexts[parameter] = std::move(storedText);
    mDirty = true;
}

const std::string* ParameterValues::getStoredText(Parameter parameter) const {
    auto text = mStoredTexts.find(parameter);
    return text == mStoredTexts.end() ? nullptr : &text->second;
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
    // Key order is Parameter order in both maps, so comparing them entry by entry compares
    // the same parameters with each other.
    return mValues == other.mValues;
}

std::string ParameterValues::valuesToString() const {
    // Built by appending: a rebuild writes every value of every record through here, and a
    // stream costs several times the text itself.
    std::string out;
    char number[16];
    for (const auto& [parameter, value] : mValues) {
        // An IEQ preset's type is stored in its own field; printing it again as a value
        // would store it twice.
        if (parameter == ieq_id) {
            continue;
        }
        const char* name = parameter_name(parameter);
        out += name != nullptr ? std::string(name) : std::to_string(static_cast<int>(parameter));
        out += '=';
        // Every element is followed by a comma, the last one too: that is the stored form.
        for (int element : value) {
            auto end = std::to_chars(number, number + sizeof(number), element).ptr;
            out.append(number, end);
            out += ',';
        }
        out += '\n';
    }
    return out;
}

}  // namespace velora
