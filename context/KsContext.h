/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

// The annotations first: utils/Mutex.h then turns them into no-ops for compilers without the
// thread-safety analysis.
#include <android-base/thread_annotations.h>
#include <utils/Mutex.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "context/ProfileContext.h"
#include "model/Endpoint.h"
#include "model/Parameter.h"
#include "model/Port.h"
#include "model/PresetType.h"

namespace velora {

class GeqPreset;
class IeqPreset;
class KsContextChangeObservable;
class OnKsContextChange;
class Profile;
class ProfileEndpoint;
class Provider;
class Tuning;

// The current state of the service: whether the effect is on, which profile is selected, the
// loaded records of every profile, and per supported port the selected tuning device and the
// Tuning in force. Every change is compared with the stored value and, when it really
// changes something, announced through the observable. Records are owned by the Provider's
// caches; the context owns only its ProfileContexts.
//
// Threading: one non-recursive lock guards all of the state and every call into the
// Provider made from here. Binder threads read while the looper thread writes. Observers are
// always called after the lock has been released, on the thread that made the change, so an
// observer may call back into the context. The records handed to observers are the live
// ones: they are read safely only on the thread that changes the state.
class KsContext {
  public:
    // The ports whose tuning device can be selected: every port but "other".
    static const std::set<Port> kSupportedPorts;

    // Creates one empty ProfileContext per profile the provider knows. Nothing is loaded.
    KsContext(Provider* provider, KsContextChangeObservable* observable);
    ~KsContext();
    KsContext(const KsContext&) = delete;
    KsContext& operator=(const KsContext&) = delete;

    // Adds the observer and gives it, and only it, an onLoad at once.
    void registerObserver(OnKsContextChange* observer);
    void unregisterObserver(OnKsContextChange* observer);

    // Full load from the provider, then onLoad.
    void load();
    // Reloads every profile and the on/off state; then onSelectedProfileChanged and
    // onPexOnChanged.
    void reloadAllProfile();
    // Re-checks every port's device against the provider's device lists, falls back to the
    // port's default device where the selected one is gone, and announces the tuning of every
    // port whose tuning loads.
    void reloadTuning();
    // Runs refresh under the state lock (it may rebuild the provider's tuning caches, which
    // would otherwise pull records away from under readers) and, when it returns 0, reloads
    // the tunings as reloadTuning() does. Returns refresh's result.
    int refreshTunings(const std::function<int()>& refresh);

    // Everything, in one provider transaction: 0 once it is on disk, or a negative errno when
    // the transaction could not be opened or one of its writes failed, in which case it is
    // rolled back and the database holds the previous save. With quietFailures a failed save
    // logs nothing (a retry of a save whose failure was logged already).
    int save(bool quietFailures = false);
    // True while a change made to the state since the last successful save() is not on disk.
    bool hasUnsavedChanges() const;
    // Grows by one with every change of the state (a value, a selection, a reset); read
    // without the lock, so that a caller can tell cheaply whether anything changed.
    uint64_t getChangeCount() const { return mChangeCount.load(std::memory_order_relaxed); }
    void saveKsState();
    void saveKsProfile();
    // Every profile's records and the selected profile, in one transaction.
    void saveKsProfileSettings();

    bool getPexOn() const;
    void setPexOn(bool on);

    int getNumOfProfiles() const { return mNumOfProfiles; }
    Profile* getSelectedProfile() const;
    bool isSelected(int profileId) const;
    // An id without a profile ends the process (see getProfileContext_l).
    void setSelectedProfile(int profileId);

    Profile* getProfile(int profileId) const;
    // Copies of fields of the live records, taken under the lock, for readers on other
    // threads than the one that changes the state (a reset rewrites the name, a tuning reload
    // frees the tunings).
    std::string getProfileName(int profileId) const;
    PresetType getProfileIeqPreset(int profileId) const;
    Profile* getDefaultProfile(int profileId);
    GeqPreset* getProfileGeq(int profileId) const;
    ProfileEndpoint* getProfileEndpoint(Endpoint endpoint) const;
    ProfileEndpoint* getProfileEndpoint(int profileId, Endpoint endpoint) const;
    IeqPreset* getSelectedProfileIeq() const;
    GeqPreset* getSelectedProfileGeq() const;
    // The selected profile's endpoint record for the endpoint of the port's tuning; null
    // while the port has no tuning in force.
    ProfileEndpoint* getSelectedProfileEndpoint(Port port) const;

