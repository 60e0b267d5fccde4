#include "tests/fakes/common/log_capture.h"

#include "common/debug_log.h"

#include <mutex>

namespace {
std::mutex g_mutex; /* the notifier thread logs too */
std::vector<std::string> g_lines;
void sink(const char* line) {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_lines.emplace_back(line);
}
} // namespace

LogCapture::LogCapture() {
    clear();
    dbg_log_set_sink(sink);
}

LogCapture::~LogCapture() { dbg_log_set_sink(nullptr); }

const std::vector<std::string>& LogCapture::lines() const { return g_lines; }

bool LogCapture::contains(const std::string& text) const {
    std::lock_guard<std::mutex> lock(g_mutex);
    for (const auto& l : g_lines)
        if (l.find(text) != std::string::npos) return true;
    return false;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_lines.clear();
}
