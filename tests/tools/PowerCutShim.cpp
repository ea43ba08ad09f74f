/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// A power cut for a program run with this library in LD_PRELOAD. It records every write,
// truncation and sync the program makes under one folder and, at the operation numbered
// VELORA_POWERCUT_AT (counted from 1; 0 never cuts), stops the program before that operation
// reaches the disk, writes what the disk would hold after the cut into VELORA_POWERCUT_OUT
// and exits with status 99. What the disk holds depends on VELORA_POWERCUT_MODEL:
//   1  every file as it was at its last sync, under the names the folders have now;
//   2  the same, with each write made since the file's last sync kept or lost at random
//      (VELORA_POWERCUT_SEED);
//   3  as 1, under the names the folders had at their last sync: names made, renamed or
//      removed since are undone.
// A file never synced is empty. The number of operations seen is written to
// VELORA_POWERCUT_COUNT at exit, so that a run without a cut tells how many moments there are.
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <map>
#include <mutex>
#include <random>
#include <string>
#include <vector>

namespace {

struct Write {
    off_t offset;
    std::string bytes;
    bool truncate;  // a truncation to offset instead
};

// One file's content as the disk holds it for sure, and what was written since.
struct FileState {
    std::string durable;
    std::vector<Write> pending;
};

using Key = unsigned long long;  // the inode, or a retired inode's own key

struct State {
    std::mutex lock;
    std::string folder;  // watched, with a trailing '/'
    std::string out;
    int model = 1;
    unsigned seed = 1;
    unsigned long long cutAt = 0;
    unsigned long long count = 0;
    std::string countFile;
    std::map<Key, FileState> files;
    // Per folder, its names as of its last sync.
    std::map<std::string, std::map<std::string, Key>> durableNames;
    Key nextRetired = 1ULL << 62;
};

State* gState = nullptr;

template <typename F>
F real(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

std::string fd_path(int fd) {
    char link[64];
    char target[PATH_MAX];
    snprintf(link, sizeof(link), "/proc/self/fd/%d", fd);
    const ssize_t n = readlink(link, target, sizeof(target) - 1);
    if (n <= 0) return std::string();
    target[n] = '\0';
    return target;
}

std::string absolute(int dirfd, const char* path) {
    if (path == nullptr) return std::string();
    if (path[0] == '/') return path;
    std::string base;
    if (dirfd == AT_FDCWD) {
        char cwd[PATH_MAX];
        if (getcwd(cwd, sizeof(cwd)) == nullptr) return std::string();
        base = cwd;
    } else {
        base = fd_path(dirfd);
    }
    return base + "/" + path;
}

bool watched(const std::string& path) {
    return gState != nullptr && path.compare(0, gState->folder.size(), gState->folder) == 0;
}

std::string read_whole(int fd) {
    std::string content;
    char buffer[65536];
    off_t at = 0;
    for (;;) {
        const ssize_t n = pread(fd, buffer, sizeof(buffer), at);
        if (n <= 0) break;
        content.append(buffer, static_cast<size_t>(n));
        at += n;
    }
    return content;
}

std::map<std::string, Key> list_folder(const std::string& folder) {
    std::map<std::string, Key> names;
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr) return names;
    while (struct dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        struct stat st;
        if (lstat((folder + "/" + name).c_str(), &st) == 0) names[name] = st.st_ino;
    }
    closedir(dir);
    return names;
}

// Every folder under `folder` (itself included), and every file's content taken as synced:
// what stands on the disk before the program starts.
void scan_initial(const std::string& folder) {
    gState->durableNames[folder] = list_folder(folder);
    for (const auto& entry : gState->durableNames[folder]) {
        const std::string path = folder + "/" + entry.first;
        struct stat st;
        if (lstat(path.c_str(), &st) != 0) continue;
        if (S_ISDIR(st.st_mode)) {
            scan_initial(path);
        } else if (S_ISREG(st.st_mode)) {
            const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
            if (fd >= 0) {
                gState->files[st.st_ino].durable = read_whole(fd);
                close(fd);
            }
        }
    }
}

// Called with the lock held: writes past this library's own write().
void write_out(const std::string& path, const std::string& content) {
    static auto realWrite = real<ssize_t (*)(int, const void*, size_t)>("write");
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return;
    size_t done = 0;
    while (done < content.size()) {
        const ssize_t n = realWrite(fd, content.data() + done, content.size() - done);
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    close(fd);
}

std::string after_cut(Key key, std::mt19937& random) {
    auto found = gState->files.find(key);
    if (found == gState->files.end()) return std::string();
    std::string content = found->second.durable;
    if (gState->model != 2) return content;
    for (const Write& write : found->second.pending) {
        if (random() % 2 == 0) continue;
        const size_t at = static_cast<size_t>(write.offset);
        if (write.truncate) {
            content.resize(at);
            continue;
        }
        if (content.size() < at + write.bytes.size()) content.resize(at + write.bytes.size());
        content.replace(at, write.bytes.size(), write.bytes);
    }
    return content;
}

// The disk after the cut, written under gState->out with the folder's own layout.
[[noreturn]] void cut() {
    std::mt19937 random(gState->seed);
    std::map<std::string, std::map<std::string, Key>> names;
    if (gState->model == 3) {
        names = gState->durableNames;
    } else {
        for (const auto& folder : gState->durableNames) {
            names[folder.first] = list_folder(folder.first);
        }
    }
    for (const auto& folder : names) {
        const std::string relative = folder.first.substr(gState->folder.size() - 1);
        const std::string target = gState->out + relative;
        mkdir(target.c_str(), 0755);
        for (const auto& entry : folder.second) {
            if (names.count(folder.first + "/" + entry.first) != 0) {
                mkdir((target + "/" + entry.first).c_str(), 0755);
                continue;
            }
            write_out(target + "/" + entry.first, after_cut(entry.second, random));
        }
    }
    _exit(99);
}

// Counts one operation on path; cuts the power instead of letting the operation run when its
// number has come.
void count(const std::string& path) {
    if (!watched(path)) return;
    if (++gState->count == gState->cutAt) cut();
}

// The file behind fd loses its last name: its content is kept under a key of its own, so
// that a folder synced while it had the name still finds it.
void retire(const std::string& path) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_nlink > 1) return;
    const Key key = st.st_ino;
    const Key retired = gState->nextRetired++;
    auto found = gState->files.find(key);
    if (found != gState->files.end()) {
        gState->files[retired] = std::move(found->second);
        gState->files.erase(key);
    }
    for (auto& folder : gState->durableNames) {
        for (auto& entry : folder.second) {
            if (entry.second == key) entry.second = retired;
        }
    }
}

