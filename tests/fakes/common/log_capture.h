#pragma once

#include "common/debug_log.h"

#include <mutex>
#include <string>
#include <vector>

/* Captures diagnostic lines while alive (the notifier thread logs too); restores the normal
 * channel when destroyed. */
class LogCapture {
  public:
    LogCapture() {
        std::lock_guard<std::mutex> lock(mutex());
        captured().clear();
        dbg_log_set_sink(sink);
    }
    ~LogCapture() { dbg_log_set_sink(nullptr); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> lines() const {
        std::lock_guard<std::mutex> lock(mutex());
        return captured();
    }
    /* True when some captured line contains the text. */
    bool contains(const std::string& text) const {
        for (const std::string& l : lines())
            if (l.find(text) != std::string::npos) return true;
        return false;
    }

  private:
    static std::mutex& mutex() {
        static std::mutex m;
        return m;
    }
    static std::vector<std::string>& captured() {
        static std::vector<std::string> lines;
        return lines;
    }
    static void sink(const char* line) {
        std::lock_guard<std::mutex> lock(mutex());
        captured().emplace_back(line);
    }
};
