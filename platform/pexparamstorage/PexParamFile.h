/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <pexparamstorage/PexParamCache.h>
#include <pexparamstorage/PexParamStore.h>
#include <pexparamstorage/PexParamTypes.h>
#include <stddef.h>
#include <stdint.h>
#include <utils/KeyedVector.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace android {

struct PexParamRecord {
    uint32_t generation;  // the commit that last changed the values
    std::vector<int32_t> values;
};

// One whole commit: its generation and every parameter, by (device, id).
struct PexParamSnapshot {
    uint32_t generation = 0;
    std::map<std::pair<uint32_t, PexParameterId>, PexParamRecord> records;
};

// The published parameter file: a 64-byte header followed by the records, mapped shared.
// Each commit is a whole new file, written and synced under a temporary name and renamed
// over the previous one, the folder synced after: after a power cut at any moment the name
// holds one whole commit. The previous file's header is then cleared, so that readers that
// hold it open the new one. Writers of all processes are serialised by an exclusive flock on
// the file under the name. A file is never shrunk, so a reader's older, shorter mapping stays
// valid, and a header is only rewritten under a sequence counter (odd while it is written):
// a reader copies the records and keeps the copy only when the counter was even and
// unchanged around it.
//
// Header (native 32-bit words, offsets in bytes):
//   0 magic "VPXS"   4 version   8 header size   12 reserved
//   16 sequence (64 bits)   24 generation   28 record count   32 payload bytes   36-63 zero
// Each record: device, parameter id, generation of its last change, n, then n values.
//
// Threading: one object per thread, or guarded by its owner's lock.
class PexParamFile {
  public:
    static constexpr uint32_t kMagic = 0x53585056;  // "VPXS" in file byte order
    static constexpr uint32_t kVersion = 1;
    static constexpr uint32_t kHeaderSize = 64;
    static constexpr size_t kInitialSize = 16384;
    static constexpr size_t kRecordHeaderWords = 4;
    // The largest file: the header and the most payload the store keeps, in whole pages.
    static constexpr size_t kMaxFileSize =
        (kHeaderSize + PexParamStore::kMaxPayloadBytes + 4095) / 4096 * 4096;

    // Opens the file for commits, creating it (and its folder) when missing, and repairs a
    // file that is not a parameter file or was left half-written by a writer that died; one
    // larger than kMaxFileSize is replaced by a new file.
    static int openForWriting(const std::string& path, std::unique_ptr<PexParamFile>* out);
    static int openForReading(const std::string& path, std::unique_ptr<PexParamFile>* out);
    ~PexParamFile();

    // True while this is the file under `path` (no writer has replaced it).
    bool isAt(const std::string& path) const;

    // Excludes the writers of every process, until unlockWriters().
    int lockWriters();
    void unlockWriters();

    // The generation in the header, as a hint: it may be read while a commit is being written.
    uint32_t publishedGeneration() const;

    // Puts a whole commit under path, durably (see the class comment), and opens the new file
    // for the next commit into *next (left empty when it cannot be opened; the commit holds
    // all the same). The caller holds the writer lock of this file, the one under path.
    int publish(const std::string& path, const PexParamSnapshot& snapshot,
                std::unique_ptr<PexParamFile>* next);
    // Copies one whole commit.
    int read(PexParamSnapshot* out);

    // Adds the records of `snapshot` to `out`, one cache per device; with changedOnly, only
    // those changed after generation `since`.
    static void exportParams(const PexParamSnapshot& snapshot,
                             KeyedVector<uint32_t, PexParamCache*>* out, bool changedOnly,
                             uint32_t since);

  private:
    PexParamFile(int fd, bool writable) : mFd(fd), mWritable(writable) {}

    int mapWhole();
    bool headerValid() const;
    // Rewrites the header over an empty payload, under the sequence counter; with a magic of
    // 0 readers take the file for no parameter file.
    void reinitialise(uint32_t generation, uint32_t magic = kMagic);
    bool commitAbandoned() const;

    uint64_t* sequence() const;
    uint32_t* word(size_t byteOffset) const;

    const int mFd;
    const bool mWritable;
    uint8_t* mMap = nullptr;
    size_t mMapSize = 0;

    PexParamFile(const PexParamFile&) = delete;
    PexParamFile& operator=(const PexParamFile&) = delete;
};

}  // namespace android