    bool isProfileModified(int profileId);
    bool isProfileGeqModified(int profileId);
    bool isProfileSpecificSettingsModified(int profileId);
    void resetProfile(int profileId);
    void resetProfileGeq(int profileId);

    // Profile-wide parameter. ieq_id selects the intelligent-equalizer preset and switches
    // ieq_enable with it.
    void setProfileParameter(int profileId, Parameter parameter, const std::vector<int>& values);
    // Endpoint parameter of the profile.
    void setProfileParameter(int profileId, Endpoint endpoint, Parameter parameter,
                             const std::vector<int>& values);
    // Parameter of the profile's graphic-equalizer preset.
    void setProfileGeqParameter(int profileId, Parameter parameter, const std::vector<int>& values);

    // Copies of the stored vectors. A valid parameter the record does not hold yet is entered
    // with an empty vector, which is returned; callers treat empty as absent.
    std::vector<int> getProfileParameter(int profileId, Parameter parameter) const;
    std::vector<int> getProfileParameter(int profileId, Endpoint endpoint,
                                         Parameter parameter) const;
    std::vector<int> getProfileGeqParameter(int profileId, Parameter parameter) const;
    std::vector<int> getSelectedTuningParameter(Port port, Parameter parameter) const;

    // Device names of the port, in the provider's order.
    std::vector<std::string> getAvailableTuningDevice(Port port) const;
    std::string getDefaultTuningDevice(Port port) const;
    std::string getSelectedTuningDevice(Port port) const;
    Tuning* getSelectedTuning(Port port) const;
    // Whether the tuning in force on the port is a mono one; false without a tuning.
    bool isSelectedTuningMono(Port port) const;
    // Selects the device's tuning for the port; forced announces it even when the tuning in
    // force has the same name. Returns false, changing nothing, for a device the port does
    // not offer or whose tuning cannot be loaded.
    bool setSelectedTuning(Port port, const std::string& device, bool forced);
    bool selectDefaultTuning(Port port);

  private:
    // What a reload did on one port; its log lines are written with the port's event, after
    // the lock is released, so each port's lines and event stay together.
    struct TuningUpdate {
        Port port;
        std::string device;
        std::string replaced;  // the device given up for the port's default, when `reverted`
        bool reverted;
        Tuning* tuning;  // null when the device's tuning could not be loaded
    };

    // The context of the id. There is one per profile from construction on, so an unknown id
    // means a caller works on state that does not exist: logged, and the process ends.
    ProfileContext* getProfileContext_l(int profileId) const REQUIRES(mLock);
    void loadProfiles_l() REQUIRES(mLock);
    std::vector<std::string> getAvailableTuningDevice_l(Port port) const REQUIRES(mLock);
    std::string getDefaultTuningDevice_l(Port port) const REQUIRES(mLock);
    std::vector<TuningUpdate> reloadTuning_l() REQUIRES(mLock);
    void notifyTuningUpdates(const std::vector<TuningUpdate>& updates);
    void noteChange_l() REQUIRES(mLock);
    static bool isSupported(Port port, const char* caller);

    Provider* const mProvider;
    KsContextChangeObservable* const mObservable;
    const int mNumOfProfiles;
    // Indexed by profile id.
    std::vector<std::unique_ptr<ProfileContext>> mProfileContexts GUARDED_BY(mLock);
    std::map<Port, std::string> mSelectedTuningDevices GUARDED_BY(mLock);
    std::map<Port, Tuning*> mSelectedTunings GUARDED_BY(mLock);
    bool mPexOn GUARDED_BY(mLock) = false;
    ProfileContext* mSelectedProfileContext GUARDED_BY(mLock) = nullptr;
    std::atomic<uint64_t> mChangeCount{0};
    uint64_t mSavedChangeCount GUARDED_BY(mLock) = 0;
    mutable android::Mutex mLock;
};

}  // namespace velora
