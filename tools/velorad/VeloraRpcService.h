/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <android-base/thread_annotations.h>
#include <grpcpp/grpcpp.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/StrongPointer.h>

#include <atomic>
#include <deque>
#include <thread>
#include <vector>

#include "hal/KptService.h"
#include "tools/velorad/StreamCallback.h"
#include "velora.grpc.pb.h"

namespace velora {

// The socket side of velorad: each RPC calls the one operation of the vendor interface glue
// (KptService, as hwbinder does on a device) it is named after, with the request's integers
// and bytes, and answers with the results. A registration stream holds a StreamCallback in the
// service's registry; when the client ends the stream or its process dies, the callback is
// declared dead, so the service drops the client exactly as it would on a device.
//
// Threading: gRPC calls every method from its own pool of threads, concurrently. The service
// object is thread-safe; mLock guards only the list of open streams.
class VeloraRpcService final : public rpc::VeloraManager::Service {
  public:
    // How often a stream with nothing to send checks whether its client is still there.
    static constexpr int64_t kLivenessCheckNs = 50'000'000;
    // A client whose stream falls `maxQueued` callbacks behind is dropped as dead.
    explicit VeloraRpcService(const android::sp<KptService>& kpt,
                              size_t maxQueued = StreamCallback::kMaxQueued);
    // Declares the streams still handed over for death dead before it returns.
    ~VeloraRpcService() override;

    // Refuses new calls and ends every open registration stream (with UNAVAILABLE), so that the
    // server's own shutdown does not wait on them. The registrations stay in the service until
    // it is destroyed.
    void stop();
    // Open registration streams.
    size_t streamCount() const;

    grpc::Status RegisterClient(grpc::ServerContext* context, const rpc::ClientId* request,
                                grpc::ServerWriter<rpc::ParamUpdate>* writer) override;
    grpc::Status UnregisterClient(grpc::ServerContext* context, const rpc::ClientId* request,
                                  rpc::Empty* reply) override;
    grpc::Status GetIntParam(grpc::ServerContext* context, const rpc::IntParamCode* request,
                             rpc::Int64Value* reply) override;
    grpc::Status SetIntParam(grpc::ServerContext* context, const rpc::IntParamSet* request,
                             rpc::Empty* reply) override;
    grpc::Status GetPexParam(grpc::ServerContext* context, const rpc::PexParamQuery* request,
                             rpc::PexParamAnswer* reply) override;
    grpc::Status SetPexParam(grpc::ServerContext* context, const rpc::PackedBuffer* request,
                             rpc::Int32Value* reply) override;
    grpc::Status GetAvailableTuningDevices(grpc::ServerContext* context,
                                           const rpc::TuningDevicesQuery* request,
                                           rpc::TuningDevicesAnswer* reply) override;
    grpc::Status GetAvailableTuningDevicesLen(grpc::ServerContext* context,
                                              const rpc::PortId* request,
                                              rpc::Int32Value* reply) override;
    grpc::Status GetSelectedTuningDevice(grpc::ServerContext* context, const rpc::PortId* request,
                                         rpc::BytesValue* reply) override;
    grpc::Status SetSelectedTuningDevice(grpc::ServerContext* context,
                                         const rpc::TuningDeviceSelection* request,
                                         rpc::Empty* reply) override;
    grpc::Status GetProfileName(grpc::ServerContext* context, const rpc::ProfileId* request,
                                rpc::BytesValue* reply) override;
    grpc::Status GetProfileIeqPreset(grpc::ServerContext* context, const rpc::ProfileId* request,
                                     rpc::Int32Value* reply) override;
    grpc::Status GetPexEnabled(grpc::ServerContext* context, const rpc::Empty* request,
                               rpc::BoolValue* reply) override;
    grpc::Status IsMonoInternalSpeaker(grpc::ServerContext* context, const rpc::Empty* request,
                                       rpc::BoolValue* reply) override;
    grpc::Status IsSpeakerPortraitMode(grpc::ServerContext* context, const rpc::Empty* request,
                                       rpc::BoolValue* reply) override;
    grpc::Status GetTuningParamDSA(grpc::ServerContext* context, const rpc::Empty* request,
                                   rpc::Int32Value* reply) override;
    grpc::Status GetTuningParamDHSA(grpc::ServerContext* context, const rpc::Empty* request,
                                    rpc::Int32Value* reply) override;
    grpc::Status GetTuningParamDFSA(grpc::ServerContext* context, const rpc::Empty* request,
                                    rpc::Int32Value* reply) override;
    grpc::Status GetActiveDevice(grpc::ServerContext* context, const rpc::Empty* request,
                                 rpc::Int32Value* reply) override;
    grpc::Status GetDefaultXmlFormatVersion(grpc::ServerContext* context, const rpc::Empty* request,
                                            rpc::Int32Value* reply) override;
    grpc::Status SetParam(grpc::ServerContext* context, const rpc::StoreParam* request,
                          rpc::Int32Value* reply) override;
    grpc::Status CommitChange(grpc::ServerContext* context, const rpc::Empty* request,
                              rpc::Int32Value* reply) override;
    grpc::Status Dump(grpc::ServerContext* context, const rpc::DumpArgs* request,
                      rpc::BytesValue* reply) override;

  private:
    // UNAVAILABLE once stop() has begun; every handler starts with it.
    bool stopping(grpc::Status* status) const;
    void addStream(const android::sp<StreamCallback>& stream);
    void removeStream(const android::sp<StreamCallback>& stream);
    // The open stream of this callback, if any.
    android::sp<StreamCallback> findStream(const KptService::IKptCallbacks* callback);

    // Hands a stream that fell too far behind to the death thread. Its handler may be stuck
    // writing to the client for as long as the client does not read, so it cannot be the one
    // to tell the service.
    void declareDead(const android::sp<StreamCallback>& stream);
    // The death thread: declares each stream handed over dead, one after another.
    void declareDeaths();

    const android::sp<KptService> mKpt;
    const size_t mMaxQueued;
    std::atomic<bool> mStopping{false};
    mutable android::Mutex mLock;
    std::vector<android::sp<StreamCallback>> mStreams GUARDED_BY(mLock);
    android::Mutex mDeathLock;
    android::Condition mDeathsChanged;
    std::deque<android::sp<StreamCallback>> mDeaths GUARDED_BY(mDeathLock);
    bool mDeathsEnd GUARDED_BY(mDeathLock) = false;
    std::thread mDeathThread;
};

}  // namespace velora
