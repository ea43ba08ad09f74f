/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <utility>
#include <vector>

#include "model/Parameter.h"

namespace velora {

// The values of one settings record: at most one vector per parameter, kept in Parameter
// order. Used as a map from Parameter to vector (find, count, operator[], erase, iteration
// with `first` and `second`), but every parameter has its slot from the start, so entering a
// value allocates nothing besides the vector itself, and a reference to a value stays valid
// until its parameter is erased. A start-up enters some twenty thousand values; one map node
// each was as costly as reading them.
//
// A Parameter outside the catalogue has no slot: it is never present, and what is entered
// for it goes nowhere.
//
// Threading: none of its own.
class ValueTable {
  public:
    struct Entry {
        Parameter first{};  // the slot's own parameter once a value was entered there
        std::vector<int> second;
    };
    using key_type = Parameter;
    using mapped_type = std::vector<int>;
    using value_type = Entry;
    using size_type = size_t;

    template <typename Table, typename Value>
    class Iterator {
      public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Entry;
        using difference_type = std::ptrdiff_t;
        using pointer = Value*;
        using reference = Value&;

        Iterator() = default;
        Iterator(Table* table, size_t index) : mTable(table), mIndex(index) { skipAbsent(); }
        // A const iterator from a mutable one.
        template <typename OtherTable, typename OtherValue>
        Iterator(const Iterator<OtherTable, OtherValue>& other)  // NOLINT: implicit by design
            : mTable(other.mTable), mIndex(other.mIndex) {}

        reference operator*() const { return mTable->mSlots[mIndex]; }
        pointer operator->() const { return &mTable->mSlots[mIndex]; }
        Iterator& operator++() {
            ++mIndex;
            skipAbsent();
            return *this;
        }
        Iterator operator++(int) {
            Iterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(const Iterator& other) const { return mIndex == other.mIndex; }
        bool operator!=(const Iterator& other) const { return mIndex != other.mIndex; }

      private:
        template <typename, typename>
        friend class Iterator;
        void skipAbsent() { mIndex = mTable->nextPresent(mIndex); }
        Table* mTable = nullptr;
        size_t mIndex = kParameterCount;
    };
    using iterator = Iterator<ValueTable, Entry>;
    using const_iterator = Iterator<const ValueTable, const Entry>;

    ValueTable() = default;
    ValueTable(std::initializer_list<std::pair<Parameter, std::vector<int>>> values);

    iterator begin() { return iterator(this, 0); }
    iterator end() { return iterator(this, kParameterCount); }
    const_iterator begin() const { return const_iterator(this, 0); }
    const_iterator end() const { return const_iterator(this, kParameterCount); }

    bool empty() const;
    size_t size() const;
    size_t count(Parameter parameter) const { return has(parameter) ? 1 : 0; }
    iterator find(Parameter parameter) {
        return has(parameter) ? iterator(this, static_cast<size_t>(parameter)) : end();
    }
    const_iterator find(Parameter parameter) const {
        return has(parameter) ? const_iterator(this, static_cast<size_t>(parameter)) : end();
    }
    // The value, entering an empty one when the parameter is absent.
    std::vector<int>& operator[](Parameter parameter);
    // The value; an absent parameter reads as an empty vector (nothing is thrown).
    const std::vector<int>& at(Parameter parameter) const;
    // Removes the parameter's value; returns how many were removed (0 or 1).
    size_t erase(Parameter parameter);

    bool operator==(const ValueTable& other) const;
    bool operator!=(const ValueTable& other) const { return !(*this == other); }

  private:
    static bool in_range(Parameter parameter) {
        return parameter >= 0 && parameter < kParameterCount;
    }
    static constexpr size_t kWords = (kParameterCount + 63) / 64;
    bool present(size_t index) const { return (mPresent[index / 64] >> (index % 64)) & 1; }
    bool has(Parameter parameter) const {
        return in_range(parameter) && present(static_cast<size_t>(parameter));
    }
    // The first present slot at or after index, or kParameterCount. Iteration goes through
    // here for every record a change reaches, so it skips absent slots a word at a time.
    size_t nextPresent(size_t index) const {
        while (index < kParameterCount) {
            const uint64_t rest = mPresent[index / 64] >> (index % 64);
            if (rest != 0) return index + static_cast<size_t>(__builtin_ctzll(rest));
            index = (index / 64 + 1) * 64;
        }
        return kParameterCount;
    }

    std::array<Entry, kParameterCount> mSlots;
    std::array<uint64_t, kWords> mPresent{};
    // What is entered for a parameter outside the catalogue.
    std::vector<int> mNowhere;
};

}  // namespace velora
