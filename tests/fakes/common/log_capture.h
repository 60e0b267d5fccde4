#pragma once

#include <string>
#include <vector>

/* Captures diagnostic lines while alive; restores the normal channel when destroyed. */
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::vector<std::string>& lines() const;
    /* True when some captured line contains the text. */
    bool contains(const std::string& text) const;
    void clear();
};
