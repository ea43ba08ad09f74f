/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>

namespace velora {

// The fixed files of the service, as literal device paths, and the process-wide filesystem
// root they are resolved under. On a device the root is "/" and every path is used as it is;
// host programs and tests point the root at a folder of their own before they start the
// service, so that the same code reads and writes below that folder.
//
// Threading: setRoot() is meant to run before the service starts; reads are safe from any
// thread at any time.
class SystemPaths {
  public:
    static constexpr const char* kDefaultTuningFile =
        "/odm/etc/velora/multimedia_velora_kiv_default.xml";
    static constexpr const char* kRomUpdateTuningFile =
        "/data/vendor/multimedia/multimedia_velora_kiv_default.xml";
    static constexpr const char* kOemTuningFile = "/data/vendor/velora/kiv-extra.xml";
    static constexpr const char* kDatabaseDir = "/data/vendor/velora/";
    // The effect parameters published by the parameter store.
    static constexpr const char* kPexParamFile = "/data/vendor/velora/pexparams.bin";

    // Sets the root; an empty text means "/". A trailing "/" is ignored.
    static void setRoot(const std::string& root);
    static std::string getRoot();

    // The device path as seen under the current root: "/" + path gives path unchanged.
    static std::string resolve(const std::string& devicePath);
};

}  // namespace velora
