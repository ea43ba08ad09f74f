/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>

namespace velora::testing {

// A fresh temporary folder that serves as the process-wide filesystem root while it lives,
// for tests, benchmarks and fuzz targets alike. The device folders of the service
// ("/odm/etc/velora", "/data/vendor/multimedia", "/data/vendor/velora") are created below it.
// The folder and everything in it is removed on destruction, and the root goes back to "/".
// Not thread-safe: the root is process-wide, so one thread makes and ends it.
class TempRoot {
  public:
    // kMemory puts the folder in /dev/shm where there is one: a fuzz target writes files for
    // every input, and a memory file system keeps its speed independent of the disk.
    enum class Storage { kDisk, kMemory };

    explicit TempRoot(Storage storage = Storage::kDisk);
    ~TempRoot();
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

    const std::string& path() const { return mPath; }
    // The host path of a device path below this root.
    std::string hostPath(const std::string& devicePath) const;
    // Copies a file to a device path: a relative name is a file of the source tree (relative
    // to the repository), an absolute one a host file (a generated tuning file).
    void install(const std::string& file, const std::string& devicePath) const;
    // Writes text (any bytes) to a device path.
    void write(const std::string& devicePath, const std::string& text) const;
    void remove(const std::string& devicePath) const;
    // Makes this folder the filesystem root again after another root was active.
    void activate() const;
    // Sets the modification time (whole seconds) of a device path.
    void setMtime(const std::string& devicePath, long seconds) const;

    // The repository's own folder, where tests find examples/ and tests/data/.
    static std::string sourceDir();

  private:
    std::string mPath;
};

}  // namespace velora::testing
