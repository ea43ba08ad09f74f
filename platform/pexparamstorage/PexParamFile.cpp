/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "PexParamFile"

#include "PexParamFile.h"

#include <errno.h>
#include <fcntl.h>
#include <log/log.h>
#include <sched.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <vector>

namespace android {

namespace {

constexpr size_t kOffMagic = 0;
constexpr size_t kOffVersion = 4;
constexpr size_t kOffHeaderSize = 8;
constexpr size_t kOffSequence = 16;
constexpr size_t kOffGeneration = 24;
constexpr size_t kOffRecordCount = 28;
constexpr size_t kOffPayloadBytes = 32;

// How long a reader keeps retrying while commits are being written. A commit holds the
// counter odd for the time of one copy; only a writer that died mid-commit holds it longer.
constexpr int64_t kReadTimeoutNs = 2000000000LL;
constexpr size_t kPageSize = 4096;

// Every access to the mapping is atomic: writers and readers of the same bytes may run at the
// same time (that is the point of the sequence counter), and plain accesses would let the
// compiler tear or reorder them. Stores release and loads acquire, which orders them without
// separate fences: a reader that sees any word of a commit in progress also sees the odd
// counter written before it, and its closing look at the counter cannot move before its loads.
// On x86 and arm64 these are plain moves and load-acquires, no dearer than relaxed accesses.
uint32_t load_word(const uint32_t* p) { return __atomic_load_n(p, __ATOMIC_ACQUIRE); }

void store_word(uint32_t* p, uint32_t value) { __atomic_store_n(p, value, __ATOMIC_RELEASE); }

int64_t now_ns() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
}

size_t round_up_to_page(size_t size) { return (size + kPageSize - 1) / kPageSize * kPageSize; }

// Creates the folders of `path` that are missing.
int make_parent_dirs(const std::string& path) {
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        const std::string dir = path.substr(0, slash);
        if (mkdir(dir.c_str(), 0775) != 0 && errno != EEXIST) return -errno;
    }
    return 0;
}

// Syncs the folder that holds path, so that a name put there or taken away survives a power
// cut.
int sync_parent(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "."
                            : slash == 0               ? "/"
                                                       : path.substr(0, slash);
    const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return -errno;
    const int err = fsync(fd) == 0 ? 0 : -errno;
    close(fd);
    return err;
}

// Every file appears under its name whole: written under a temporary name, synced, then
// linked (a new file: when two writers race, the first file stays and the second is dropped)
// or renamed over the file there (a commit, or a new file in place of a damaged one), and the
// folder synced. After a power cut the name holds the previous whole file or the new one,
// never a torn or empty one.
int write_file(const std::string& path, const PexParamSnapshot& snapshot, bool replace) {
    std::vector<uint32_t> words(PexParamFile::kHeaderSize / 4, 0);
    for (const auto& entry : snapshot.records) {
        words.push_back(entry.first.first);
        words.push_back(entry.first.second);
        words.push_back(entry.second.generation);
        words.push_back(static_cast<uint32_t>(entry.second.values.size()));
        for (int32_t value : entry.second.values) words.push_back(static_cast<uint32_t>(value));
    }
    const size_t payloadBytes = (words.size() * 4) - PexParamFile::kHeaderSize;
    if (PexParamFile::kHeaderSize + payloadBytes > PexParamFile::kMaxFileSize) return -ENOSPC;
    words[kOffMagic / 4] = PexParamFile::kMagic;
    words[kOffVersion / 4] = PexParamFile::kVersion;
    words[kOffHeaderSize / 4] = PexParamFile::kHeaderSize;
    words[kOffGeneration / 4] = snapshot.generation;
    words[kOffRecordCount / 4] = static_cast<uint32_t>(snapshot.records.size());
    words[kOffPayloadBytes / 4] = static_cast<uint32_t>(payloadBytes);
    size_t size = round_up_to_page(words.size() * 4);
    if (size < PexParamFile::kInitialSize) size = PexParamFile::kInitialSize;

    std::string tmp = path + ".XXXXXX";
    const int fd = mkstemp(&tmp[0]);
    if (fd < 0) return -errno;
    int err = 0;
    if (fchmod(fd, 0644) != 0 || ftruncate(fd, static_cast<off_t>(size)) != 0) err = -errno;
    const char* bytes = reinterpret_cast<const char*>(words.data());
    for (size_t done = 0; err == 0 && done < words.size() * 4;) {
        const ssize_t n =
            pwrite(fd, bytes + done, words.size() * 4 - done, static_cast<off_t>(done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) err = n < 0 ? -errno : -EIO;
        if (n > 0) done += static_cast<size_t>(n);
    }
    if (err == 0 && fdatasync(fd) != 0) err = -errno;
    if (err == 0 && (replace ? rename(tmp.c_str(), path.c_str()) != 0
                             : link(tmp.c_str(), path.c_str()) != 0 && errno != EEXIST)) {
        err = -errno;
    }
    close(fd);
    if (err != 0 || !replace) unlink(tmp.c_str());
    if (err == 0) err = sync_parent(path);
    return err;
}

}  // namespace

