/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <vector>

#include "model/Endpoint.h"
#include "model/Parameter.h"

namespace velora {

class KsContext;

// Maps the external parameter ids that clients use (101 to 112) onto the settings of the
// current state: each id has a strategy that knows its internal Parameter, the record it lives
// in (profile, the profile's endpoints or the profile's graphic-equalizer preset), its range
// and its number of values. Id 100 is an empty slot; every id outside 100 to 112 is unknown.
//
// Owned by KsManager. The adapter keeps no state of its own beyond the constant table, so it
// may be used from any thread; the context serialises the changes themselves.
class ParameterAdapter {
  public:
    // The first external id; the table is indexed by id minus this.
    static constexpr int kFirstId = 100;
    // The number of slots, including the empty one of id 100.
    static constexpr int kSlotCount = 13;

    class ParameterStrategy {
      public:
        ParameterStrategy(int minimum, int maximum, Parameter parameter, int length);
        virtual ~ParameterStrategy();
        ParameterStrategy(const ParameterStrategy&) = delete;
        ParameterStrategy& operator=(const ParameterStrategy&) = delete;

        virtual void setParameter(KsContext* context, int profile, std::vector<int>& values) = 0;
        // Strategies without endpoints ignore an endpoint write.
        virtual void setParameter(KsContext* context, int profile, Endpoint endpoint,
                                  std::vector<int>& values);
        virtual std::vector<int> getParameter(KsContext* context, int profile) = 0;
        // Strategies without endpoints answer an endpoint read with nothing.
        virtual std::vector<int> getParameter(KsContext* context, int profile, Endpoint endpoint);
        virtual Parameter getParameter() const;
        virtual int getParamLength() const;

        int getMinimum() const { return mMinimum; }
        int getMaximum() const { return mMaximum; }

      protected:
        // Brings every value into [minimum, maximum], in place: out-of-range client values are
        // corrected rather than refused.
        void clamp(std::vector<int>& values) const;

        const int mMinimum;
        const int mMaximum;
        const Parameter mParameter;
        const int mLength;
    };

    // A parameter of the profile record.
    class ProfileParameterStrategy : public ParameterStrategy {
      public:
        using ParameterStrategy::getParameter;
        using ParameterStrategy::ParameterStrategy;
        using ParameterStrategy::setParameter;
        void setParameter(KsContext* context, int profile, std::vector<int>& values) override;
        std::vector<int> getParameter(KsContext* context, int profile) override;
    };

    // A parameter kept per endpoint. A write without an endpoint changes every endpoint of the
    // profile; a read without an endpoint answers with the speaker's value.
    class ProfileEndpointParameterStrategy : public ParameterStrategy {
      public:
        using ParameterStrategy::getParameter;
        using ParameterStrategy::ParameterStrategy;
        void setParameter(KsContext* context, int profile, std::vector<int>& values) override;
        void setParameter(KsContext* context, int profile, Endpoint endpoint,
                          std::vector<int>& values) override;
        std::vector<int> getParameter(KsContext* context, int profile) override;
        std::vector<int> getParameter(KsContext* context, int profile, Endpoint endpoint) override;
    };

    // A parameter of the profile's graphic-equalizer preset.
    class ProfileGeqParameterStrategy : public ParameterStrategy {
      public:
        using ParameterStrategy::getParameter;
        using ParameterStrategy::ParameterStrategy;
        using ParameterStrategy::setParameter;
        void setParameter(KsContext* context, int profile, std::vector<int>& values) override;
        std::vector<int> getParameter(KsContext* context, int profile) override;
    };

    // An endpoint parameter bound to one fixed endpoint, so that the speaker and headphone
    // virtualizers can be switched separately. Values are passed on unclamped, as clients of
    // these two ids have always relied on.
    class VirtualizerStrategy : public ParameterStrategy {
      public:
        VirtualizerStrategy(int minimum, int maximum, Parameter parameter, int length,
                            Endpoint endpoint, int reserved);
        using ParameterStrategy::getParameter;
        using ParameterStrategy::setParameter;
        void setParameter(KsContext* context, int profile, std::vector<int>& values) override;
        std::vector<int> getParameter(KsContext* context, int profile) override;

        Endpoint getEndpoint() const { return mEndpoint; }
        // Configured per id (3 for 101, 0 for 102) and kept as configured; nothing reads it.
        int getReserved() const { return mReserved; }

      private:
        const Endpoint mEndpoint;
        const int mReserved;
    };

    explicit ParameterAdapter(KsContext* context);
    virtual ~ParameterAdapter();
    ParameterAdapter(const ParameterAdapter&) = delete;
    ParameterAdapter& operator=(const ParameterAdapter&) = delete;

    // Unknown ids are ignored without a word (the empty slot of id 100 logs); values are
    // clamped in place, so the caller sees what was stored.
    void setParameter(int profile, int id, std::vector<int>& values);
    // Unknown ids are logged and answered with an empty vector.
    std::vector<int> getParameter(int profile, int id);
    void setProfileEndpointParameter(int profile, Endpoint endpoint, int id,
                                     std::vector<int>& values);
    std::vector<int> getProfileEndpointParameter(int profile, Endpoint endpoint, int id);
    // The number of values of an id; unknown ids are logged and answered with 1.
    int getParameterLength(int id);

    // The strategy of an id, or null for the empty slot and for ids outside the table.
    const ParameterStrategy* getStrategy(int id) const;

  private:
    // Null for ids outside the table; logs when the id is the empty slot or, with
    // logBeyondTable, when it is outside the table.
    ParameterStrategy* lookup(int id, bool logBeyondTable) const;

    KsContext* const mContext;
    std::vector<ParameterStrategy*> mStrategies;
};

}  // namespace velora
