#pragma once

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string>
#include <utility>

#include "Foundation/AtomicWrite.h"

namespace ledgerfern {

/// Does something in place of the step of a number, counted from 1, and writes in small pieces.
class StepsWithAnEvent : public WriteSteps {
public:
    StepsWithAnEvent(int at, std::function<int()> event) : at_(at), event_(std::move(event)) {}

    int create(const std::string& name, mode_t mode) override {
        return isNow() ? event_() : WriteSteps::create(name, mode);
    }
    ssize_t write(int file, const char* bytes, std::size_t size) override {
        return isNow() ? event_() : WriteSteps::write(file, bytes, std::min<std::size_t>(size, 40'000));
    }
    int sync(int file) override { return isNow() ? event_() : WriteSteps::sync(file); }
    int setMode(int file, mode_t mode) override {
        return isNow() ? event_() : WriteSteps::setMode(file, mode);
    }
    int close(int file) override {
        const bool now = isNow();
        const int result = WriteSteps::close(file);
        return now ? event_() : result;
    }
    int rename(const std::string& from, const std::string& to) override {
        return isNow() ? event_() : WriteSteps::rename(from, to);
    }
    int remove(const std::string& name) override { return isNow() ? event_() : WriteSteps::remove(name); }
    int syncFolder(const std::string& name) override {
        return isNow() ? event_() : WriteSteps::syncFolder(name);
    }

    bool happened() const { return count_ >= at_; }

private:
    bool isNow() { return ++count_ == at_; }

    int at_;
    int count_ = 0;
    std::function<int()> event_;
};

inline int fail(int error) {
    errno = error;
    return -1;
}

}  // namespace ledgerfern
