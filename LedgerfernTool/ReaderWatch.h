#pragma once

#include <functional>
#include <optional>
#include <thread>

#include "Foundation/FileDescriptor.h"

namespace ledgerfern {

/// Waits for the moment when nobody reads any more what is written to an open file: a pipe whose other end
/// is closed. For a program that may have nothing to write for hours, and would notice it only then.
class ReaderWatch {
public:
    /// Calls `onGone` once, on a thread of its own. Does nothing where there is no file, or no thread to be
    /// had.
    ReaderWatch(std::optional<int> descriptor, std::function<void()> onGone);
    ~ReaderWatch();
    ReaderWatch(const ReaderWatch&) = delete;
    ReaderWatch& operator=(const ReaderWatch&) = delete;

private:
    void run(int descriptor) const;

    const std::function<void()> onGone_;
    FileDescriptor wakened_, waker_;  // the two ends of a pipe; the first is readable when the second closes
    std::thread thread_;
};

}  // namespace ledgerfern
