/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <grpcpp/grpcpp.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tools/common/ExitStatus.h"
#include "velora.grpc.pb.h"

namespace velora {

// A failed call: what to tell the user and which exit status it deserves.
struct CallError {
    ExitStatus status = EXIT_OK;
    std::string message;
    // The daemon's own status when it answered with an error (INTERNAL when the service
    // failed the operation), OK otherwise.
    grpc::StatusCode code = grpc::StatusCode::OK;
};

// The connection of one veloractl run to velorad. Every call has the same deadline; a failed
// call fills error() and returns false.
//
// Threading: calls are made from one thread; a Registration reads its stream on a thread of its
// own.
class VeloraClient {
  public:
    // Answer buffer for parameter values: far more than any parameter's length, because a
    // stored vector gains a trailing element each time the settings are saved and read back.
    static constexpr uint32_t kValuesAnswerLength = 64 * 1024;

    VeloraClient(std::string socketPath, std::chrono::milliseconds timeout);

    // Checks that something is there to talk to before the first call, to give a clear error
    // instead of a transport message.
    bool checkSocket();

    const CallError& error() const { return mError; }
    const std::string& socketPath() const { return mSocketPath; }
    std::chrono::milliseconds timeout() const { return mTimeout; }
    rpc::VeloraManager::Stub& stub() { return *mStub; }

    // Runs one unary call with the common deadline; on failure records the error, naming the
    // operation.
    template <typename Request, typename Reply, typename Method>
    bool call(const char* operation, Method method, const Request& request, Reply* reply) {
        grpc::ClientContext context;
        context.set_deadline(std::chrono::system_clock::now() + mTimeout);
        grpc::Status status = ((*mStub).*method)(&context, request, reply);
        if (status.ok()) return true;
        fail(operation, status);
        return false;
    }

    void fail(const char* operation, const grpc::Status& status);
    void fail(ExitStatus status, const std::string& message);

    // Service operations, each with the service's own integers and bytes.
    bool getPexParam(const std::string& request, uint32_t answerLength, int* result,
                     std::string* answer);
    bool setPexParam(const std::string& buffer, int* result);
    bool getIntParam(uint32_t code, int64_t* value);
    bool setIntParam(uint32_t code, int64_t value);
    bool getProfileName(int profile, std::string* name);
    // The profile's selected IEQ preset type; a negative answer fails with its errno.
    bool getProfileIeqPreset(int profile, int* preset);
    bool getPexEnabled(bool* on);
    bool getSelectedTuningDevice(int port, std::string* name);
    bool setSelectedTuningDevice(int port, const std::string& name);
    bool getAvailableTuningDevices(int port, std::vector<std::string>* names);
    bool getDefaultXmlFormatVersion(int* version);
    bool isMonoInternalSpeaker(bool* mono);
    bool dump(const std::vector<std::string>& args, std::string* text);
    // describe_result, and for a service that is not initialised the reason its dump gives.
    std::string describe(int result);

    // Packed get helpers: a 32-bit answer of commands 0, 3, 10, 11 and 13.
    bool getPackedInt(int command, int argument, int* value);
    // Command 1 (port < 0) or 2: the first `length` values of an external parameter.
    bool getPackedValues(int profile, int port, int id, int length, std::vector<int>* values);

  private:
    std::string mSocketPath;
    std::chrono::milliseconds mTimeout;
    std::shared_ptr<grpc::Channel> mChannel;
    std::unique_ptr<rpc::VeloraManager::Stub> mStub;
    CallError mError;
};

// One registration of this process as a client: the server stream of callback buffers, read
// on a thread of its own into a queue. Ends with unregisterClient when closed politely; if the
// process dies instead, the daemon sees the stream break and reports the client dead.
class Registration {
  public:
    explicit Registration(VeloraClient& client);
    ~Registration();
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

    // Registers with the given type and uid and waits until the first callback arrives, which
    // proves the service holds the registration. False (with the client's error) otherwise.
    bool start(int type, uint32_t uid);

    enum class Next { Buffer, Ended, TimedOut, Interrupted };
    // The next callback buffer, waiting until the deadline.
    Next next(std::chrono::steady_clock::time_point deadline, std::string* buffer);

    // Makes a waiting next() return Interrupted (from another thread, e.g. on a signal).
    void interrupt();

    // unregisterClient, then waits for the daemon to end the stream. Safe to call twice.
    bool stop();
    // Ends the stream without unregistering, as a dying client would.
    void abandon();

    // How the stream ended, once next() has returned Ended.
    const grpc::Status& endStatus() const { return mEndStatus; }
    int type() const { return mType; }
    uint32_t uid() const { return mUid; }

  private:
    void readLoop();

    VeloraClient& mClient;
    grpc::ClientContext mContext;
    std::unique_ptr<grpc::ClientReader<rpc::ParamUpdate>> mReader;
    std::thread mThread;
    std::mutex mLock;
    std::condition_variable mChanged;
    std::deque<std::string> mQueue;
    bool mEnded = false;
    bool mStopped = false;
    bool mInterrupted = false;
    grpc::Status mEndStatus;
    int mType = 0;
    uint32_t mUid = 0;
};

}  // namespace velora