PexParamFile::~PexParamFile() {
    if (mMap != nullptr) munmap(mMap, mMapSize);
    close(mFd);
}

int PexParamFile::openForWriting(const std::string& path, std::unique_ptr<PexParamFile>* out) {
    int err = make_parent_dirs(path);
    if (err != 0) return err;
    int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0 && errno == ENOENT) {
        err = write_file(path, PexParamSnapshot(), /*replace=*/false);
        if (err != 0) return err;
        fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
    }
    if (fd < 0) return -errno;
    std::unique_ptr<PexParamFile> file(new PexParamFile(fd, /*writable=*/true));

    err = file->lockWriters();
    if (err != 0) return err;
    struct stat st;
    if (fstat(fd, &st) != 0) {
        err = -errno;
    } else if (static_cast<size_t>(st.st_size) < kInitialSize && ftruncate(fd, kInitialSize) != 0) {
        err = -errno;
    } else {
        err = file->mapWhole();
    }
    bool replaced = false;
    if (err == 0) {
        // No other writer runs while we hold the lock, so an odd counter means a writer died
        // mid-commit and the records are torn: start over empty. The store republishes its
        // whole state at its next commit. The numbering goes on where a readable header left
        // it, so that readers' generations stay meaningful.
        const bool valid = file->headerValid();
        const uint64_t seq = __atomic_load_n(file->sequence(), __ATOMIC_ACQUIRE);
        const uint32_t stored = valid ? load_word(file->word(kOffGeneration)) : 0;
        const uint32_t generation = stored <= PexParamStore::kMaxGeneration ? stored : 0;
        PexParamSnapshot check;
        if (file->mMapSize > kMaxFileSize) {
            // Never written by a store with these bounds, and a file is never shrunk under
            // readers' mappings: a new file takes its place, and the old one tells its
            // readers it is no parameter file any more, so that they open the new one.
            ALOGW(
                "%s has %zu bytes, more than a parameter file holds; starting it over at "
                "generation %u",
                path.c_str(), file->mMapSize, generation);
            replaced = true;
        } else if (!valid || (seq & 1) != 0 || file->read(&check) != 0) {
            ALOGW("%s is not a whole parameter file; starting it over at generation %u",
                  path.c_str(), generation);
            replaced = true;
        }
        if (replaced) {
            PexParamSnapshot empty;
            empty.generation = generation;
            err = write_file(path, empty, /*replace=*/true);
            if (err == 0) file->reinitialise(generation, /*magic=*/0);
        }
    }
    file->unlockWriters();
    if (err != 0) return err;
    if (replaced) return openForWriting(path, out);
    *out = std::move(file);
    return 0;
}

