/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>

namespace velora::bench {

// A fresh temporary folder that serves as the process-wide filesystem root while it lives,
// with the device folders of the service created below it. Removed, and the root set back to
// "/", on destruction. Every measured start-up gets its own, so no run sees another's
// database.
class BenchRoot {
  public:
    BenchRoot();
    ~BenchRoot();
    BenchRoot(const BenchRoot&) = delete;
    BenchRoot& operator=(const BenchRoot&) = delete;

    const std::string& path() const { return mPath; }
    std::string hostPath(const std::string& devicePath) const { return mPath + devicePath; }
    // Copies a host file to a device path below this root.
    void install(const std::string& hostFile, const std::string& devicePath) const;
    // Makes this folder the filesystem root again (after another root was active).
    void activate() const;

  private:
    std::string mPath;
};

}  // namespace velora::bench
