#pragma once

#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "Foundation/Check.h"

namespace ledgerfern {

/// While one of these lives, every SQLite database is opened on files whose writing, cutting, flushing and
/// removing can be made to fail. One at a time, and one thread.
///
/// What a file held when it was last flushed is remembered, so that a power cut can be played: what wasn't
/// flushed by then is gone.
class FaultyFiles {
public:
    enum class Kind {
        once,     ///< One step fails, a write having written half of its bytes.
        forGood,  ///< So do all that follow: the disk is full.
        powerCut  ///< From that step on nothing works at all.
    };

    FaultyFiles() {
        check(current == nullptr, "only one set of faulty files at a time");
        current = this;
        real_ = sqlite3_vfs_find(nullptr);
        shim_ = *real_;
        shim_.zName = "faulty";
        shim_.szOsFile = static_cast<int>(sizeof(File)) + real_->szOsFile;
        shim_.xOpen = openFile;
        shim_.xDelete = removeFile;
        sqlite3_vfs_register(&shim_, 1);
    }
    ~FaultyFiles() {
        sqlite3_vfs_unregister(&shim_);
        sqlite3_vfs_register(real_, 1);
        current = nullptr;
    }
    FaultyFiles(const FaultyFiles&) = delete;
    FaultyFiles& operator=(const FaultyFiles&) = delete;

    /// Step number `step`, counted from 1 and from now on, fails.
    void failAt(int step, Kind kind) {
        step_ = 0;
        failing_ = step;
        kind_ = kind;
        isOff_ = false;
    }
    /// No step fails any more.
    void mend() {
        failing_ = 0;
        isOff_ = false;
    }
    /// How many times a file was flushed so far.
    int flushes() const { return flushes_; }
    /// True if as many steps were taken as were needed for the failure.
    bool hasFailed() const { return step_ >= failing_; }

    /// A file that has long been on the disk.
    void remember(const std::string& path) {
        seen_.insert(path);
        flushed_[path] = contents(path);
    }
    /// The power is back: every file is as it was last flushed. Call it when all databases are closed.
    void restart() {
        for (const std::string& path : seen_) {
            const auto image = flushed_.find(path);
            if (image == flushed_.end())
                std::filesystem::remove(path);
            else
                std::ofstream(path, std::ios::binary) << image->second;
            std::filesystem::remove(path + "-shm");
        }
        mend();
    }

private:
    struct File {
        sqlite3_file base;
        std::string* path;
    };

    static std::string contents(const std::string& path) {
        std::ostringstream bytes;
        bytes << std::ifstream(path, std::ios::binary).rdbuf();
        return bytes.str();
    }
    static sqlite3_file* realOf(sqlite3_file* file) {
        return reinterpret_cast<sqlite3_file*>(reinterpret_cast<File*>(file) + 1);
    }
    static const sqlite3_io_methods& methodsOf(sqlite3_file* file) { return *realOf(file)->pMethods; }

    /// Counts a step; true if it is to fail.
    bool fails() {
        if (isOff_) return true;
        ++step_;
        if (failing_ == 0 || step_ < failing_ || (kind_ == Kind::once && step_ > failing_)) return false;
        isOff_ = kind_ == Kind::powerCut;
        return true;
    }

    static int openFile(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
        if (current->isOff_) return SQLITE_CANTOPEN;
        file->pMethods = nullptr;
        sqlite3_file* const real = realOf(file);
        const int status = current->real_->xOpen(current->real_, name, real, flags, outFlags);
        if (status != SQLITE_OK) return status;
        reinterpret_cast<File*>(file)->path = new std::string(name == nullptr ? "" : name);
        if (name != nullptr) current->seen_.insert(name);
        file->pMethods = &methods;
        return status;
    }
    static int removeFile(sqlite3_vfs*, const char* name, int syncFolder) {
        if (current->fails()) return SQLITE_IOERR_DELETE;
        if (syncFolder != 0) current->flushed_.erase(name);
        return current->real_->xDelete(current->real_, name, syncFolder);
    }
    static int closeFile(sqlite3_file* file) {
        delete reinterpret_cast<File*>(file)->path;
        return methodsOf(file).xClose(realOf(file));
    }
    static int readFile(sqlite3_file* file, void* bytes, int size, sqlite3_int64 at) {
        if (current->isOff_) return SQLITE_IOERR_READ;
        return methodsOf(file).xRead(realOf(file), bytes, size, at);
    }
    static int writeFile(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 at) {
        const bool wasOff = current->isOff_;
        if (!current->fails()) return methodsOf(file).xWrite(realOf(file), bytes, size, at);
        if (!wasOff) methodsOf(file).xWrite(realOf(file), bytes, size / 2, at);
        return current->kind_ == Kind::forGood ? SQLITE_FULL : SQLITE_IOERR_WRITE;
    }
    static int cutFile(sqlite3_file* file, sqlite3_int64 size) {
        if (current->fails()) return SQLITE_IOERR_TRUNCATE;
        return methodsOf(file).xTruncate(realOf(file), size);
    }
    /// No disk needs to be waited for.
    static int flushFile(sqlite3_file* file, int) {
        if (current->fails()) return SQLITE_IOERR_FSYNC;
        ++current->flushes_;
        const std::string& path = *reinterpret_cast<File*>(file)->path;
        current->flushed_[path] = contents(path);
        return SQLITE_OK;
    }
    static int fileSize(sqlite3_file* file, sqlite3_int64* size) {
        return methodsOf(file).xFileSize(realOf(file), size);
    }
    static int lockFile(sqlite3_file* file, int level) { return methodsOf(file).xLock(realOf(file), level); }
    static int unlockFile(sqlite3_file* file, int level) {
        return methodsOf(file).xUnlock(realOf(file), level);
    }
    static int isLocked(sqlite3_file* file, int* result) {
        return methodsOf(file).xCheckReservedLock(realOf(file), result);
    }
    static int controlFile(sqlite3_file* file, int operation, void* argument) {
        return methodsOf(file).xFileControl(realOf(file), operation, argument);
    }
    static int sectorSize(sqlite3_file* file) { return methodsOf(file).xSectorSize(realOf(file)); }
    static int characteristics(sqlite3_file* file) {
        return methodsOf(file).xDeviceCharacteristics(realOf(file));
    }
    static int mapShared(sqlite3_file* file, int page, int size, int extend, void volatile** memory) {
        return methodsOf(file).xShmMap(realOf(file), page, size, extend, memory);
    }
    static int lockShared(sqlite3_file* file, int offset, int count, int flags) {
        return methodsOf(file).xShmLock(realOf(file), offset, count, flags);
    }
    static void fenceShared(sqlite3_file* file) { methodsOf(file).xShmBarrier(realOf(file)); }
    static int unmapShared(sqlite3_file* file, int remove) {
        return methodsOf(file).xShmUnmap(realOf(file), remove);
    }

    static constexpr sqlite3_io_methods methods = {
        2,          closeFile,   readFile,    writeFile,   cutFile,    flushFile,       fileSize,
        lockFile,   unlockFile,  isLocked,    controlFile, sectorSize, characteristics, mapShared,
        lockShared, fenceShared, unmapShared, nullptr,     nullptr};
    static inline FaultyFiles* current = nullptr;

    sqlite3_vfs* real_ = nullptr;
    sqlite3_vfs shim_{};
    int step_ = 0;
    int failing_ = 0;
    int flushes_ = 0;
    Kind kind_ = Kind::once;
    bool isOff_ = false;
    std::map<std::string, std::string> flushed_;
    std::set<std::string> seen_;
};

}  // namespace ledgerfern
