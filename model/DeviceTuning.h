/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstdint>
#include <string>

namespace velora {

// Which tuning a device on a port uses: device name (as the tuning file gives it), port name
// and tuning name. It holds no parameter values, so it is not a ParameterValues.
class DeviceTuning {
  public:
    DeviceTuning(const std::string& device, const std::string& port, const std::string& tuning);
    // Read from the database. Dirty all the same, like a new one.
    DeviceTuning(long long id, const std::string& device, const std::string& port,
                 const std::string& tuning);
    DeviceTuning(const DeviceTuning&) = default;
    DeviceTuning& operator=(const DeviceTuning&) = default;

    virtual int64_t getId() const;
    virtual bool isDirty() const;
    virtual void setDirty(bool dirty);
    virtual ~DeviceTuning();

    void setId(int64_t id) { mId = id; }
    const std::string& getDevice() const { return mDevice; }
    const std::string& getPort() const { return mPort; }
    const std::string& getTuning() const { return mTuning; }

    // "id=..\ndevice=..\nport=..\ntuning=.." without a newline at the end.
    std::string toString() const;

  private:
    int64_t mId;
    std::string mDevice;
    std::string mPort;
    std::string mTuning;
    bool mDirty;
};

}  // namespace velora