int PexParamFile::openForReading(const std::string& path, std::unique_ptr<PexParamFile>* out) {
    // Without waiting: a pipe in the file's place would hold the open until someone writes.
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return -errno;
    std::unique_ptr<PexParamFile> file(new PexParamFile(fd, /*writable=*/false));
    const int err = file->mapWhole();
    if (err != 0) return err;
    if (!file->headerValid()) return -EBADMSG;
    *out = std::move(file);
    return 0;
}

int PexParamFile::lockWriters() {
    while (flock(mFd, LOCK_EX) != 0) {
        if (errno != EINTR) return -errno;
    }
    return 0;
}

void PexParamFile::unlockWriters() { flock(mFd, LOCK_UN); }

bool PexParamFile::isAt(const std::string& path) const {
    struct stat named;
    struct stat open;
    return stat(path.c_str(), &named) == 0 && fstat(mFd, &open) == 0 &&
           named.st_dev == open.st_dev && named.st_ino == open.st_ino;
}

// A writer holds the file's lock through its whole commit, so an odd counter that stays odd
// while nobody holds the lock belongs to a writer that died half-way: waiting cannot help.
// The shared lock is only tried, never waited for, and given back at once.
bool PexParamFile::commitAbandoned() const {
    if (flock(mFd, LOCK_SH | LOCK_NB) != 0) return false;
    const bool odd = (__atomic_load_n(sequence(), __ATOMIC_ACQUIRE) & 1) != 0;
    flock(mFd, LOCK_UN);
    return odd;
}

uint64_t* PexParamFile::sequence() const {
    return reinterpret_cast<uint64_t*>(mMap + kOffSequence);
}

uint32_t* PexParamFile::word(size_t byteOffset) const {
    return reinterpret_cast<uint32_t*>(mMap + byteOffset);
}

// Maps the whole file as it is now (it may have grown since the last mapping).
int PexParamFile::mapWhole() {
    struct stat st;
    if (fstat(mFd, &st) != 0) return -errno;
    // Only a plain file is a parameter file; mapping a folder would fail as "no such device".
    if (S_ISDIR(st.st_mode)) return -EISDIR;
    if (!S_ISREG(st.st_mode)) return -EBADMSG;
    const size_t size = static_cast<size_t>(st.st_size);
    if (size < kHeaderSize) return -EBADMSG;
    if (mMap != nullptr && size == mMapSize) return 0;
    const int prot = mWritable ? PROT_READ | PROT_WRITE : PROT_READ;
    void* map = mmap(nullptr, size, prot, MAP_SHARED, mFd, 0);
    if (map == MAP_FAILED) return -errno;
    if (mMap != nullptr) munmap(mMap, mMapSize);
    mMap = static_cast<uint8_t*>(map);
    mMapSize = size;
    return 0;
}

bool PexParamFile::headerValid() const {
    return load_word(word(kOffMagic)) == kMagic && load_word(word(kOffVersion)) == kVersion &&
           load_word(word(kOffHeaderSize)) == kHeaderSize;
}

void PexParamFile::reinitialise(uint32_t generation, uint32_t magic) {
    uint64_t seq = __atomic_load_n(sequence(), __ATOMIC_RELAXED);
    if ((seq & 1) == 0) seq++;
    __atomic_store_n(sequence(), seq, __ATOMIC_RELAXED);
    store_word(word(kOffMagic), magic);
    store_word(word(kOffVersion), kVersion);
    store_word(word(kOffHeaderSize), kHeaderSize);
    store_word(word(kOffGeneration), generation);
    store_word(word(kOffRecordCount), 0);
    store_word(word(kOffPayloadBytes), 0);
    __atomic_store_n(sequence(), seq + 1, __ATOMIC_RELEASE);
}

uint32_t PexParamFile::publishedGeneration() const { return load_word(word(kOffGeneration)); }

