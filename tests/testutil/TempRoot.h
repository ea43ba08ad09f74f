/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>

namespace velora::testing {

// A fresh temporary folder that serves as the process-wide filesystem root while it lives.
// The device folders of the service ("/odm/etc/velora", "/data/vendor/multimedia",
// "/data/vendor/velora") are created below it. The folder and everything in it is removed on
// destruction, and the root goes back to "/".
class TempRoot {
  public:
    TempRoot();
    ~TempRoot();
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

    const std::string& path() const { return mPath; }
    // The host path of a device path below this root.
    std::string hostPath(const std::string& devicePath) const;
    // Copies a file of the source tree (relative to the repository) to a device path.
    void install(const std::string& sourceFile, const std::string& devicePath) const;
    // Writes text to a device path.
    void write(const std::string& devicePath, const std::string& text) const;
    // Sets the modification time (whole seconds) of a device path.
    void setMtime(const std::string& devicePath, long seconds) const;

    // The repository's own folder, where tests find examples/ and tests/data/.
    static std::string sourceDir();

  private:
    std::string mPath;
};

}  // namespace velora::testing
