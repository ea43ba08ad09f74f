/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "velorad"

#include "tools/velorad/VeloraRpcService.h"

#include <cutils/native_handle.h>
#include <log/log.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

namespace velora {

using android::Mutex;
using android::sp;
using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using android::hardware::Return;
using grpc::ServerContext;
using grpc::Status;
using grpc::StatusCode;

namespace {

Status unavailable() { return Status(StatusCode::UNAVAILABLE, "velorad is shutting down"); }

// The request's bytes as the interface takes them, without a copy; valid while `data` is.
hidl_vec<uint8_t> bytes(const std::string& data) {
    hidl_vec<uint8_t> vec;
    vec.setToExternal(reinterpret_cast<uint8_t*>(const_cast<char*>(data.data())), data.size());
    return vec;
}

// A call the interface refused (the service is stopping) ends as velorad's own shutdown does.
Status done(const Return<void>& call) { return call.isOk() ? Status::OK : unavailable(); }

template <typename T, typename Reply>
Status answer(const Return<T>& call, Reply* reply) {
    if (!call.isOk()) return unavailable();
    reply->set_value(static_cast<T>(call));
    return Status::OK;
}

}  // namespace

VeloraRpcService::VeloraRpcService(const sp<KptService>& kpt, size_t maxQueued)
    : mKpt(kpt), mMaxQueued(maxQueued), mDeathThread([this] { declareDeaths(); }) {}

VeloraRpcService::~VeloraRpcService() {
    {
        Mutex::Autolock _l(mDeathLock);
        mDeathsEnd = true;
        mDeathsChanged.broadcast();
    }
    mDeathThread.join();
}

void VeloraRpcService::declareDead(const sp<StreamCallback>& stream) {
    Mutex::Autolock _l(mDeathLock);
    mDeaths.push_back(stream);
    mDeathsChanged.broadcast();
}

void VeloraRpcService::declareDeaths() {
    Mutex::Autolock _l(mDeathLock);
    for (;;) {
        while (mDeaths.empty() && !mDeathsEnd) mDeathsChanged.wait(mDeathLock);
        if (mDeaths.empty()) return;
        sp<StreamCallback> stream = std::move(mDeaths.front());
        mDeaths.pop_front();
        mDeathLock.unlock();
        // Waits for the service's notification pass to end, then takes the client out.
        stream->disconnect();
        stream->notifyDied();
        stream.clear();
        mDeathLock.lock();
    }
}

bool VeloraRpcService::stopping(Status* status) const {
    if (!mStopping.load()) return false;
    *status = unavailable();
    return true;
}

void VeloraRpcService::stop() {
    mStopping.store(true);
    Mutex::Autolock _l(mLock);
    for (const sp<StreamCallback>& stream : mStreams) {
        stream->close(StreamCallback::Close::Shutdown);
    }
}

size_t VeloraRpcService::streamCount() const {
    Mutex::Autolock _l(mLock);
    return mStreams.size();
}

void VeloraRpcService::addStream(const sp<StreamCallback>& stream) {
    Mutex::Autolock _l(mLock);
    mStreams.push_back(stream);
    // A stream added while stop() ran would otherwise be missed and hold the shutdown up.
    if (mStopping.load()) stream->close(StreamCallback::Close::Shutdown);
}

void VeloraRpcService::removeStream(const sp<StreamCallback>& stream) {
    Mutex::Autolock _l(mLock);
    mStreams.erase(std::remove(mStreams.begin(), mStreams.end(), stream), mStreams.end());
}

sp<StreamCallback> VeloraRpcService::findStream(const KptService::IKptCallbacks* callback) {
    Mutex::Autolock _l(mLock);
    for (const sp<StreamCallback>& stream : mStreams) {
        if (stream.get() == callback) return stream;
    }
    return nullptr;
}

Status VeloraRpcService::RegisterClient(ServerContext* context, const rpc::ClientId* request,
                                        grpc::ServerWriter<rpc::ParamUpdate>* writer) {
    Status status;
    if (stopping(&status)) return status;
    // A client that falls too far behind leaves the service at once, even while its handler
    // waits on a full connection; cancelling the call ends that wait where gRPC can.
    sp<StreamCallback> stream = new StreamCallback(
        request->type(), request->uid(),
        [this, context](const sp<StreamCallback>& behind) {
            context->TryCancel();
            declareDead(behind);
        },
        mMaxQueued);
    // Listed before the service knows it, so that an unregistration that follows at once
    // finds the stream to end.
    addStream(stream);
    const Return<int32_t> registered =
        mKpt->registerClient(stream, request->type(), request->uid());
    const int result = registered.isOk() ? static_cast<int32_t>(registered) : -ENODEV;
    if (result != 0) {
        removeStream(stream);
        if (result == -EEXIST) {
            return Status(StatusCode::ALREADY_EXISTS,
                          "registry key " + std::to_string(stream->getKey()) +
                              " (uid + type) is held by another client");
        }
        if (result == -ENODEV) return unavailable();
        return Status(StatusCode::INTERNAL, "registerClient failed: " + std::to_string(result));
    }
    ALOGI("client uid %u type %d connected (key %u)", stream->getUid(), stream->getType(),
          stream->getKey());

    bool clientGone = false;
    rpc::ParamUpdate update;
    std::string buffer;
    for (;;) {
        if (context->IsCancelled()) {
            clientGone = true;
            break;
        }
        StreamCallback::Next next = stream->next(kLivenessCheckNs, &buffer);
        if (next == StreamCallback::Next::Closed) break;
        if (next == StreamCallback::Next::Buffer) {
            update.set_data(buffer);
            if (!writer->Write(update)) {
                clientGone = true;
                break;
            }
        }
    }
    removeStream(stream);
    stream->detachCutOff();

    StreamCallback::Close reason = StreamCallback::Close::Unregistered;
    if (stream->closedBy(&reason) && reason == StreamCallback::Close::Overflow) {
        // Declared dead by the death thread, whenever this handler got free.
        return Status(StatusCode::RESOURCE_EXHAUSTED,
                      "client fell too far behind the service's callbacks");
    }
    if (clientGone) {
        // The client closed its end or its process died: tell the service as the transport
        // tells it on a device, so it drops the registration.
        stream->disconnect();
        ALOGI("client uid %u type %d disconnected; declaring its callback dead", stream->getUid(),
              stream->getType());
        stream->notifyDied();
        return Status(StatusCode::CANCELLED, "client went away");
    }
    switch (reason) {
        case StreamCallback::Close::Unregistered:
            ALOGI("client uid %u type %d unregistered", stream->getUid(), stream->getType());
            return Status::OK;
        case StreamCallback::Close::Shutdown:
            return unavailable();
        case StreamCallback::Close::Overflow:
            break;  // answered above
    }
    return Status::OK;
}

Status VeloraRpcService::UnregisterClient(ServerContext* /*context*/, const rpc::ClientId* request,
                                          rpc::Empty* /*reply*/) {
    Status status;
    if (stopping(&status)) return status;
    sp<KptService::IKptCallbacks> removed;
    const int result = mKpt->unregisterClient(request->type(), request->uid(), &removed);
    // The stream that ends is the one of the client the service removed: the one registered
    // under the same key (uid + type), whoever asked.
    sp<StreamCallback> stream = findStream(removed.get());
    if (stream != nullptr) stream->close(StreamCallback::Close::Unregistered);
    if (result == -ENOENT) {
        return Status(StatusCode::NOT_FOUND, "no client registered with uid " +
                                                 std::to_string(request->uid()) + " type " +
                                                 std::to_string(request->type()));
    }
    if (result == -ENODEV) return unavailable();
    if (result != 0) {
        return Status(StatusCode::INTERNAL,
                      std::string(removed != nullptr ? "client removed, but saving the settings "
                                                       "failed: "
                                                     : "unregisterClient failed: ") +
                          std::strerror(-result));
    }
    return Status::OK;
}

Status VeloraRpcService::GetIntParam(ServerContext* /*context*/, const rpc::IntParamCode* request,
                                     rpc::Int64Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    return answer(mKpt->getIntParam(request->code()), reply);
}

Status VeloraRpcService::SetIntParam(ServerContext* /*context*/, const rpc::IntParamSet* request,
                                     rpc::Empty* /*reply*/) {
    Status status;
    if (stopping(&status)) return status;
    return done(mKpt->setIntParam(request->code(), request->value()));
}

Status VeloraRpcService::GetPexParam(ServerContext* /*context*/, const rpc::PexParamQuery* request,
                                     rpc::PexParamAnswer* reply) {
    Status status;
    if (stopping(&status)) return status;
    const std::string& in = request->request();
    int32_t result = 0;
    Return<void> call = mKpt->getPexParam(
        bytes(in), request->answer_length(), [&](int32_t value, const hidl_vec<uint8_t>& answer) {
            result = value;
            reply->set_answer(std::string(answer.begin(), answer.end()));
        });
    if (!call.isOk()) return unavailable();
    if (result == -EINVAL) {
        return Status(StatusCode::INVALID_ARGUMENT,
                      "answer_length " + std::to_string(request->answer_length()) +
                          " is over the limit of " + std::to_string(KptService::kMaxAnswerLength) +
                          " bytes");
    }
    reply->set_result(result);
    return Status::OK;
}

Status VeloraRpcService::SetPexParam(ServerContext* /*context*/, const rpc::PackedBuffer* request,
                                     rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    return answer(mKpt->setPexParam(bytes(request->data())), reply);
}

Status VeloraRpcService::GetAvailableTuningDevices(ServerContext* /*context*/,
                                                   const rpc::TuningDevicesQuery* request,
                                                   rpc::TuningDevicesAnswer* reply) {
    Status status;
    if (stopping(&status)) return status;
    int32_t result = 0;
    Return<void> call = mKpt->getAvailableTuningDevices(
        request->port(), request->length(), [&](int32_t value, const hidl_vec<uint8_t>& names) {
            result = value;
            reply->set_names(std::string(names.begin(), names.end()));
        });
    if (!call.isOk()) return unavailable();
    if (result == -EINVAL) {
        return Status(StatusCode::INVALID_ARGUMENT,
                      "length " + std::to_string(request->length()) + " is over the limit of " +
                          std::to_string(KptService::kMaxAnswerLength) + " bytes");
    }
    return Status::OK;
}

Status VeloraRpcService::GetAvailableTuningDevicesLen(ServerContext* /*context*/,
                                                      const rpc::PortId* request,
                                                      rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    return answer(mKpt->getAvailableTuningDevicesLen(request->port()), reply);
}

Status VeloraRpcService::GetSelectedTuningDevice(ServerContext* /*context*/,
                                                 const rpc::PortId* request,
                                                 rpc::BytesValue* reply) {
    Status status;
    if (stopping(&status)) return status;
    return done(mKpt->getSelectedTuningDevice(request->port(), [&](const hidl_string& name) {
        reply->set_value(std::string(name.c_str(), name.size()));
    }));
}

Status VeloraRpcService::SetSelectedTuningDevice(ServerContext* /*context*/,
                                                 const rpc::TuningDeviceSelection* request,
                                                 rpc::Empty* /*reply*/) {
    Status status;
    if (stopping(&status)) return status;
    return done(mKpt->setSelectedTuningDevice(request->port(), bytes(request->name())));
}

Status VeloraRpcService::GetProfileName(ServerContext* /*context*/, const rpc::ProfileId* request,
                                        rpc::BytesValue* reply) {
    Status status;
    if (stopping(&status)) return status;
    return done(mKpt->getProfileName(request->profile(), [&](const hidl_string& name) {
        reply->set_value(std::string(name.c_str(), name.size()));
    }));
}

Status VeloraRpcService::GetProfileIeqPreset(ServerContext* /*context*/,
                                             const rpc::ProfileId* request,
                                             rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    return answer(mKpt->getProfileIeqPreset(request->profile()), reply);
}

Status VeloraRpcService::GetPexEnabled(ServerContext* /*context*/, const rpc::Empty* /*request*/,
                                       rpc::BoolValue* reply) {
    Status status;
    if (stopping(&status)) return status;
    return answer(mKpt->getPexEnabled(), reply);
}

Status VeloraRpcService::IsMonoInternalSpeaker(ServerContext* /*context*/,
                                               const rpc::Empty* /*request*/,
                                               rpc::BoolValue* reply) {
    Status status;
    if (stopping(&status)) return status;
    return answer(mKpt->isMonoInternalSpeaker(), reply);
}

Status VeloraRpcService::IsSpeakerPortraitMode(ServerContext* /*context*/,
                                               const rpc::Empty* /*request*/,
                                               rpc::BoolValue* reply) {
    Status status;
    if (stopping(&status)) return status;
    return answer(mKpt->isSpeakerPortraitMode(), reply);
}

Status VeloraRpcService::GetTuningParamDSA(ServerContext* /*context*/,
                                           const rpc::Empty* /*request*/, rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    return answer(mKpt->getTuningParamDSA(), reply);
}

Status VeloraRpcService::GetTuningParamDHSA(ServerContext* /*context*/,
                                            const rpc::Empty* /*request*/, rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    return answer(mKpt->getTuningParamDHSA(), reply);
}

Status VeloraRpcService::GetTuningParamDFSA(ServerContext* /*context*/,
                                            const rpc::Empty* /*request*/, rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    return answer(mKpt->getTuningParamDFSA(), reply);
}

Status VeloraRpcService::GetActiveDevice(ServerContext* /*context*/, const rpc::Empty* /*request*/,
                                         rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    Return<uint32_t> device = mKpt->getActiveDevice();
    if (!device.isOk()) return unavailable();
    reply->set_value(static_cast<int32_t>(static_cast<uint32_t>(device)));
    return Status::OK;
}

Status VeloraRpcService::GetDefaultXmlFormatVersion(ServerContext* /*context*/,
                                                    const rpc::Empty* /*request*/,
                                                    rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    return answer(mKpt->getDefaultXmlFormatVersion(), reply);
}

Status VeloraRpcService::SetParam(ServerContext* /*context*/, const rpc::StoreParam* request,
                                  rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    hidl_vec<int32_t> values;
    values.setToExternal(const_cast<int32_t*>(request->values().data()),
                         static_cast<size_t>(request->values_size()));
    return answer(mKpt->setParam(request->device(), request->id(), values), reply);
}

Status VeloraRpcService::CommitChange(ServerContext* /*context*/, const rpc::Empty* /*request*/,
                                      rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    return answer(mKpt->commitChange(), reply);
}

Status VeloraRpcService::Dump(ServerContext* /*context*/, const rpc::DumpArgs* request,
                              rpc::BytesValue* reply) {
    Status status;
    if (stopping(&status)) return status;
    // The service writes its dump to a descriptor, as it does for a debugging tool on a device.
    const int fd = memfd_create("velorad-dump", MFD_CLOEXEC);
    if (fd < 0) {
        return Status(StatusCode::INTERNAL,
                      std::string("cannot make a dump buffer: ") + std::strerror(errno));
    }
    native_handle_t* handle = native_handle_create(1, 0);
    handle->data[0] = fd;
    std::vector<hidl_string> options(request->args().begin(), request->args().end());
    Return<void> call = mKpt->debug(handle, hidl_vec<hidl_string>(options));
    native_handle_delete(handle);
    std::string text;
    char chunk[4096];
    ssize_t count = 0;
    lseek(fd, 0, SEEK_SET);
    while ((count = read(fd, chunk, sizeof(chunk))) > 0) text.append(chunk, count);
    ::close(fd);
    if (!call.isOk()) return unavailable();
    reply->set_value(std::move(text));
    return Status::OK;
}

}  // namespace velora
