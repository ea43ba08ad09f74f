/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <stdint.h>
#include <utils/Errors.h>

#include <string>
#include <utility>

namespace android {
namespace hardware {

// The outcome of a call through the HIDL transport: success, an exception code raised on the
// remote side, or a transport error (EX_TRANSACTION_FAILED with the status_t of the failure,
// DEAD_OBJECT when the remote process is gone).
class Status final {
  public:
    enum Exception : int32_t {
        EX_NONE = 0,
        EX_SECURITY = -1,
        EX_BAD_PARCELABLE = -2,
        EX_ILLEGAL_ARGUMENT = -3,
        EX_NULL_POINTER = -4,
        EX_ILLEGAL_STATE = -5,
        EX_NETWORK_MAIN_THREAD = -6,
        EX_UNSUPPORTED_OPERATION = -7,
        EX_HAS_REPLY_HEADER = -128,
        EX_TRANSACTION_FAILED = -129,
    };

    Status() = default;

    static Status ok() { return Status(); }
    // EX_TRANSACTION_FAILED is not an exception of its own: use fromStatusT for it.
    static Status fromExceptionCode(int32_t exceptionCode);
    static Status fromExceptionCode(int32_t exceptionCode, const char* message);
    // OK gives a successful status; any other value a transport failure carrying it.
    static Status fromStatusT(status_t status);

    bool isOk() const { return mException == EX_NONE; }
    int32_t exceptionCode() const { return mException; }
    // The transport error, OK unless exceptionCode() is EX_TRANSACTION_FAILED.
    status_t transactionError() const { return mErrorCode; }
    const std::string& exceptionMessage() const { return mMessage; }
    // "No error" or "Status(<exception>, <error>): '<message>'", for logs.
    std::string description() const;

  private:
    Status(int32_t exceptionCode, status_t errorCode, const char* message);

    int32_t mException = EX_NONE;
    status_t mErrorCode = OK;
    std::string mMessage;
};

namespace details {

// Shared by every Return: the status of the call and whether anyone looked at it. A failed
// call whose status nobody checked is a bug in the caller (a lost client, a dropped write), so
// destroying it unchecked aborts the process, as the transport does on a device.
class return_status {
  public:
    return_status() = default;
    return_status(const Status& status) : mStatus(status) {}  // NOLINT: implicit by design
    return_status(return_status&& other) noexcept;
    return_status& operator=(return_status&& other) noexcept;
    return_status(const return_status&) = delete;
    return_status& operator=(const return_status&) = delete;
    ~return_status();

    bool isOk() const {
        mCheckedStatus = true;
        return mStatus.isOk();
    }
    bool isDeadObject() const {
        mCheckedStatus = true;
        return !mStatus.isOk() && mStatus.exceptionCode() == Status::EX_TRANSACTION_FAILED &&
               mStatus.transactionError() == DEAD_OBJECT;
    }
    // Marks the status as checked.
    std::string description() const {
        mCheckedStatus = true;
        return mStatus.description();
    }
    // Marks the status as checked.
    const Status& getStatus() const {
        mCheckedStatus = true;
        return mStatus;
    }

  protected:
    void assertOk() const;
    void assertOkOrChecked() const;

  private:
    Status mStatus;
    mutable bool mCheckedStatus = false;
};

}  // namespace details

// The result of a HIDL call: a value when the call succeeded, the failure otherwise.
template <typename T>
class Return : public details::return_status {
  public:
    Return(T value) : details::return_status(), mVal(std::move(value)) {}  // NOLINT
    Return(Status status) : details::return_status(status), mVal{} {}      // NOLINT
    Return(Return&& other) noexcept = default;
    Return& operator=(Return&& other) noexcept = default;

    // The value; taking it from a failed call aborts (check isOk() first).
    operator T() const {
        assertOk();
        return mVal;
    }
    T withDefault(T defaultValue) const { return isOk() ? mVal : defaultValue; }

  private:
    T mVal;
};

template <>
class Return<void> : public details::return_status {
  public:
    Return() : details::return_status() {}
    Return(const Status& status) : details::return_status(status) {}  // NOLINT
    Return(Return&& other) noexcept = default;
    Return& operator=(Return&& other) noexcept = default;
};

inline Return<void> Void() { return Return<void>(); }

}  // namespace hardware
}  // namespace android
