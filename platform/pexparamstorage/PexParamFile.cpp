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

// A new file appears under its name complete with its header (written under a temporary
// name, then linked), so a reader never opens a file without one. link() rather than
// rename(): when two writers race, the first file stays and the second is dropped. Only a
// file that is to replace a damaged one is renamed over it.
int create_file(const std::string& path, uint32_t generation, bool replace) {
    std::string tmp = path + ".XXXXXX";
    const int fd = mkstemp(&tmp[0]);
    if (fd < 0) return -errno;
    int err = 0;
    uint32_t header[PexParamFile::kHeaderSize / 4] = {};
    header[kOffMagic / 4] = PexParamFile::kMagic;
    header[kOffVersion / 4] = PexParamFile::kVersion;
    header[kOffHeaderSize / 4] = PexParamFile::kHeaderSize;
    header[kOffGeneration / 4] = generation;
    if (fchmod(fd, 0644) != 0 || ftruncate(fd, PexParamFile::kInitialSize) != 0 ||
        pwrite(fd, header, sizeof(header), 0) != static_cast<ssize_t>(sizeof(header))) {
        err = -errno;
    } else if (replace ? rename(tmp.c_str(), path.c_str()) != 0
                       : link(tmp.c_str(), path.c_str()) != 0 && errno != EEXIST) {
        err = -errno;
    }
    close(fd);
    unlink(tmp.c_str());
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
        err = create_file(path, 0, /*replace=*/false);
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
            err = create_file(path, generation, /*replace=*/true);
            if (err == 0) {
                file->reinitialise(generation, /*magic=*/0);
                replaced = true;
            }
        } else if (!valid || (seq & 1) != 0 || file->read(&check) != 0) {
            ALOGW("%s is not a whole parameter file; starting it over at generation %u",
                  path.c_str(), generation);
            file->reinitialise(generation);
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

// Never shrinks the file: readers in other processes may have mapped all of it.
int PexParamFile::growTo(size_t size) {
    struct stat st;
    if (fstat(mFd, &st) != 0) return -errno;
    size_t newSize = static_cast<size_t>(st.st_size) > mMapSize ? st.st_size : mMapSize;
    if (newSize < kInitialSize) newSize = kInitialSize;
    while (newSize < size) newSize *= 2;
    newSize = round_up_to_page(newSize);
    if (newSize > kMaxFileSize) newSize = kMaxFileSize;
    if (newSize < size) return -ENOSPC;
    if (newSize > static_cast<size_t>(st.st_size) && ftruncate(mFd, newSize) != 0) {
        return -errno;
    }
    return mapWhole();
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

int PexParamFile::publish(const PexParamSnapshot& snapshot) {
    if (!mWritable) return -EBADF;
    uint64_t words = 0;
    for (const auto& entry : snapshot.records) {
        words += kRecordHeaderWords + entry.second.values.size();
    }
    const uint64_t payloadBytes = words * 4;
    if (kHeaderSize + payloadBytes > kMaxFileSize) return -ENOSPC;
    if (kHeaderSize + payloadBytes > mMapSize) {
        const int err = growTo(kHeaderSize + payloadBytes);
        if (err != 0) return err;
    }

    const uint64_t seq = __atomic_load_n(sequence(), __ATOMIC_RELAXED);
    __atomic_store_n(sequence(), seq + 1, __ATOMIC_RELAXED);

    uint32_t* out = word(kHeaderSize);
    for (const auto& entry : snapshot.records) {
        const PexParamRecord& record = entry.second;
        store_word(out++, entry.first.first);
        store_word(out++, entry.first.second);
        store_word(out++, record.generation);
        store_word(out++, static_cast<uint32_t>(record.values.size()));
        for (int32_t value : record.values) store_word(out++, static_cast<uint32_t>(value));
    }
    store_word(word(kOffGeneration), snapshot.generation);
    store_word(word(kOffRecordCount), static_cast<uint32_t>(snapshot.records.size()));
    store_word(word(kOffPayloadBytes), static_cast<uint32_t>(payloadBytes));

    __atomic_store_n(sequence(), seq + 2, __ATOMIC_RELEASE);
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
