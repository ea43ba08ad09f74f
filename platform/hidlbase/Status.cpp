/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "HidlStatus"

#include <hidl/Status.h>
#include <log/log.h>
#include <string.h>

namespace android {
namespace hardware {

namespace {

const char* exception_to_string(int32_t exception) {
    switch (exception) {
        case Status::EX_NONE:
            return "EX_NONE";
        case Status::EX_SECURITY:
            return "EX_SECURITY";
        case Status::EX_BAD_PARCELABLE:
            return "EX_BAD_PARCELABLE";
        case Status::EX_ILLEGAL_ARGUMENT:
            return "EX_ILLEGAL_ARGUMENT";
        case Status::EX_NULL_POINTER:
            return "EX_NULL_POINTER";
        case Status::EX_ILLEGAL_STATE:
            return "EX_ILLEGAL_STATE";
        case Status::EX_NETWORK_MAIN_THREAD:
            return "EX_NETWORK_MAIN_THREAD";
        case Status::EX_UNSUPPORTED_OPERATION:
            return "EX_UNSUPPORTED_OPERATION";
        case Status::EX_HAS_REPLY_HEADER:
            return "EX_HAS_REPLY_HEADER";
        case Status::EX_TRANSACTION_FAILED:
            return "EX_TRANSACTION_FAILED";
        default:
            return "UNKNOWN_EXCEPTION";
    }
}

}  // namespace

Status::Status(int32_t exceptionCode, status_t errorCode, const char* message)
    : mException(exceptionCode), mErrorCode(errorCode), mMessage(message ? message : "") {}

Status Status::fromExceptionCode(int32_t exceptionCode) {
    return fromExceptionCode(exceptionCode, "");
}

Status Status::fromExceptionCode(int32_t exceptionCode, const char* message) {
    if (exceptionCode == EX_TRANSACTION_FAILED) {
        // A transport failure without its status_t would read as success in
        // transactionError(); keep it recognisable as a failure.
        return Status(EX_TRANSACTION_FAILED, UNKNOWN_ERROR, message);
    }
    return Status(exceptionCode, OK, message);
}

Status Status::fromStatusT(status_t status) {
    if (status == OK) return Status();
    return Status(EX_TRANSACTION_FAILED, status, "");
}

std::string Status::description() const {
    if (isOk()) return "No error";
    std::string text = "Status(";
    text += exception_to_string(mException);
    if (mException == EX_TRANSACTION_FAILED) {
        text += ", ";
        text += mErrorCode == DEAD_OBJECT ? "DEAD_OBJECT" : std::to_string(mErrorCode);
        if (mErrorCode < 0 && mErrorCode > -4096) {
            text += " (";
            text += strerror(-mErrorCode);
            text += ")";
        }
    }
    text += "): '" + mMessage + "'";
    return text;
}

namespace details {

return_status::return_status(return_status&& other) noexcept
    : mStatus(std::move(other.mStatus)), mCheckedStatus(other.mCheckedStatus) {
    // The moved-from object no longer answers for the status.
    other.mCheckedStatus = true;
}

return_status& return_status::operator=(return_status&& other) noexcept {
    if (this != &other) {
        assertOkOrChecked();
        mStatus = std::move(other.mStatus);
        mCheckedStatus = other.mCheckedStatus;
        other.mCheckedStatus = true;
    }
    return *this;
}

return_status::~return_status() { assertOkOrChecked(); }

void return_status::assertOkOrChecked() const {
    LOG_ALWAYS_FATAL_IF(!mCheckedStatus && !mStatus.isOk(),
                        "Failed HIDL return status not checked: %s", mStatus.description().c_str());
}

void return_status::assertOk() const {
    mCheckedStatus = true;
    LOG_ALWAYS_FATAL_IF(!mStatus.isOk(), "Attempted to retrieve value from failed HIDL call: %s",
                        mStatus.description().c_str());
}

}  // namespace details
}  // namespace hardware
}  // namespace android
