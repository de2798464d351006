#include "Measure.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>

namespace ledgerfern::bench {

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

std::uint64_t processFigure(const std::filesystem::path& file, const std::string& wanted) {
    std::ifstream lines(file);
    std::string key;
    std::uint64_t number = 0;
    while (lines >> key) {
        if (key == wanted && lines >> number) return number;
        std::getline(lines, key);
    }
    return 0;
}

std::uint64_t peakMemory() {
    return processFigure("/proc/self/status", "VmHWM:") * 1024;
}

std::uint64_t residentMemory() {
    return processFigure("/proc/self/status", "VmRSS:") * 1024;
}

std::uint64_t bytesRead() {
    return processFigure("/proc/self/io", "rchar:");
}

void warmCache(const std::vector<std::filesystem::path>& files) {
    std::vector<char> block(std::size_t{4} << 20);
    for (const auto& path : files) {
        std::ifstream file(path, std::ios::binary);
        while (file.read(block.data(), static_cast<std::streamsize>(block.size()))) {
        }
    }
}

void runInChild(std::size_t size, const std::function<void(void*)>& work, void* result) {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) throw std::runtime_error("no child process");
    if (child == 0) {
        std::array<char, maxResult> bytes{};
        try {
            work(bytes.data());
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s\n", error.what());
            ::_exit(EXIT_FAILURE);
        }
        // A pipe takes this much at once.
        const bool written = ::write(ends[1], bytes.data(), size) == static_cast<ssize_t>(size);
        ::_exit(written ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    ::close(ends[1]);
    const bool read = ::read(ends[0], result, size) == static_cast<ssize_t>(size);
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    if (!read) throw std::runtime_error("a measurement failed");
}

}  // namespace ledgerfern::bench
