/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <set>
#include <string>

namespace velora {

class DeviceTuning;
class Tuning;

// What the merge of an OEM tuning file keeps of its tunings and device entries. The default
// file wins every clash: an OEM tuning whose name the default file has is dropped, and with it
// every OEM device entry that names it; an OEM device entry whose device the default file has
// is dropped too. The merge and velora-inspect's lint judge through this one set of rules, so
// the lint reports exactly what the merge does.
class OemMergeRules {
  public:
    enum Verdict {
        kKeep,
        kTuningInDefaults,   // the tuning's name is the default file's
        kDroppedWithTuning,  // the device entry names a dropped tuning
        kDeviceInDefaults,   // the device is the default file's
    };

    OemMergeRules(std::set<std::string> defaultTunings, std::set<std::string> defaultDevices);

    // Judge every tuning before the device entries: a dropped tuning takes its entries along.
    Verdict judge(const Tuning& tuning);
    Verdict judge(const DeviceTuning& device) const;

  private:
    const std::set<std::string> mDefaultTunings;
    const std::set<std::string> mDefaultDevices;
    std::set<std::string> mDroppedTunings;
};

}  // namespace velora
