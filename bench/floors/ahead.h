// Work ahead of a floor, with as many requests in flight as FLOOR_IN_FLIGHT says in the
// environment: threads that only touch each file, so that the floor finds it in the kernel's
// memory. None by default.

#pragma once

#include "bench/floors/walk.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace floors {

class Ahead {
public:
    // Calls touch(path) for each file of the folder, in order, on several threads. Exceptions of
    // `touch` are ignored: the floor meets the same one itself.
    template <typename Touch> Ahead(const std::string& folder, const Touch& touch) {
        const char* const wanted = std::getenv("FLOOR_IN_FLIGHT");
        const long width = wanted == nullptr ? 0 : std::strtol(wanted, nullptr, 10);
        if (width > 0) {
            ListFiles(folder);
        }
        for (long i = 0; i < width; ++i) {
            m_threads.emplace_back([this, touch] {
                for (std::size_t at = m_next++; at < m_paths.size(); at = m_next++) {
                    try {
                        touch(m_paths[at]);
                    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): the floor
                                                      // reports it
                    }
                }
            });
        }
    }
    ~Ahead() {
        for (std::thread& thread : m_threads) {
            thread.join();
        }
    }
    Ahead(const Ahead&) = delete;
    Ahead& operator=(const Ahead&) = delete;
    Ahead(Ahead&&) = delete;
    Ahead& operator=(Ahead&&) = delete;

private:
    void ListFiles(const std::string& folder) {
        VisitEntries(folder,
                     [this](const std::string& path, const char* /*name*/, unsigned char type) {
                         if (type == DT_DIR) {
                             ListFiles(path);
                         } else if (type == DT_REG) {
                             m_paths.push_back(path);
                         }
                     });
    }

    std::vector<std::string> m_paths;
    std::atomic<std::size_t> m_next{0};
    std::vector<std::thread> m_threads;
};

// Brings the status of a file into the kernel's memory.
inline void TouchStatus(const std::string& path) {
    struct stat64 st = {};
    static_cast<void>(stat64(path.c_str(), &st));
}

} // namespace floors
