// The queue of a slow disk, which serves at most as many requests at once as its depth. Each
// request waits for a free slot and then keeps it for its time.

#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <mutex>
#include <thread>

namespace slowdisk {

enum class Kind : std::size_t { kLookup, kListing, kRead, kFlush };

class Queue {
public:
    explicit Queue(unsigned depth) : m_depth(depth) {}

    // Returns when the request has been served.
    void Serve(Kind kind, unsigned timeUs) {
        std::unique_lock<std::mutex> lock(m_mutex);
        ++m_counts.at(static_cast<std::size_t>(kind));
        m_slotIsFree.wait(lock, [this] { return m_serving < m_depth; });
        m_deepest = std::max(m_deepest, ++m_serving);
        m_servedUs += timeUs;
        lock.unlock();
        if (timeUs > 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(timeUs));
        }
        lock.lock();
        --m_serving;
        m_slotIsFree.notify_one();
    }

    // Writes the counts, the most requests served at once, and the sum of the times of all requests
    // as JSON. Returns false if that fails.
    [[nodiscard]] bool WriteStatistics(const char* path) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::FILE* const file = std::fopen(path, "w");
        if (file == nullptr) {
            std::perror(path);
            return false;
        }
        const bool isWritten =
            std::fprintf(file,
                         "{\"lookups\": %ld, \"listings\": %ld, \"reads\": %ld, \"flushes\": %ld, "
                         "\"deepest\": %u, \"served_us\": %llu}\n",
                         m_counts[0], m_counts[1], m_counts[2], m_counts[3], m_deepest,
                         m_servedUs) > 0;
        return std::fclose(file) == 0 && isWritten;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_slotIsFree;
    const unsigned m_depth;
    unsigned m_serving = 0;
    unsigned m_deepest = 0;
    unsigned long long m_servedUs = 0;
    std::array<long, 4> m_counts{};
};

} // namespace slowdisk
