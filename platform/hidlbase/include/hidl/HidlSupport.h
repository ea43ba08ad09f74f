/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cutils/native_handle.h>
#include <hidl/Status.h>
#include <log/log.h>
#include <stddef.h>
#include <stdint.h>
#include <utils/RefBase.h>

#include <array>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace android {
namespace hidl {
namespace base {
namespace V1_0 {
struct IBase;
}  // namespace V1_0
}  // namespace base
}  // namespace hidl

namespace hardware {

// Told when the process that serves a HIDL object dies. Linked with IBase::linkToDeath; the
// cookie given there comes back here with a weak reference to the dead object.
struct hidl_death_recipient : public virtual RefBase {
    virtual void serviceDied(uint64_t cookie,
                             const wp<::android::hidl::base::V1_0::IBase>& who) = 0;
};

// The vector type of HIDL interfaces: a buffer and a 32-bit element count. It owns its
// buffer, or refers to one owned by someone else after setToExternal(data, size, false).
// Copies always own their buffer. Sizes above UINT32_MAX are fatal, as on a device.
template <typename T>
struct hidl_vec {
    hidl_vec() = default;
    explicit hidl_vec(size_t size) { resize(size); }
    hidl_vec(std::initializer_list<T> list) { assign(list.begin(), list.size()); }
    hidl_vec(const std::vector<T>& other) { assign(other.data(), other.size()); }  // NOLINT
    template <typename InputIterator,
              typename = typename std::iterator_traits<InputIterator>::iterator_category>
    hidl_vec(InputIterator first, InputIterator last) {
        const std::vector<T> copy(first, last);
        assign(copy.data(), copy.size());
    }
    hidl_vec(const hidl_vec& other) { assign(other.mBuffer, other.mSize); }
    hidl_vec(hidl_vec&& other) noexcept { *this = std::move(other); }
    ~hidl_vec() { clear(); }

    hidl_vec& operator=(const hidl_vec& other) {
        if (this != &other) assign(other.mBuffer, other.mSize);
        return *this;
    }
    hidl_vec& operator=(hidl_vec&& other) noexcept {
        if (this != &other) {
            clear();
            mBuffer = other.mBuffer;
            mSize = other.mSize;
            mOwnsBuffer = other.mOwnsBuffer;
            other.mBuffer = nullptr;
            other.mSize = 0;
            other.mOwnsBuffer = true;
        }
        return *this;
    }
    hidl_vec& operator=(const std::vector<T>& other) {
        assign(other.data(), other.size());
        return *this;
    }

    operator std::vector<T>() const { return std::vector<T>(begin(), end()); }  // NOLINT

    // Refers to `data` without copying. With shouldOwn the vector takes the buffer over and
    // frees it with delete[]; otherwise `data` must outlive every use of this vector.
    void setToExternal(T* data, size_t size, bool shouldOwn = false) {
        checkSize(size);
        clear();
        mBuffer = data;
        mSize = static_cast<uint32_t>(size);
        mOwnsBuffer = shouldOwn;
    }

    // Gives the buffer up to the caller (who frees it with delete[] when this vector owned
    // it); the vector is empty afterwards. Null when the buffer was external.
    T* releaseData() {
        T* data = mOwnsBuffer ? mBuffer : nullptr;
        mBuffer = nullptr;
        mSize = 0;
        mOwnsBuffer = true;
        return data;
    }

    T* data() { return mBuffer; }
    const T* data() const { return mBuffer; }
    size_t size() const { return mSize; }
    T& operator[](size_t index) { return mBuffer[index]; }
    const T& operator[](size_t index) const { return mBuffer[index]; }

    T* begin() { return mBuffer; }
    T* end() { return mBuffer + mSize; }
    const T* begin() const { return mBuffer; }
    const T* end() const { return mBuffer + mSize; }

    // Keeps the first min(size(), size) elements; new ones are value-initialised. The vector
    // owns its buffer afterwards.
    void resize(size_t size) {
        checkSize(size);
        T* buffer = size == 0 ? nullptr : new T[size]();
        const size_t kept = size < mSize ? size : mSize;
        for (size_t i = 0; i < kept; ++i) buffer[i] = std::move(mBuffer[i]);
        clear();
        mBuffer = buffer;
        mSize = static_cast<uint32_t>(size);
        mOwnsBuffer = true;
    }

    bool operator==(const hidl_vec& other) const {
        if (mSize != other.mSize) return false;
        for (size_t i = 0; i < mSize; ++i) {
            if (!(mBuffer[i] == other.mBuffer[i])) return false;
        }
        return true;
    }
    bool operator!=(const hidl_vec& other) const { return !(*this == other); }

  private:
    static void checkSize(size_t size) {
        LOG_ALWAYS_FATAL_IF(size > UINT32_MAX, "hidl_vec can't hold more than 2^32 elements.");
    }

    void assign(const T* data, size_t size) {
        checkSize(size);
        T* buffer = size == 0 ? nullptr : new T[size];
        for (size_t i = 0; i < size; ++i) buffer[i] = data[i];
        clear();
        mBuffer = buffer;
        mSize = static_cast<uint32_t>(size);
        mOwnsBuffer = true;
    }

    void clear() {
        if (mOwnsBuffer) delete[] mBuffer;
        mBuffer = nullptr;
        mSize = 0;
        mOwnsBuffer = true;
    }

    T* mBuffer = nullptr;
    uint32_t mSize = 0;
    bool mOwnsBuffer = true;
};

// The string type of HIDL interfaces: owned bytes with a terminating zero after them (the
// bytes themselves may hold zeros).
class hidl_string {
  public:
    hidl_string() = default;
    hidl_string(const char* text) : mText(text != nullptr ? text : "") {}  // NOLINT
    hidl_string(const char* data, size_t size) : mText(data, size) {}
    hidl_string(const std::string& text) : mText(text) {}  // NOLINT

    const char* c_str() const { return mText.c_str(); }
    size_t size() const { return mText.size(); }
    bool empty() const { return mText.empty(); }
    operator std::string() const { return mText; }  // NOLINT

    bool operator==(const hidl_string& other) const { return mText == other.mText; }
    bool operator!=(const hidl_string& other) const { return mText != other.mText; }

  private:
    std::string mText;
};

// A native handle (file descriptors and integers) passed through an interface, such as the
// descriptor debug() writes to. Refers to the caller's handle; the caller keeps it open for
// the duration of the call.
class hidl_handle {
  public:
    hidl_handle() = default;
    hidl_handle(const native_handle_t* handle) : mHandle(handle) {}  // NOLINT

    const native_handle_t* getNativeHandle() const { return mHandle; }
    operator const native_handle_t*() const { return mHandle; }  // NOLINT
    const native_handle_t* operator->() const { return mHandle; }

  private:
    const native_handle_t* mHandle = nullptr;
};

// The integer that holds a set of flags of the enum E.
template <typename E>
using hidl_bitfield = typename std::underlying_type<E>::type;

namespace details {

// Marks generated interface classes for template logic.
struct i_tag {};

// The values of a generated enum, in declaration order (specialised per enum).
template <typename E>
inline constexpr std::array<E, 0> hidl_enum_values = {};

template <typename T>
std::string toHexString(T value) {
    static const char kDigits[] = "0123456789abcdef";
    using U = typename std::make_unsigned<T>::type;
    U bits = static_cast<U>(value);
    std::string text;
    do {
        text.insert(text.begin(), kDigits[bits & 0xf]);
        bits = static_cast<U>(bits >> 4);
    } while (bits != 0);
    return "0x" + text;
}

}  // namespace details

}  // namespace hardware
}  // namespace android
