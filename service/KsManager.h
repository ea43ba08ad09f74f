/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "model/Parameter.h"
#include "model/Port.h"

namespace velora {

class KsContext;
class KsContextManager;
class ParameterAdapter;
class PexController;
class PexEffect;

// The one object through which the service drives the settings system. It takes the current
// state from a KsContextManager (the process-wide one unless the caller names another),
// attaches the PEX effect and its controller to it, and checks the arguments of every client
// request before it reaches the context or the parameter adapter.
//
// Threading: no lock of its own. Reads may come from any thread (the context locks itself);
// writes come from the service's event loop, one at a time. init() runs once, before any
// other operation, under the service's start-up lock.
class KsManager {
  public:
    // The name under which the manager's effect handle is created.
    static constexpr const char* kEffectName = "KsService";
    // What getKsVersion() answers.
    static constexpr const char* kVersion = "KS_VERSION_EXTERNAL";

    KsManager();
    // Works over the given KsContextManager instead of the process-wide one (host tools and
    // tests that bring the settings system up themselves); it must outlive the manager.
    explicit KsManager(KsContextManager& contextManager);
    // Takes over both objects: the manager deletes them. Used where the caller assembled the
    // state itself instead of going through a KsContextManager.
    KsManager(PexController* controller, KsContext* context);
    virtual ~KsManager();
    KsManager(const KsManager&) = delete;
    KsManager& operator=(const KsManager&) = delete;

    // Start-up: takes the state from the KsContextManager and attaches the effect to it.
    // 0, or -ENODEV when there is no state (nothing is created then).
    int init();

    void createPexEffect(int session);
    bool validateKsEffect();
    bool recreateKsEffect();

    // State.
    void setKsOn(bool on);
    bool getKsOn();
    void setKsSuspended(bool suspended);
    bool getKsSuspended();
    void restoreCurrentProfiles();
    // Saves the whole state in one transaction: 0 once it is on disk, else a negative errno
    // (logged unless quietFailures), the database keeping the previous save.
    int saveKsStateAndSettings(bool quietFailures = false);
    void saveKsState();
    void saveKsProfile();
    void saveKsProfileSettings();
    std::string getKsVersion() const;

    // Profiles.
    int getNumOfProfiles();
    std::string getProfileName(int id);
    int getProfileNameLen(int id);
    // The IEQ preset type the profile has selected; -EINVAL for a profile that does not exist.
    int getProfileIeqPreset(int id);
    bool setSelectedProfile(int id);
    int getSelectedProfile();
    bool resetProfile(int id);
    bool isProfileModified(int id);

    // Parameters by external id.
    bool setParameter(int profile, int id, std::vector<int> values);
    std::vector<int> getParameter(int profile, int id);
    int getParamLength(int id);
    std::vector<int> getProfileParameter(int profile, Parameter parameter);
    std::vector<int> getProfilePortParameter(int profile, int port, int id);
    bool setProfilePortParameter(int profile, int port, int id, std::vector<int> values);

    // Tuning devices.
    std::vector<std::string> getAvailableTuningDevices(Port port);
    int getAvailableTuningDevicesLen(Port port);
    std::string getSelectedTuningName(Port port);
    bool setSelectedTuning(Port port, const std::string& device);

    // The tuning in force on the internal speaker.
    bool isMonoInternalSpeaker();
    bool isSpeakerPortraitMode();
    int getTuningParamDSA();
    int getTuningParamDHSA();
    int getTuningParamDFSA();

    // Tuning file.
    int reloadTuningXml();
    std::string getDefaultXmlFormatVersion();
    // Why the settings system did not start, when it tried and failed; empty otherwise.
    std::string getStartFailure();

    // The state this manager works on (null before a successful init).
    KsContext* getKsContext() const { return mContext; }

  private:
    KsContextManager& contextManager();
    bool isValidProfile(int id);
    // The endpoint whose settings a port uses; false for ports without one.
    bool endpointForPort(int port, int* endpoint);
    // The first value of a parameter of the internal speaker's tuning; fallback when there is
    // no tuning or no value.
    int internalSpeakerTuningValue(Parameter parameter, int fallback);

    PexController* mController = nullptr;
    KsContext* mContext = nullptr;
    ParameterAdapter* mAdapter = nullptr;
    PexEffect* mEffect = nullptr;
    // Read by binder threads while the event loop may change it.
    std::atomic<bool> mSuspended{false};
    int mSessionId = 0;
    // Where the state came from; null means the process-wide manager.
    KsContextManager* mContextManager = nullptr;
    // True when the context was handed over by the constructor; a context obtained from a
    // KsContextManager stays that manager's.
    bool mOwnsContext = false;
};

}  // namespace velora
