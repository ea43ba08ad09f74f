/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/veloractl/VeloraClient.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/veloractl/PackedBuffer.h"
#include "tools/veloractl/TextParsing.h"

namespace velora {

VeloraClient::VeloraClient(std::string socketPath, std::chrono::milliseconds timeout)
    : mSocketPath(std::move(socketPath)), mTimeout(timeout) {
    mChannel = grpc::CreateChannel("unix:" + mSocketPath, grpc::InsecureChannelCredentials());
    mStub = rpc::VeloraManager::NewStub(mChannel);
}

bool VeloraClient::checkSocket() {
    struct stat st {};
    if (stat(mSocketPath.c_str(), &st) != 0) {
        fail(EXIT_UNREACHABLE, "velorad is not running: no socket at " + mSocketPath + " (" +
                                   std::strerror(errno) + ")");
        return false;
    }
    if (!S_ISSOCK(st.st_mode)) {
        fail(EXIT_UNREACHABLE, mSocketPath + " is not a socket");
        return false;
    }
    return true;
}

void VeloraClient::fail(const char* operation, const grpc::Status& status) {
    switch (status.error_code()) {
        case grpc::StatusCode::UNAVAILABLE:
        case grpc::StatusCode::DEADLINE_EXCEEDED:
            fail(EXIT_UNREACHABLE, std::string("cannot reach velorad at ") + mSocketPath + " (" +
                                       operation + "): " + status.error_message());
            break;
        default:
            fail(EXIT_REFUSED, std::string(operation) + " refused: " + status.error_message());
            mError.code = status.error_code();
    }
}

void VeloraClient::fail(ExitStatus status, const std::string& message) {
    mError.status = status;
    mError.message = message;
    mError.code = grpc::StatusCode::OK;
}

bool VeloraClient::getPexParam(const std::string& request, uint32_t answerLength, int* result,
                               std::string* answer) {
    rpc::PexParamQuery query;
    query.set_request(request);
    query.set_answer_length(answerLength);
    rpc::PexParamAnswer reply;
    if (!call("getPexParam", &rpc::VeloraManager::Stub::GetPexParam, query, &reply)) return false;
    *result = reply.result();
    *answer = reply.answer();
    return true;
}

bool VeloraClient::setPexParam(const std::string& buffer, int* result) {
    rpc::PackedBuffer request;
    request.set_data(buffer);
    rpc::Int32Value reply;
    if (!call("setPexParam", &rpc::VeloraManager::Stub::SetPexParam, request, &reply)) {
        return false;
    }
    *result = reply.value();
    return true;
}

bool VeloraClient::getIntParam(uint32_t code, int64_t* value) {
    rpc::IntParamCode request;
    request.set_code(code);
    rpc::Int64Value reply;
    if (!call("getIntParam", &rpc::VeloraManager::Stub::GetIntParam, request, &reply)) {
        return false;
    }
    *value = reply.value();
    return true;
}

bool VeloraClient::setIntParam(uint32_t code, int64_t value) {
    rpc::IntParamSet request;
    request.set_code(code);
    request.set_value(value);
    rpc::Empty reply;
    return call("setIntParam", &rpc::VeloraManager::Stub::SetIntParam, request, &reply);
}

bool VeloraClient::getProfileName(int profile, std::string* name) {
    rpc::ProfileId request;
    request.set_profile(profile);
    rpc::BytesValue reply;
    if (!call("getProfileName", &rpc::VeloraManager::Stub::GetProfileName, request, &reply)) {
        return false;
    }
    *name = reply.value();
    return true;
}

bool VeloraClient::getProfileIeqPreset(int profile, int* preset) {
    rpc::ProfileId request;
    request.set_profile(profile);
    rpc::Int32Value reply;
    if (!call("getProfileIeqPreset", &rpc::VeloraManager::Stub::GetProfileIeqPreset, request,
              &reply)) {
        return false;
    }
    if (reply.value() < 0) {
        fail(EXIT_REFUSED, "getProfileIeqPreset failed: " + describe_result(reply.value()));
        return false;
    }
    *preset = reply.value();
    return true;
}

bool VeloraClient::getPexEnabled(bool* on) {
    rpc::BoolValue reply;
    if (!call("getPexEnabled", &rpc::VeloraManager::Stub::GetPexEnabled, rpc::Empty(), &reply)) {
        return false;
    }
    *on = reply.value();
    return true;
}

bool VeloraClient::getSelectedTuningDevice(int port, std::string* name) {
    rpc::PortId request;
    request.set_port(port);
    rpc::BytesValue reply;
    if (!call("getSelectedTuningDevice", &rpc::VeloraManager::Stub::GetSelectedTuningDevice,
              request, &reply)) {
        return false;
    }
    *name = reply.value();
    return true;
}

bool VeloraClient::setSelectedTuningDevice(int port, const std::string& name) {
    rpc::TuningDeviceSelection request;
    request.set_port(port);
    request.set_name(name);
    rpc::Empty reply;
    return call("setSelectedTuningDevice", &rpc::VeloraManager::Stub::SetSelectedTuningDevice,
                request, &reply);
}

bool VeloraClient::getAvailableTuningDevices(int port, std::vector<std::string>* names) {
    rpc::PortId lengthRequest;
    lengthRequest.set_port(port);
    rpc::Int32Value length;
    if (!call("getAvailableTuningDevicesLen",
              &rpc::VeloraManager::Stub::GetAvailableTuningDevicesLen, lengthRequest, &length)) {
        return false;
    }
    names->clear();
    if (length.value() <= 0) return true;
    rpc::TuningDevicesQuery request;
    request.set_port(port);
    request.set_length(length.value());
    rpc::TuningDevicesAnswer reply;
    if (!call("getAvailableTuningDevices", &rpc::VeloraManager::Stub::GetAvailableTuningDevices,
              request, &reply)) {
        return false;
    }
    *names = split_packed_names(reply.names());
    return true;
}

bool VeloraClient::getDefaultXmlFormatVersion(int* version) {
    rpc::Int32Value reply;
    if (!call("getDefaultXmlFormatVersion", &rpc::VeloraManager::Stub::GetDefaultXmlFormatVersion,
              rpc::Empty(), &reply)) {
        return false;
    }
    *version = reply.value();
    return true;
}

bool VeloraClient::isMonoInternalSpeaker(bool* mono) {
    rpc::BoolValue reply;
    if (!call("isMonoInternalSpeaker", &rpc::VeloraManager::Stub::IsMonoInternalSpeaker,
              rpc::Empty(), &reply)) {
        return false;
    }
    *mono = reply.value();
    return true;
}

bool VeloraClient::dump(const std::vector<std::string>& args, std::string* text) {
    rpc::DumpArgs request;
    for (const std::string& arg : args) request.add_args(arg);
    rpc::BytesValue reply;
    if (!call("dump", &rpc::VeloraManager::Stub::Dump, request, &reply)) return false;
    *text = reply.value();
    return true;
}

std::string VeloraClient::describe(int result) {
    std::string text;
    if (result != -ENODEV || !dump({}, &text)) return describe_result(result);
    const std::string marker = "Start-up failed : ";
    size_t start = text.find(marker);
    if (start == std::string::npos) return describe_result(result);
    start += marker.size();
    return std::to_string(result) + " (ENODEV: the service is not initialised: " +
           text.substr(start, text.find('\n', start) - start) + ")";
}

bool VeloraClient::getPackedInt(int command, int argument, int* value) {
    int result = 0;
    std::string answer;
    if (!getPexParam(packed_get_request(command, argument, 0), 4, &result, &answer)) {
        return false;
    }
    if (result != 0) {
        fail(EXIT_REFUSED,
             "getPexParam command " + std::to_string(command) + " failed: " + describe(result));
        return false;
    }
    std::vector<int> words = unpack_words(answer);
    *value = words.empty() ? 0 : words[0];
    return true;
}

bool VeloraClient::getPackedValues(int profile, int port, int id, int length,
                                   std::vector<int>* values) {
    std::string request =
        port < 0 ? packed_get_request(kGetParameter, id, profile)
                 : packed_get_request(kGetPortParameter, id, packed_profile_port(profile, port));
    // Stored vectors may carry trailing elements beyond the parameter's length (the store
    // reads its own text form back with one more), and the service copies nothing into a
    // buffer too small for all of them. So ask with room to spare and keep the values by
    // position, as the settings app does.
    const uint32_t answerLength = std::max<uint32_t>(kValuesAnswerLength, length * 4);
    int result = 0;
    std::string answer;
    if (!getPexParam(request, answerLength, &result, &answer)) return false;
    if (result != 0) {
        fail(EXIT_REFUSED, "getPexParam failed: " + describe(result));
        return false;
    }
    *values = unpack_words(answer);
    values->resize(static_cast<size_t>(length));
    return true;
}

Registration::Registration(VeloraClient& client) : mClient(client) {}

Registration::~Registration() { abandon(); }

bool Registration::start(int type, uint32_t uid) {
    mType = type;
    mUid = uid;
    rpc::ClientId request;
    request.set_type(type);
    request.set_uid(uid);
    mReader = mClient.stub().RegisterClient(&mContext, request);
    mThread = std::thread([this] { readLoop(); });

    std::unique_lock<std::mutex> lock(mLock);
    const auto deadline = std::chrono::steady_clock::now() + mClient.timeout();
    if (!mChanged.wait_until(lock, deadline, [this] { return !mQueue.empty() || mEnded; })) {
        lock.unlock();
        mClient.fail(EXIT_UNREACHABLE, "velorad at " + mClient.socketPath() +
                                           " did not confirm the registration in time");
        abandon();
        return false;
    }
    if (mQueue.empty()) {
        grpc::Status status = mEndStatus;
        lock.unlock();
        mClient.fail("registerClient", status.ok() ? grpc::Status(grpc::StatusCode::UNAVAILABLE,
                                                                  "stream ended at once")
                                                   : status);
        abandon();
        return false;
    }
    return true;
}

void Registration::readLoop() {
    rpc::ParamUpdate update;
    while (mReader->Read(&update)) {
        std::lock_guard<std::mutex> guard(mLock);
        mQueue.push_back(update.data());
        mChanged.notify_all();
    }
    grpc::Status status = mReader->Finish();
    std::lock_guard<std::mutex> guard(mLock);
    mEndStatus = status;
    mEnded = true;
    mChanged.notify_all();
}

Registration::Next Registration::next(std::chrono::steady_clock::time_point deadline,
                                      std::string* buffer) {
    std::unique_lock<std::mutex> lock(mLock);
    mChanged.wait_until(lock, deadline,
                        [this] { return !mQueue.empty() || mEnded || mInterrupted; });
    if (mInterrupted) return Next::Interrupted;
    if (!mQueue.empty()) {
        *buffer = std::move(mQueue.front());
        mQueue.pop_front();
        return Next::Buffer;
    }
    return mEnded ? Next::Ended : Next::TimedOut;
}

void Registration::interrupt() {
    std::lock_guard<std::mutex> guard(mLock);
    mInterrupted = true;
    mChanged.notify_all();
}

bool Registration::stop() {
    if (!mThread.joinable() || mStopped) return true;
    mStopped = true;
    rpc::ClientId request;
    request.set_type(mType);
    request.set_uid(mUid);
    rpc::Empty reply;
    bool ok = mClient.call("unregisterClient", &rpc::VeloraManager::Stub::UnregisterClient, request,
                           &reply);
    if (ok) {
        // The daemon ends the stream once the service has let the client go; callbacks made
        // before that still arrive and are dropped here.
        std::unique_lock<std::mutex> lock(mLock);
        mChanged.wait_until(lock, std::chrono::steady_clock::now() + mClient.timeout(),
                            [this] { return mEnded; });
    }
    abandon();
    return ok;
}

void Registration::abandon() {
    if (!mThread.joinable()) return;
    mContext.TryCancel();
    mThread.join();
}

}  // namespace velora
