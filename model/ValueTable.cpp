/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/ValueTable.h"

namespace velora {

ValueTable::ValueTable(std::initializer_list<std::pair<Parameter, std::vector<int>>> values) {
    // As a map built from a list: the first value given for a parameter is the one kept.
    for (const auto& [parameter, value] : values) {
        if (!has(parameter)) (*this)[parameter] = value;
    }
}

bool ValueTable::empty() const {
    for (uint64_t word : mPresent) {
        if (word != 0) return false;
    }
    return true;
}

size_t ValueTable::size() const {
    size_t count = 0;
    for (uint64_t word : mPresent) count += static_cast<size_t>(__builtin_popcountll(word));
    return count;
}

std::vector<int>& ValueTable::operator[](Parameter parameter) {
    if (!in_range(parameter)) {
        mNowhere.clear();
        return mNowhere;
    }
    const size_t index = static_cast<size_t>(parameter);
    // A value already there is only read, as a map's operator[] only reads: readers on
    // several threads may look up the same record.
    const uint64_t bit = uint64_t{1} << (index % 64);
    if ((mPresent[index / 64] & bit) == 0) {
        mPresent[index / 64] |= bit;
        mSlots[index].first = parameter;
    }
    return mSlots[index].second;
}

const std::vector<int>& ValueTable::at(Parameter parameter) const {
    static const std::vector<int> kAbsent;
    return has(parameter) ? mSlots[static_cast<size_t>(parameter)].second : kAbsent;
}

size_t ValueTable::erase(Parameter parameter) {
    if (!has(parameter)) return 0;
    const size_t index = static_cast<size_t>(parameter);
    mPresent[index / 64] &= ~(uint64_t{1} << (index % 64));
    // The vector's memory goes with the value, as with a map's erase.
    std::vector<int>().swap(mSlots[index].second);
    return 1;
}

bool ValueTable::operator==(const ValueTable& other) const {
    if (mPresent != other.mPresent) return false;
    for (size_t i = nextPresent(0); i < kParameterCount; i = nextPresent(i + 1)) {
        if (mSlots[i].second != other.mSlots[i].second) return false;
    }
    return true;
}

}  // namespace velora