void record_write(int fd, off_t offset, const void* data, size_t size, bool truncate) {
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) return;
    FileState& file = gState->files[st.st_ino];
    file.pending.push_back(
        {offset, truncate ? std::string() : std::string(static_cast<const char*>(data), size),
         truncate});
}

void record_sync(int fd, const std::string& path) {
    struct stat st;
    if (fstat(fd, &st) != 0) return;
    if (S_ISDIR(st.st_mode)) {
        gState->durableNames[path] = list_folder(path);
        return;
    }
    FileState& file = gState->files[st.st_ino];
    file.durable = read_whole(fd);
    file.pending.clear();
}

__attribute__((constructor)) void start() {
    const char* folder = getenv("VELORA_POWERCUT_DIR");
    if (folder == nullptr || folder[0] != '/') return;
    gState = new State();
    gState->folder = std::string(folder) + "/";
    const char* out = getenv("VELORA_POWERCUT_OUT");
    gState->out = out == nullptr ? std::string() : out;
    const char* model = getenv("VELORA_POWERCUT_MODEL");
    gState->model = model == nullptr ? 1 : atoi(model);
    const char* seed = getenv("VELORA_POWERCUT_SEED");
    gState->seed = seed == nullptr ? 1 : static_cast<unsigned>(strtoul(seed, nullptr, 10));
    const char* at = getenv("VELORA_POWERCUT_AT");
    gState->cutAt = at == nullptr ? 0 : strtoull(at, nullptr, 10);
    const char* countFile = getenv("VELORA_POWERCUT_COUNT");
    gState->countFile = countFile == nullptr ? std::string() : countFile;
    scan_initial(folder);
}

