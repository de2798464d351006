#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

namespace ledgerfern::bench {

template <class Work>
double secondsOf(Work&& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values);

/// A number that the system tells of a process or thread in one of the files that it has for them; 0 where it
/// doesn't.
std::uint64_t processFigure(const std::filesystem::path& file, const std::string& wanted);

/// The most memory that this process has had resident so far, in bytes; 0 where the system doesn't tell.
std::uint64_t peakMemory();

/// What is resident now, in bytes.
std::uint64_t residentMemory();
/// Bytes that this process has asked the system to read so far.
std::uint64_t bytesRead();

/// Reads the files, so that they are in the system's cache.
void warmCache(const std::vector<std::filesystem::path>& files);

constexpr std::size_t maxResult = 4096;
/// Runs `work` in a process of its own and hands its result over. `work` writes it to the place it is given.
void runInChild(std::size_t size, const std::function<void(void*)>& work, void* result);

/// Runs `work` in a process of its own, which starts with fresh memory, and returns its result. The caller
/// must have a single thread.
template <class Work>
auto inChild(Work&& work) {
    using Result = std::invoke_result_t<Work>;
    static_assert(std::is_trivially_copyable_v<Result> && sizeof(Result) <= maxResult);
    Result result{};
    runInChild(
        sizeof result,
        [&](void* place) {
            const Result made = work();
            std::memcpy(place, &made, sizeof made);
        },
        &result);
    return result;
}

}  // namespace ledgerfern::bench