int PexParamFile::publish(const std::string& path, const PexParamSnapshot& snapshot,
                          std::unique_ptr<PexParamFile>* next) {
    if (!mWritable) return -EBADF;
    int err = write_file(path, snapshot, /*replace=*/true);
    if (err != 0) return err;
    // Readers that hold this file learn that it is no parameter file any more and open the
    // new one; the commit is on disk whether or not the new one can be opened here.
    reinitialise(publishedGeneration(), /*magic=*/0);
    err = openForWriting(path, next);
    if (err != 0) ALOGW("%s: committed, but not opened again: %s", path.c_str(), strerror(-err));
    return 0;
}

int PexParamFile::read(PexParamSnapshot* out) {
    const int64_t deadline = now_ns() + kReadTimeoutNs;
    std::vector<uint32_t> words;
    for (;;) {
        const uint64_t before = __atomic_load_n(sequence(), __ATOMIC_ACQUIRE);
        if ((before & 1) == 0) {
            const bool valid = headerValid();
            const uint32_t generation = load_word(word(kOffGeneration));
            const uint32_t recordCount = load_word(word(kOffRecordCount));
            const uint32_t payloadBytes = load_word(word(kOffPayloadBytes));
            const size_t available = mMapSize - kHeaderSize;
            const size_t copied = (payloadBytes < available ? payloadBytes : available) / 4;
            words.resize(copied);
            const uint32_t* in = word(kHeaderSize);
            for (size_t i = 0; i < copied; ++i) words[i] = load_word(in + i);
            const uint64_t after = __atomic_load_n(sequence(), __ATOMIC_RELAXED);

            if (before == after) {
                // A stable copy: from here on, anything wrong is wrong in the file itself.
                if (!valid || payloadBytes % 4 != 0 || generation > PexParamStore::kMaxGeneration) {
                    return -EBADMSG;
                }
                if (payloadBytes > available) {
                    const int err = mapWhole();
                    if (err != 0) return err;
                    if (payloadBytes > mMapSize - kHeaderSize) return -EBADMSG;
                    continue;
                }
                PexParamSnapshot snapshot;
                snapshot.generation = generation;
                size_t at = 0;
                for (uint32_t r = 0; r < recordCount; ++r) {
                    if (words.size() - at < kRecordHeaderWords) return -EBADMSG;
                    const uint32_t device = words[at];
                    const PexParameterId id = words[at + 1];
                    PexParamRecord record;
                    record.generation = words[at + 2];
                    if (record.generation > generation) return -EBADMSG;
                    const uint32_t n = words[at + 3];
                    at += kRecordHeaderWords;
                    if (n > words.size() - at) return -EBADMSG;
                    record.values.assign(words.begin() + at, words.begin() + at + n);
                    at += n;
                    snapshot.records[{device, id}] = std::move(record);
                }
                if (at != words.size()) return -EBADMSG;
                *out = std::move(snapshot);
                return 0;
            }
        }
        if ((before & 1) != 0 && !mWritable && commitAbandoned()) {
            ALOGE("commit left half-written: counter %llu, no writer holds the file",
                  static_cast<unsigned long long>(before));
            return -EBADMSG;
        }
        if (now_ns() > deadline) {
            ALOGE("no whole commit could be read: a writer holds the sequence counter at %llu",
                  static_cast<unsigned long long>(before));
            return -EAGAIN;
        }
        sched_yield();
    }
}

void PexParamFile::exportParams(const PexParamSnapshot& snapshot,
                                KeyedVector<uint32_t, PexParamCache*>* out, bool changedOnly,
                                uint32_t since) {
    for (const auto& entry : snapshot.records) {
        if (changedOnly && entry.second.generation <= since) continue;
        const uint32_t device = entry.first.first;
        PexParamCache* cache;
        const ssize_t index = out->indexOfKey(device);
        if (index < 0) {
            cache = new PexParamCache(device);
            out->add(device, cache);
        } else {
            cache = out->valueAt(index);
        }
        const std::vector<int32_t>& values = entry.second.values;
        cache->setParam(entry.first.second, values.data(), static_cast<uint32_t>(values.size()));
    }
}

}  // namespace android