__attribute__((destructor)) void finish() {
    if (gState == nullptr || gState->countFile.empty()) return;
    write_out(gState->countFile, std::to_string(gState->count) + "\n");
}

}  // namespace

extern "C" {

ssize_t pwrite64(int fd, const void* data, size_t size, off64_t offset) {
    static auto next = real<ssize_t (*)(int, const void*, size_t, off64_t)>("pwrite64");
    if (gState == nullptr) return next(fd, data, size, offset);
    std::lock_guard<std::mutex> guard(gState->lock);
    const std::string path = fd_path(fd);
    if (!watched(path)) return next(fd, data, size, offset);
    count(path);
    const ssize_t n = next(fd, data, size, offset);
    if (n > 0) record_write(fd, offset, data, static_cast<size_t>(n), false);
    return n;
}

ssize_t pwrite(int fd, const void* data, size_t size, off_t offset) {
    return pwrite64(fd, data, size, offset);
}

ssize_t write(int fd, const void* data, size_t size) {
    static auto next = real<ssize_t (*)(int, const void*, size_t)>("write");
    if (gState == nullptr || fd <= 2) return next(fd, data, size);
    std::lock_guard<std::mutex> guard(gState->lock);
    const std::string path = fd_path(fd);
    if (!watched(path)) return next(fd, data, size);
    count(path);
    const off_t offset = lseek(fd, 0, SEEK_CUR);
    const ssize_t n = next(fd, data, size);
    if (n > 0) record_write(fd, offset, data, static_cast<size_t>(n), false);
    return n;
}

int ftruncate64(int fd, off64_t length) {
    static auto next = real<int (*)(int, off64_t)>("ftruncate64");
    if (gState == nullptr) return next(fd, length);
    std::lock_guard<std::mutex> guard(gState->lock);
    const std::string path = fd_path(fd);
    if (!watched(path)) return next(fd, length);
    count(path);
    const int result = next(fd, length);
    if (result == 0) record_write(fd, length, nullptr, 0, true);
    return result;
}

int ftruncate(int fd, off_t length) { return ftruncate64(fd, length); }

static int sync_with(const char* name, int fd) {
    auto next = real<int (*)(int)>(name);
    if (gState == nullptr) return next(fd);
    std::lock_guard<std::mutex> guard(gState->lock);
    std::string path = fd_path(fd);
    if (!watched(path + "/")) return next(fd);
    count(path + "/");
    const int result = next(fd);
    if (result == 0) record_sync(fd, path);
    return result;
}

int fsync(int fd) { return sync_with("fsync", fd); }

int fdatasync(int fd) { return sync_with("fdatasync", fd); }

int rename(const char* from, const char* to) {
    static auto next = real<int (*)(const char*, const char*)>("rename");
    if (gState == nullptr) return next(from, to);
    std::lock_guard<std::mutex> guard(gState->lock);
    const std::string target = absolute(AT_FDCWD, to);
    if (!watched(target)) return next(from, to);
    count(target);
    retire(target);
    return next(from, to);
}

int unlink(const char* path) {
    static auto next = real<int (*)(const char*)>("unlink");
    if (gState == nullptr) return next(path);
    std::lock_guard<std::mutex> guard(gState->lock);
    const std::string target = absolute(AT_FDCWD, path);
    if (!watched(target)) return next(path);
    count(target);
    retire(target);
    return next(path);
}

int link(const char* from, const char* to) {
    static auto next = real<int (*)(const char*, const char*)>("link");
    if (gState == nullptr) return next(from, to);
    std::lock_guard<std::mutex> guard(gState->lock);
    const std::string target = absolute(AT_FDCWD, to);
    if (watched(target)) count(target);
    return next(from, to);
}

}  // extern "C"
