/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "velorad"

#include "tools/velorad/VeloraRpcService.h"

#include <log/log.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utils/String16.h>
#include <utils/Vector.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

namespace velora {

using android::Mutex;
using android::sp;
using grpc::ServerContext;
using grpc::Status;
using grpc::StatusCode;

namespace {

Status unavailable() {
    return Status(StatusCode::UNAVAILABLE, "velorad is shutting down");
}

}  // namespace

VeloraRpcService::VeloraRpcService(const sp<android::VeloraManagerService>& service)
    : mService(service) {}

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

sp<StreamCallback> VeloraRpcService::findStream(int type, uint32_t uid) {
    Mutex::Autolock _l(mLock);
    for (const sp<StreamCallback>& stream : mStreams) {
        StreamCallback::Close reason;
        if (stream->getType() == type && stream->getUid() == uid && !stream->closedBy(&reason)) {
            return stream;
        }
    }
    return nullptr;
}

Status VeloraRpcService::RegisterClient(ServerContext* context, const rpc::ClientId* request,
                                        grpc::ServerWriter<rpc::ParamUpdate>* writer) {
    Status status;
    if (stopping(&status)) return status;
    sp<StreamCallback> stream = new StreamCallback(request->type(), request->uid());
    // Listed before the service knows it, so that an unregistration that follows at once
    // finds the stream to end.
    addStream(stream);
    const int result = mService->registerClient(stream, request->type(), request->uid());
    if (result != 0) {
        removeStream(stream);
        if (result == -EEXIST) {
            return Status(StatusCode::ALREADY_EXISTS,
                          "registry key " + std::to_string(stream->getKey()) +
                                  " (uid + type) is held by another client");
        }
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

    if (clientGone) {
        // The client closed its end or its process died: tell the service as the transport
        // tells it on a device, so it drops the registration.
        stream->disconnect();
        ALOGI("client uid %u type %d disconnected; declaring its callback dead",
              stream->getUid(), stream->getType());
        stream->notifyDied();
        return Status(StatusCode::CANCELLED, "client went away");
    }
    StreamCallback::Close reason = StreamCallback::Close::Unregistered;
    stream->closedBy(&reason);
    switch (reason) {
        case StreamCallback::Close::Unregistered:
            ALOGI("client uid %u type %d unregistered", stream->getUid(), stream->getType());
            return Status::OK;
        case StreamCallback::Close::Shutdown:
            return unavailable();
        case StreamCallback::Close::Overflow:
            // The service already counts the client as failed; make it stop calling it.
            stream->disconnect();
            stream->notifyDied();
            return Status(StatusCode::RESOURCE_EXHAUSTED,
                          "client fell too far behind the service's callbacks");
    }
    return Status::OK;
}

Status VeloraRpcService::UnregisterClient(ServerContext* /*context*/,
                                          const rpc::ClientId* request, rpc::Empty* /*reply*/) {
    Status status;
    if (stopping(&status)) return status;
    sp<StreamCallback> stream = findStream(request->type(), request->uid());
    const int result = mService->unregisterClient(stream, request->type(), request->uid());
    if (stream != nullptr) stream->close(StreamCallback::Close::Unregistered);
    if (result == -ENOENT) {
        return Status(StatusCode::NOT_FOUND, "no client registered with uid " +
                                                     std::to_string(request->uid()) + " type " +
                                                     std::to_string(request->type()));
    }
    if (result != 0) {
        return Status(StatusCode::INTERNAL, "unregisterClient failed: " + std::to_string(result));
    }
    return Status::OK;
}

Status VeloraRpcService::GetIntParam(ServerContext* /*context*/,
                                     const rpc::IntParamCode* request, rpc::Int64Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    reply->set_value(mService->getIntParam(request->code()));
    return Status::OK;
}

Status VeloraRpcService::SetIntParam(ServerContext* /*context*/, const rpc::IntParamSet* request,
                                     rpc::Empty* /*reply*/) {
    Status status;
    if (stopping(&status)) return status;
    mService->setIntParam(request->code(), request->value());
    return Status::OK;
}

Status VeloraRpcService::GetPexParam(ServerContext* /*context*/,
                                     const rpc::PexParamQuery* request,
                                     rpc::PexParamAnswer* reply) {
    Status status;
    if (stopping(&status)) return status;
    if (request->answer_length() > kMaxAnswerLength) {
        return Status(StatusCode::INVALID_ARGUMENT,
                      "answer_length " + std::to_string(request->answer_length()) +
                              " is over the limit of " + std::to_string(kMaxAnswerLength) +
                              " bytes");
    }
    std::string answer(request->answer_length(), '\0');
    const std::string& in = request->request();
    reply->set_result(mService->getPexParam(in.data(), static_cast<unsigned>(in.size()),
                                            answer.empty() ? nullptr : &answer[0],
                                            static_cast<unsigned>(answer.size())));
    reply->set_answer(std::move(answer));
    return Status::OK;
}

Status VeloraRpcService::SetPexParam(ServerContext* /*context*/, const rpc::PackedBuffer* request,
                                     rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    const std::string& data = request->data();
    reply->set_value(mService->setPexParam(data.data(), static_cast<unsigned>(data.size())));
    return Status::OK;
}

Status VeloraRpcService::GetAvailableTuningDevices(ServerContext* /*context*/,
                                                   const rpc::TuningDevicesQuery* request,
                                                   rpc::TuningDevicesAnswer* reply) {
    Status status;
    if (stopping(&status)) return status;
    if (request->length() > static_cast<int32_t>(kMaxAnswerLength)) {
        return Status(StatusCode::INVALID_ARGUMENT,
                      "length " + std::to_string(request->length()) + " is over the limit of " +
                              std::to_string(kMaxAnswerLength) + " bytes");
    }
    // A negative length reaches the service as it is; it refuses it with its own message.
    std::string names(static_cast<size_t>(std::max(request->length(), 0)), '\0');
    mService->getAvailableTuningDevices(request->port(), names.empty() ? nullptr : &names[0],
                                        request->length());
    reply->set_names(std::move(names));
    return Status::OK;
}

Status VeloraRpcService::GetAvailableTuningDevicesLen(ServerContext* /*context*/,
                                                      const rpc::PortId* request,
                                                      rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    reply->set_value(mService->getAvailableTuningDevicesLen(request->port()));
    return Status::OK;
}

Status VeloraRpcService::GetSelectedTuningDevice(ServerContext* /*context*/,
                                                 const rpc::PortId* request,
                                                 rpc::BytesValue* reply) {
    Status status;
    if (stopping(&status)) return status;
    reply->set_value(mService->getSelectedTuningDevice(request->port()));
    return Status::OK;
}

Status VeloraRpcService::SetSelectedTuningDevice(ServerContext* /*context*/,
                                                 const rpc::TuningDeviceSelection* request,
                                                 rpc::Empty* /*reply*/) {
    Status status;
    if (stopping(&status)) return status;
    const std::string& name = request->name();
    mService->setSelectedTuningDevice(request->port(), name.data(),
                                      static_cast<int>(name.size()));
    return Status::OK;
}

Status VeloraRpcService::GetProfileName(ServerContext* /*context*/,
                                        const rpc::ProfileId* request, rpc::BytesValue* reply) {
    Status status;
    if (stopping(&status)) return status;
    reply->set_value(mService->getProfileName(request->profile()));
    return Status::OK;
}

Status VeloraRpcService::GetPexEnabled(ServerContext* /*context*/, const rpc::Empty* /*request*/,
                                       rpc::BoolValue* reply) {
    Status status;
    if (stopping(&status)) return status;
    reply->set_value(mService->getPexEnabled());
    return Status::OK;
}

Status VeloraRpcService::IsMonoInternalSpeaker(ServerContext* /*context*/,
                                               const rpc::Empty* /*request*/,
                                               rpc::BoolValue* reply) {
    Status status;
    if (stopping(&status)) return status;
    reply->set_value(mService->isMonoInternalSpeaker());
    return Status::OK;
}

Status VeloraRpcService::IsSpeakerPortraitMode(ServerContext* /*context*/,
                                               const rpc::Empty* /*request*/,
                                               rpc::BoolValue* reply) {
    Status status;
    if (stopping(&status)) return status;
    reply->set_value(mService->isSpeakerPortraitMode());
    return Status::OK;
}

Status VeloraRpcService::GetTuningParamDSA(ServerContext* /*context*/,
                                           const rpc::Empty* /*request*/,
                                           rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    reply->set_value(mService->getTuningParamDSA());
    return Status::OK;
}

Status VeloraRpcService::GetTuningParamDHSA(ServerContext* /*context*/,
                                            const rpc::Empty* /*request*/,
                                            rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    reply->set_value(mService->getTuningParamDHSA());
    return Status::OK;
}

Status VeloraRpcService::GetTuningParamDFSA(ServerContext* /*context*/,
                                            const rpc::Empty* /*request*/,
                                            rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    reply->set_value(mService->getTuningParamDFSA());
    return Status::OK;
}

Status VeloraRpcService::GetActiveDevice(ServerContext* /*context*/,
                                         const rpc::Empty* /*request*/, rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    reply->set_value(static_cast<int32_t>(mService->getActiveDevice()));
    return Status::OK;
}

Status VeloraRpcService::GetDefaultXmlFormatVersion(ServerContext* /*context*/,
                                                    const rpc::Empty* /*request*/,
                                                    rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    reply->set_value(mService->getDefaultXmlFormatVersion());
    return Status::OK;
}

Status VeloraRpcService::SetParam(ServerContext* /*context*/, const rpc::StoreParam* request,
                                  rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    reply->set_value(mService->setParam(request->device(), request->id(),
                                        request->values().data(),
                                        static_cast<unsigned>(request->values_size())));
    return Status::OK;
}

Status VeloraRpcService::CommitChange(ServerContext* /*context*/, const rpc::Empty* /*request*/,
                                      rpc::Int32Value* reply) {
    Status status;
    if (stopping(&status)) return status;
    reply->set_value(mService->commitChange());
    return Status::OK;
}

Status VeloraRpcService::Dump(ServerContext* /*context*/, const rpc::DumpArgs* request,
                              rpc::BytesValue* reply) {
    Status status;
    if (stopping(&status)) return status;
    // The service writes its dump to a descriptor, as it does for dumpsys on a device.
    const int fd = memfd_create("velorad-dump", MFD_CLOEXEC);
    if (fd < 0) {
        return Status(StatusCode::INTERNAL,
                      std::string("cannot make a dump buffer: ") + std::strerror(errno));
    }
    android::Vector<android::String16> args;
    for (const std::string& arg : request->args()) args.add(android::String16(arg.c_str()));
    mService->dump(fd, args);
    std::string text;
    char chunk[4096];
    ssize_t count = 0;
    lseek(fd, 0, SEEK_SET);
    while ((count = read(fd, chunk, sizeof(chunk))) > 0) text.append(chunk, count);
    ::close(fd);
    reply->set_value(std::move(text));
    return Status::OK;
}

}  // namespace velora
